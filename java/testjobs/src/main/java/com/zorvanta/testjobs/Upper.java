package com.zorvanta.testjobs;

import java.io.IOException;
import java.util.Locale;
import org.apache.pig.EvalFunc;
import org.apache.pig.data.Tuple;

/**
 * A Pig function: its argument in upper case, taking the given milliseconds
 * per call so that a run can be made slow enough to stop.
 */
public class Upper extends EvalFunc<String> {
  private final long delayMs;

  public Upper() {
    this("0");
  }

  public Upper(String delayMs) {
    this.delayMs = Long.parseLong(delayMs.trim());
  }

  @Override
  public String exec(Tuple input) throws IOException {
    if (delayMs > 0) {
      try {
        Thread.sleep(delayMs);
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        throw new IOException("interrupted", e);
      }
    }
    if (input == null || input.size() == 0 || input.get(0) == null) {
      return null;
    }
    return input.get(0).toString().toUpperCase(Locale.ROOT);
  }
}
