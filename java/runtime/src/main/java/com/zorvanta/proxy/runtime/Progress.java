package com.zorvanta.proxy.runtime;

/**
 * Progress of the running proxy method, reported to the caller's poll. Long
 * methods call {@link #report} between units of work; the bridge decides how
 * often the caller actually hears of it, so reporting is cheap. A caller that
 * answers false stops the method with a {@link ProxyException#CANCELLED} error.
 */
public final class Progress {
  private Progress() {}

  /**
   * How many calls of the process run with a poll, in the bridge's memory:
   * while none does, a report has nobody to ask and crosses into native code
   * for nothing. A thread sees its own call's count, which is all it needs.
   */
  private static final java.nio.ByteBuffer POLLING = pollingCalls();

  public static void report(long done, long total, String phase) {
    if (POLLING != null && POLLING.getInt(0) == 0) {
      return;
    }
    if (!poll(done, total, phase)) {
      throw new ProxyException(ProxyException.CANCELLED,
          "Stopped at the caller's request" + (phase == null ? "" : " during " + phase));
    }
  }

  /**
   * Asks the caller's poll now, whatever the interval: for methods whose units
   * of work are themselves long. False when the poll wants the method to stop;
   * true when it wants it to go on or there is no poll.
   */
  public static boolean ask(long done, long total, String phase) {
    return askNow(done, total, phase);
  }

  /** Whether the running call has a poll at all. */
  public static boolean active() {
    return hasPoll();
  }

  private static java.nio.ByteBuffer pollingCalls() {
    try {
      java.nio.ByteBuffer b = polling0();
      return b == null ? null : b.order(java.nio.ByteOrder.nativeOrder());
    } catch (UnsatisfiedLinkError e) {
      return null;  // not in a bridge's JVM: ask every time
    }
  }

  private static native java.nio.ByteBuffer polling0();

  private static native boolean askNow(long done, long total, String phase);

  private static native boolean hasPoll();

  // True when there is no poll for this call, or the poll wants the method to go on.
  private static native boolean poll(long done, long total, String phase);
}
