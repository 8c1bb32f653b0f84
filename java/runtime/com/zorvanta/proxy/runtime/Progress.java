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

  // True when there is no poll for this call, or the poll wants the method to go on.
  private static native boolean poll(long done, long total, String phase);
}
