package com.zorvanta.proxy.runtime;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.List;

/**
 * Rows of typed values, the Java form of a wire row set. Column types use the
 * wire codes; values are Long (object), Boolean, Integer, String and
 * ByteBuffer or byte[] (bytes); null stands for a value that is not present.
 */
public final class RowSet {
  public static final char BYTES = 1;
  public static final char BOOL = 2;
  public static final char INT = 6;
  public static final char OBJECT = 7;
  public static final char STRING = 11;

  private final String columnTypes;
  private final List<Object[]> rows = new ArrayList<>();
  private final boolean texts;  // every column a text
  // Non-null: the rows go straight into their bridge form, not into `rows`.
  private final Encoder written;
  private int writtenRows;

  public RowSet(String columnTypes) {
    this(columnTypes, false);
  }

  private RowSet(String columnTypes, boolean writeThrough) {
    for (int i = 0; i < columnTypes.length(); i++) {
      if (javaType(columnTypes.charAt(i)) == null) {
        throw new IllegalArgumentException(
            "row set column " + i + " has type code " + (int) columnTypes.charAt(i)
                + ", which rows cannot hold");
      }
    }
    this.columnTypes = columnTypes;
    boolean allTexts = true;
    for (int i = 0; i < columnTypes.length(); i++) {
      allTexts &= columnTypes.charAt(i) == STRING;
    }
    this.texts = allTexts;
    this.written = writeThrough ? new Encoder(4096) : null;
    if (written != null) {
      // The header goes first, its row count filled in by encode(), so that a
      // large listing's bytes are handed over without another copy of them all.
      header(written, 0);
    }
  }

  /** The column count, the column codes, then the row count (at `4 + columns`). */
  private void header(Encoder out, int rowCount) {
    out.int32(columnTypes.length());
    for (int c = 0; c < columnTypes.length(); c++) {
      out.byte8(columnTypes.charAt(c));
    }
    out.int32(rowCount);
  }

  /** A row set of text columns. */
  public static RowSet ofStrings(int columns) {
    return new RowSet(String.valueOf(STRING).repeat(columns));
  }

  /**
   * A row set of text columns whose rows go straight into the form that the
   * bridge takes ({@link #encode}) as they are added, for the large ones a
   * proxy only returns: a listing adds nine rows an entry, and holding each
   * as an array of strings until the end cost more than the entry's stat,
   * and kept a large listing's rows alive through many collections. Its rows
   * cannot be read back.
   */
  public static RowSet writtenTexts(int columns) {
    return new RowSet(String.valueOf(STRING).repeat(columns), true);
  }

  public String columnTypes() {
    return columnTypes;
  }

  public int columns() {
    return columnTypes.length();
  }

  public int size() {
    return written != null ? writtenRows : rows.size();
  }

  public Object[] row(int index) {
    if (written != null) {
      throw new IllegalStateException("the rows of a written row set are not kept");
    }
    return rows.get(index);
  }

  public RowSet addRow(Object... values) {
    if (values.length != columnTypes.length()) {
      throw new IllegalArgumentException("a row of " + values.length
          + " values does not fit a row set of " + columnTypes.length() + " columns");
    }
    for (int i = 0; i < values.length; i++) {
      Object v = values[i];
      if (v != null && !fits(columnTypes.charAt(i), v)) {
        throw new IllegalArgumentException("column " + i + " cannot hold a "
            + v.getClass().getName());
      }
    }
    if (written != null) {
      return addTexts(java.util.Arrays.copyOf(values, values.length, String[].class));
    }
    rows.add(values.clone());
    return this;
  }

  /**
   * Adds a row of texts to a row set of text columns, taking the array as the
   * row itself: a listing adds several rows an entry, and copying and checking
   * each was a good part of what an entry cost.
   */
  public RowSet addTexts(String... values) {
    if (!texts || values.length != columnTypes.length()) {
      throw new IllegalArgumentException("a row of " + values.length
          + " texts does not fit a row set of " + columnTypes.length() + " columns"
          + (texts ? "" : " that are not all texts"));
    }
    if (written == null) {
      rows.add(values);
      return this;
    }
    for (String v : values) {
      if (v == null) {
        written.byte8(0);
      } else {
        written.byte8(1);
        written.text(v);
      }
    }
    writtenRows++;
    return this;
  }

  /** Adds a row of a text and a number written as decimal text, to a row set of two text columns. */
  public RowSet addTextNumber(String text, long number) {
    if (written == null || columnTypes.length() != 2) {
      return addTexts(text, Long.toString(number));
    }
    if (text == null) {
      written.byte8(0);
    } else {
      written.byte8(1);
      written.text(text);
    }
    written.byte8(1);
    written.decimal(number);
    writtenRows++;
    return this;
  }

  /** The text in a column of a row; null when the value is not present. */
  public String text(int row, int column) {
    Object v = row(row)[column];
    return v == null ? null : v.toString();
  }

