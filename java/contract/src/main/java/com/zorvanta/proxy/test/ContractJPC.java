package com.zorvanta.proxy.test;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.NativeMemory;
import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.ProxySite;
import com.zorvanta.proxy.runtime.RowSet;
import java.nio.ByteBuffer;

/**
 * A proxy that exercises the bridge itself: every value type in both
 * directions, failures of each kind, long methods that poll, and outputs of
 * the wrong type.
 */
public final class ContractJPC {
  private final ProxySite site;

  public ContractJPC(ProxySite site) {
    this.site = site;
    String refusal = site.option("CONTRACT/FAIL");
    if (refusal != null) {
      throw new IllegalStateException("contract proxy refused to start: " + refusal);
    }
    String greeting = site.option("CONTRACT/GREETING");
    if (greeting != null) {
      site.info("contract proxy greets " + greeting);
    }
    String warning = site.option("CONTRACT/WARN");
    if (warning != null) {
      site.warning(warning);
    }
    site.info("contract proxy ready");
  }

  public String getVersion() {
    return "contract-1";
  }

  public void Nothing() {}

  /** Any inputs back as outputs, in order and with their types. */
  public Object[] Echo(Object[] inputs) {
    return inputs;
  }

  public void Fail(String text) {
    throw new ProxyException(42, "contract failure: " + text);
  }

  /**
   * Asks the caller's poll `n` times (done i + 1 of n), stopping after a
   * "stop" answer; answers the polls made and whether it stopped early.
   */
  public Object[] Poll(Integer n) {
    int made = 0;
    boolean stopped = false;
    if (Progress.active()) {
      for (int i = 0; i < n && !stopped; i++) {
        stopped = !Progress.ask(i + 1, n, "contract");
        made++;
      }
    }
    return new Object[] {made, stopped};
  }

  /** `n` rows ("key<i>", "value<i>"), the value of row 1 absent. */
  public Object[] Rows(Integer n) {
    RowSet rows = RowSet.ofStrings(2);
    for (int i = 0; i < n; i++) {
      rows.addRow("key" + i, i == 1 ? null : "value" + i);
    }
    return new Object[] {rows};
  }

  public Object[] EchoAll(Long object, Boolean flag, Integer number, String text,
      ByteBuffer bytes, RowSet rows) {
    byte[] copy = bytes == null ? null : NativeMemory.remaining(bytes);
    return new Object[] {object, flag, number, text, copy, rows};
  }

  public Object[] EchoString(String text) {
    return new Object[] {text};
  }

  /** Code points as Java sees them, proving how the text arrived. */
  public Object[] CodePoints(String text) {
    return new Object[] {text == null ? -1 : text.codePointCount(0, text.length())};
  }

  public Object[] RowCount(RowSet rows) {
    return new Object[] {rows == null ? -1 : rows.size()};
  }

  public void Fail(String message, String cause) {
    throw new ProxyException(42, message, cause == null ? null : new IllegalStateException(cause));
  }

  public void FailPlain(String message) {
    throw new IllegalArgumentException(message);
  }

  public Object[] OutOfMemory() {
    long[] huge = new long[Integer.MAX_VALUE - 16];
    return new Object[] {huge.length};
  }

  /** Runs about `millis` ms, reporting progress all along; answers the rounds. */
  public Object[] Spin(Integer millis) throws InterruptedException {
    long start = System.nanoTime();
    long total = millis;
    int rounds = 0;
    for (long elapsed = 0; elapsed < total;
        elapsed = (System.nanoTime() - start) / 1_000_000) {
      Progress.report(elapsed, total, "spinning");
      rounds++;
      Thread.sleep(1);
    }
    return new Object[] {rounds};
  }

  /** `count` bytes (i * 31 + seed) in native memory: the zero-copy output path. */
  public Object[] Fill(Integer count, Integer seed) {
    ByteBuffer buffer = NativeMemory.allocate(count);
    for (int i = 0; i < count; i++) {
      buffer.put((byte) (i * 31 + seed));
    }
    buffer.flip();
    return new Object[] {buffer};
  }

  /** The same pattern in a heap buffer: the copying output path. */
  public Object[] HeapFill(Integer count, Integer seed) {
    ByteBuffer buffer = ByteBuffer.allocate(count);
    for (int i = 0; i < count; i++) {
      buffer.put((byte) (i * 31 + seed));
    }
    buffer.flip();
    return new Object[] {buffer};
  }

  public Object[] Text() {
    return new Object[] {"not a number"};
  }

  public Object[] TooFew() {
    return new Object[] {};
  }

  public Object[] CanLoad(String className) {
    try {
      Class.forName(className, false, getClass().getClassLoader());
      return new Object[] {true};
    } catch (ClassNotFoundException e) {
      return new Object[] {false};
    }
  }

  public Object[] Option(String name) {
    return new Object[] {site.option(name)};
  }

  /** Threads the JVM knows, attached native threads included. */
  public Object[] LiveThreads() {
    return new Object[] {Thread.getAllStackTraces().size()};
  }

  public Object[] Handles() {
    return new Object[] {HandleTable.size()};
  }
}
