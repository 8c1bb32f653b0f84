package com.zorvanta.proxy.hadoop;

import org.apache.log4j.ConsoleAppender;
import org.apache.log4j.Layout;
import org.apache.log4j.Level;
import org.apache.log4j.Logger;
import org.apache.log4j.PatternLayout;
import org.apache.log4j.spi.LoggingEvent;

/**
 * Hadoop's own log lines inside a host program: errors only, on standard error
 * (standard output belongs to the host). A user who wants more names a file of
 * their own with ZOH_JVM_OPTIONS="-Dlog4j.configuration=file:/path/log4j.properties".
 *
 * Set up in code rather than from a properties file: log4j's file reader sets
 * each appender property through java.beans introspection, which cost a fresh
 * process about 100 ms before its first byte.
 */
final class HadoopLogging {
  private static final String OVERRIDE = "log4j.defaultInitOverride";
  private static boolean done;

  private HadoopLogging() {}

  /** Before the first Hadoop class asks for a logger. */
  static synchronized void configure() {
    if (done) {
      return;
    }
    done = true;
    if (System.getProperty("log4j.configuration") != null || System.getProperty(OVERRIDE) != null) {
      return;  // the user's own choice
    }
    // The switch is only needed while log4j initialises (in this proxy's class
    // loader); other log4j copies in the JVM still find their own files.
    System.setProperty(OVERRIDE, "true");
    try {
      Logger root = Logger.getRootLogger();
      root.setLevel(Level.ERROR);
      root.addAppender(new ConsoleAppender(new FirstUseLayout(), ConsoleAppender.SYSTEM_ERR));
      // A resource file that does not parse is reported to the caller with its
      // name; Hadoop's own stack trace of it would only repeat that.
      Logger.getLogger("org.apache.hadoop.conf.Configuration").setLevel(Level.FATAL);
    } finally {
      System.clearProperty(OVERRIDE);
    }
  }

  /**
   * The pattern's date makes the JDK load its calendar and locale data, about
   * 100 ms of a fresh process; most processes never log an error, so the
   * pattern is made when the first line is written.
   */
  private static final class FirstUseLayout extends Layout {
    private Layout pattern;

    @Override
    public synchronized String format(LoggingEvent event) {
      if (pattern == null) {
        pattern = new PatternLayout("%d{ISO8601} %p %c{2}: %m%n");
      }
      return pattern.format(event);
    }

    @Override
    public boolean ignoresThrowable() {
      return true;
    }

    @Override
    public void activateOptions() {}
  }
}