  /**
   * The rows in one array for the bridge, which would otherwise fetch them one
   * call per row: the column count (32-bit) and codes, the row count, then per
   * value a byte 1 for present (0 for null) and a present value as one byte
   * (bool), 32 bits (int), 64 bits (object), or a 32-bit byte count and the
   * bytes (bytes; a text as UTF-8, a lone surrogate as U+FFFD). Numbers are
   * little-endian. Null when a row holds a value that its column cannot, which
   * only a row changed through {@link #row} can.
   */
  public byte[] encode() {
    if (written != null) {
      written.patch32(4 + columnTypes.length(), writtenRows);
      return written.finish();
    }
    Encoder out = new Encoder(8 + columnTypes.length() + rows.size() * columnTypes.length() * 16);
    header(out, rows.size());
    for (Object[] row : rows) {
      if (row.length != columnTypes.length()) {
        return null;
      }
      for (int c = 0; c < row.length; c++) {
        char type = columnTypes.charAt(c);
        Object v = row[c];
        if (v == null) {
          out.byte8(0);
          continue;
        }
        if (!fits(type, v)) {
          return null;
        }
        out.byte8(1);
        switch (type) {
          case BOOL: out.byte8((Boolean) v ? 1 : 0); break;
          case INT: out.int32((Integer) v); break;
          case OBJECT: out.int64((Long) v); break;
          case STRING: out.text((String) v); break;
          default: out.bytes(v); break;
        }
      }
    }
    return out.finish();
  }

  private static final class Encoder {
    private byte[] buf;
    private int n;

    Encoder(int capacity) {
      buf = new byte[capacity];
    }

    private void room(int more) {
      if (n + more > buf.length) {
        buf = java.util.Arrays.copyOf(buf, Math.max(buf.length * 2, n + more));
      }
    }

    void byte8(int v) {
      room(1);
      buf[n++] = (byte) v;
    }

    void int32(int v) {
      room(4);
      for (int i = 0; i < 4; i++) {
        buf[n++] = (byte) (v >>> (8 * i));
      }
    }

    void patch32(int at, int v) {
      for (int i = 0; i < 4; i++) {
        buf[at + i] = (byte) (v >>> (8 * i));
      }
    }

    void int64(long v) {
      room(8);
      for (int i = 0; i < 8; i++) {
        buf[n++] = (byte) (v >>> (8 * i));
      }
    }

    /** A number as its decimal text. */
    void decimal(long v) {
      if (v == Long.MIN_VALUE) {
        text(Long.toString(v));
        return;
      }
      room(4 + 20);
      int digits = 1;
      for (long rest = Math.abs(v) / 10; rest > 0; rest /= 10) {
        digits++;
      }
      int length = digits + (v < 0 ? 1 : 0);
      int32(length);
      if (v < 0) {
        buf[n] = '-';
      }
      long rest = Math.abs(v);
      for (int i = n + length - 1; i >= n + length - digits; i--) {
        buf[i] = (byte) ('0' + rest % 10);
        rest /= 10;
      }
      n += length;
    }

    void bytes(Object v) {
      byte[] b;
      if (v instanceof byte[]) {
        b = (byte[]) v;
      } else {
        b = NativeMemory.remaining((ByteBuffer) v);
      }
      int32(b.length);
      room(b.length);
      System.arraycopy(b, 0, buf, n, b.length);
      n += b.length;
    }

    void text(String s) {
      int length = s.length();
      room(4 + 3 * length);
      int at = n;
      n += 4;
      for (int i = 0; i < length; i++) {
        char c = s.charAt(i);
        if (c < 0x80) {
          buf[n++] = (byte) c;
        } else if (c < 0x800) {
          buf[n++] = (byte) (0xC0 | (c >> 6));
          buf[n++] = (byte) (0x80 | (c & 0x3F));
        } else if (Character.isHighSurrogate(c) && i + 1 < length
            && Character.isLowSurrogate(s.charAt(i + 1))) {
          int cp = Character.toCodePoint(c, s.charAt(++i));
          buf[n++] = (byte) (0xF0 | (cp >> 18));
          buf[n++] = (byte) (0x80 | ((cp >> 12) & 0x3F));
          buf[n++] = (byte) (0x80 | ((cp >> 6) & 0x3F));
          buf[n++] = (byte) (0x80 | (cp & 0x3F));
        } else {
          int cp = Character.isSurrogate(c) ? 0xFFFD : c;
          buf[n++] = (byte) (0xE0 | (cp >> 12));
          buf[n++] = (byte) (0x80 | ((cp >> 6) & 0x3F));
          buf[n++] = (byte) (0x80 | (cp & 0x3F));
        }
      }
      int bytes = n - at - 4;
      for (int i = 0; i < 4; i++) {
        buf[at + i] = (byte) (bytes >>> (8 * i));
      }
    }

    byte[] finish() {
      return n == buf.length ? buf : java.util.Arrays.copyOf(buf, n);
    }
  }

  private static boolean fits(char type, Object v) {
    switch (type) {
      case STRING: return v instanceof String;
      case OBJECT: return v instanceof Long;
      case INT: return v instanceof Integer;
      case BOOL: return v instanceof Boolean;
      case BYTES: return v instanceof ByteBuffer || v instanceof byte[];
      default: return false;
    }
  }

  private static Class<?> javaType(char type) {
    switch (type) {
      case BYTES: return ByteBuffer.class;
      case BOOL: return Boolean.class;
      case INT: return Integer.class;
      case OBJECT: return Long.class;
      case STRING: return String.class;
      default: return null;
    }
  }
}
