package com.zorvanta.proxy.runtime;

import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.NoSuchFileException;
import java.util.HashSet;
import java.util.IdentityHashMap;
import java.util.Map;
import java.util.Set;
import java.util.regex.Pattern;

/**
 * Turns a throwable into the error code and the one-line text that cross the
 * bridge. The bridge calls both after a proxy method threw.
 */
public final class Failures {
  private Failures() {}

  public static int code(Throwable t) {
    if (t instanceof ProxyException) {
      return ((ProxyException) t).code();
    }
    if (t instanceof NoSuchFileException || t instanceof java.io.FileNotFoundException) {
      return ProxyException.NOT_FOUND;
    }
    if (t instanceof AccessDeniedException) {
      return ProxyException.PERMISSION_DENIED;
    }
    if (t instanceof FileAlreadyExistsException) {
      return ProxyException.ALREADY_EXISTS;
    }
    if (t instanceof java.io.IOException) {
      return ProxyException.IO;
    }
    if (t instanceof IllegalArgumentException || t instanceof NullPointerException) {
      return ProxyException.INVALID_ARGUMENT;
    }
    if (t instanceof UnsupportedOperationException) {
      return ProxyException.UNSUPPORTED;
    }
    return ProxyException.GENERAL;
  }

  /**
   * The message, followed by each distinct cause once. A proxy's own exception
   * shows its message alone; anything else shows its class too, since its message
   * (often just a path) says little by itself. A cause that only repeats a text
   * already shown (a server's failure and the remote exception that carried it)
   * is left out.
   */
  public static String text(Throwable t) {
    StringBuilder text = new StringBuilder(describe(t, !(t instanceof ProxyException)));
    Map<Throwable, Boolean> seen = new IdentityHashMap<>();
    seen.put(t, Boolean.TRUE);
    Set<String> shown = new HashSet<>();
    shown.add(sentence(t.getMessage()));
    for (Throwable c = t.getCause(); c != null && seen.put(c, Boolean.TRUE) == null;
        c = c.getCause()) {
      if (shown.add(sentence(c.getMessage()))) {
        text.append(" (cause: ").append(describe(c, true)).append(')');
      }
    }
    return text.toString();
  }

  private static String describe(Throwable t, boolean withClass) {
    String message = sentence(t.getMessage());
    if (message.isEmpty()) {
      return t.getClass().getName();
    }
    return withClass ? t.getClass().getName() + ": " + message : message;
  }

  /**
   * A message on one line, without the stack trace that a server's failure
   * brings inside its text (a NameNode's refusals do).
   */
  private static String sentence(String message) {
    if (message == null) {
      return "";
    }
    String beforeTrace = STACK_FRAME.split(message, 2)[0];
    return beforeTrace.replaceAll("\\s*\\n\\s*", " ").trim();
  }

  private static final Pattern STACK_FRAME = Pattern.compile("\\n\\s*at [\\w$.]+\\(");
}
