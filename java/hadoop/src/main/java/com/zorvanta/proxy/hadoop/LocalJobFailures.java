package com.zorvanta.proxy.hadoop;

import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import org.apache.hadoop.mapred.LocalJobRunner;
import org.apache.log4j.AppenderSkeleton;
import org.apache.log4j.Level;
import org.apache.log4j.Logger;
import org.apache.log4j.spi.LoggingEvent;
import org.apache.log4j.spi.ThrowableInformation;

/**
 * Why a job of the local job runner failed. That runner keeps no failure
 * reason and no task diagnostics: it only logs the task's exception under the
 * job's id. This appender keeps those exceptions by job id; everything at
 * ERROR and above still goes where the root logger sends it.
 */
final class LocalJobFailures extends AppenderSkeleton {
  private static final Map<String, String> REASONS = new ConcurrentHashMap<>();
  private static volatile boolean installed;

  static synchronized void install() {
    if (installed) {
      return;
    }
    Logger runner = Logger.getLogger(LocalJobRunner.class);
    if (!runner.isEnabledFor(Level.WARN)) {
      runner.setLevel(Level.WARN);
    }
    runner.setAdditivity(false);
    runner.addAppender(new LocalJobFailures());
    installed = true;
  }

  /** The failure logged for a job, forgotten once taken. */
  static String take(String jobId) {
    return REASONS.remove(jobId);
  }

  @Override
  protected void append(LoggingEvent event) {
    ThrowableInformation info = event.getThrowableInformation();
    if (info != null && info.getThrowable() != null && event.getMessage() != null) {
      Throwable cause = info.getThrowable();
      while (cause.getCause() != null && cause.getCause() != cause) {
        cause = cause.getCause();
      }
      REASONS.putIfAbsent(event.getMessage().toString(), cause.toString());
    }
    if (event.getLevel().isGreaterOrEqual(Level.ERROR)) {
      Logger.getRootLogger().callAppenders(event);
    }
  }

  @Override
  public void close() {}

  @Override
  public boolean requiresLayout() {
    return false;
  }
}
