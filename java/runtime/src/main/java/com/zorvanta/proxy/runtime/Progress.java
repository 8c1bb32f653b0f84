package com.zorvanta.proxy.runtime;

/**
 * Progress of the running proxy method, reported to the caller's poll. Long
 * methods call {@link #report} between units of work; the bridge decides how
 * often the caller actually hears of it, so reporting is cheap. A caller that
 * answers false stops the method with a {@link ProxyException#CANCELLED} error.
 */
public final class Progress {
  private Progress() {}

  public static void report(long done, long total, String phase) {
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

  private static native boolean askNow(long done, long total, String phase);

  private static native boolean hasPoll();

  // True when there is no poll for this call, or the poll wants the method to go on.
  private static native boolean poll(long done, long total, String phase);
}
