package com.zorvanta.proxy.runtime;

import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.NoSuchFileException;
import java.util.IdentityHashMap;
import java.util.Map;

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
   * (often just a path) says little by itself.
   */
  public static String text(Throwable t) {
    StringBuilder text = new StringBuilder(describe(t, !(t instanceof ProxyException)));
    Map<Throwable, Boolean> seen = new IdentityHashMap<>();
    seen.put(t, Boolean.TRUE);
    for (Throwable c = t.getCause(); c != null && seen.put(c, Boolean.TRUE) == null;
        c = c.getCause()) {
      text.append(" (cause: ").append(describe(c, true)).append(')');
    }
    return text.toString();
  }

  private static String describe(Throwable t, boolean withClass) {
    String message = t.getMessage();
    if (message == null || message.isEmpty()) {
      return t.getClass().getName();
    }
    return withClass ? t.getClass().getName() + ": " + message : message;
  }
}
