package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.net.ConnectException;
import java.net.SocketTimeoutException;
import java.net.UnknownHostException;
import java.nio.file.AccessDeniedException;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.fs.PathExistsException;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.ipc.RemoteException;
import org.apache.hadoop.ipc.StandbyException;
import org.apache.hadoop.security.AccessControlException;

/**
 * Turns what Hadoop throws into the proxy's error: what was tried, on which
 * path, and why, once. Remote exceptions are unwrapped first, so a NameNode's
 * refusal reads like the local one.
 */
final class HadoopFailures {
  private static final int MAX_TEXT = 600;

  private HadoopFailures() {}

  static ProxyException wrap(String action, String path, Throwable thrown) {
    Throwable e = unwrap(thrown);
    String reason = reason(e);
    // A reason that already quotes the exception's message leaves only its causes to tell.
    String message = oneLine(e.getMessage());
    Throwable cause = !message.isEmpty() && reason.contains(message) ? e.getCause() : e;
    // An unwrapped remote failure's cause is the RemoteException it came in: the same text again.
    if (cause instanceof RemoteException) {
      cause = null;
    }
    return new ProxyException(code(e), action + " '" + path + "': " + reason, cause);
  }

  /** A message on one line and of bounded length (NameNode texts can run to paragraphs). */
  static String oneLine(String text) {
    if (text == null) {
      return "";
    }
    // A NameNode's text carries the server's stack trace after its sentence.
    String sentence = text.split("\\n\\s*at [\\w$.]+\\(", 2)[0];
    String flat = sentence.replaceAll("\\s*\\n\\s*", " ").trim();
    return flat.length() <= MAX_TEXT ? flat : flat.substring(0, MAX_TEXT) + "...";
  }

  static Throwable unwrap(Throwable e) {
    if (e instanceof RemoteException) {
      return ((RemoteException) e).unwrapRemoteException();
    }
    // Hadoop wraps some network failures (an unknown host) in an argument error.
    if (e instanceof IllegalArgumentException && e.getCause() instanceof IOException) {
      return unwrap(e.getCause());
    }
    return e;
  }

  private static String remoteClass(Throwable e) {
    return e instanceof RemoteException ? ((RemoteException) e).getClassName()
        : e.getClass().getName();
  }

  private static int code(Throwable e) {
    if (e instanceof FileNotFoundException || e instanceof java.nio.file.NoSuchFileException) {
      return ProxyException.NOT_FOUND;
    }
    if (e instanceof AccessControlException || e instanceof AccessDeniedException) {
      return ProxyException.PERMISSION_DENIED;
    }
    if (e instanceof FileAlreadyExistsException || e instanceof PathExistsException
        || e instanceof java.nio.file.FileAlreadyExistsException) {
      return ProxyException.ALREADY_EXISTS;
    }
    if (e instanceof IllegalArgumentException) {
      return ProxyException.INVALID_ARGUMENT;
    }
    return e instanceof IOException ? ProxyException.IO : ProxyException.GENERAL;
  }

  private static String reason(Throwable e) {
    String name = remoteClass(e);
    String message = oneLine(e.getMessage());
    if (name.endsWith(".SafeModeException")) {
      return "the NameNode is in safe mode: " + message;
    }
    if (e instanceof StandbyException || name.endsWith(".StandbyException")) {
      return "the NameNode is in standby state: " + message;
    }
    if (name.endsWith("QuotaExceededException")) {
      return "quota exceeded: " + message;
    }
    if (e instanceof FileNotFoundException || e instanceof java.nio.file.NoSuchFileException) {
      return "no such file or directory";
    }
    if (code(e) == ProxyException.PERMISSION_DENIED) {
      return "permission denied";
    }
    if (code(e) == ProxyException.ALREADY_EXISTS) {
      return "already exists";
    }
    if (e instanceof ParentNotDirectoryException) {
      return "a parent is not a directory";
    }
    if (e instanceof PathIsNotEmptyDirectoryException) {
      return "directory not empty";
    }
    if (e instanceof ConnectException || e instanceof SocketTimeoutException
        || e instanceof UnknownHostException) {
      return "cannot reach the cluster: " + message;
    }
    return message.isEmpty() ? e.getClass().getSimpleName() : message;
  }
}
