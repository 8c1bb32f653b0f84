package com.zorvanta.proxy.runtime;

/**
 * A failure that a proxy reports on purpose. The bridge hands its code and its
 * text (message and cause) to the caller as the Java error of the call.
 */
public class ProxyException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** Anything not classified below, including plain Java exceptions. */
  public static final int GENERAL = 1;
  /** A file, directory, class or resource that does not exist. */
  public static final int NOT_FOUND = 2;
  /** The operating system refused access. */
  public static final int PERMISSION_DENIED = 3;
  /** The target exists and the operation will not replace it. */
  public static final int ALREADY_EXISTS = 4;
  /** Any other input/output failure. */
  public static final int IO = 5;
  /** An argument the method cannot use: a null, a bad value, an unknown handle. */
  public static final int INVALID_ARGUMENT = 6;
  /** Something this proxy has no backend or engine for. */
  public static final int UNSUPPORTED = 7;
  /** The caller's poll answered false. */
  public static final int CANCELLED = 8;

  private final int code;

  public ProxyException(int code, String message) {
    super(message);
    this.code = code;
  }

  public ProxyException(int code, String message, Throwable cause) {
    super(message, cause);
    this.code = code;
  }

  public int code() {
    return code;
  }
}
