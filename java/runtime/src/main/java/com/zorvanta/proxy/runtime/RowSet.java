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

  public RowSet(String columnTypes) {
    for (int i = 0; i < columnTypes.length(); i++) {
      if (javaType(columnTypes.charAt(i)) == null) {
        throw new IllegalArgumentException(
            "row set column " + i + " has type code " + (int) columnTypes.charAt(i)
                + ", which rows cannot hold");
      }
    }
    this.columnTypes = columnTypes;
  }

  /** A row set of text columns. */
  public static RowSet ofStrings(int columns) {
    return new RowSet(String.valueOf(STRING).repeat(columns));
  }

  public String columnTypes() {
    return columnTypes;
  }

  public int columns() {
    return columnTypes.length();
  }

  public int size() {
    return rows.size();
  }

  public Object[] row(int index) {
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
    rows.add(values.clone());
    return this;
  }

  /** The text in a column of a row; null when the value is not present. */
  public String text(int row, int column) {
    Object v = rows.get(row)[column];
    return v == null ? null : v.toString();
  }

  private static boolean fits(char type, Object v) {
    if (type == BYTES) {
      return v instanceof ByteBuffer || v instanceof byte[];
    }
    return javaType(type).isInstance(v);
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
