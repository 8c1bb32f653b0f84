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
  static final String NO_REALM = "no Kerberos realm or KDC is configured; set "
      + KerberosLogin.KRB5_CONF_KEY + " to the cluster's krb5.conf (or start the JVM with"
      + " -Djava.security.krb5.conf)";

  private HadoopFailures() {}

  static ProxyException wrap(String action, String path, Throwable thrown) {
    Throwable e = unwrap(thrown);
    String kerberos = kerberosMismatch(e);
    String reason = kerberos != null ? kerberos : reason(e);
    // A reason that already quotes the exception's message leaves only its causes to tell.
    String message = oneLine(e.getMessage());
    Throwable cause = !message.isEmpty() && reason.contains(message) ? e.getCause() : e;
    // An unwrapped remote failure's cause is the RemoteException it came in: the same text
    // again; a Kerberos mismatch quotes the one line of Hadoop's that matters.
    if (cause instanceof RemoteException || kerberos != null) {
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

  /**
   * A Kerberos login that failed, said as what to change. The JDK's own texts
   * ("Pre-authentication information was invalid (24)") name no setting.
   */
  static ProxyException login(String principal, String how, Throwable e) {
    String all = chain(e);
    String why;
    int code = ProxyException.PERMISSION_DENIED;
    // The JDK's texts of KDC errors 24, 31 and 6, which it never translates.
    if (all.contains("Pre-authentication information was invalid")
        || all.contains("Integrity check on decrypted field failed")) {
      why = "the KDC refused the password; correct the configuration's password (or the"
          + " credential store's entry for it)";
    } else if (all.contains("Client not found in Kerberos database")) {
      why = "the KDC does not know this principal; check the user name (or "
          + KerberosLogin.PRINCIPAL_KEY + ") and its realm";
    } else if (all.contains("default realm") || all.contains("Kerberos realm")
        || all.contains("Cannot get kdc")) {
      code = ProxyException.INVALID_ARGUMENT;
      why = NO_REALM;
    } else if (all.contains("Unable to obtain password")) {
      why = "the keytab holds no key for this principal; check " + KerberosLogin.PRINCIPAL_KEY
          + " and " + KerberosLogin.KEYTAB_KEY;
    } else if (all.contains("Connection refused") || all.contains("timed out")) {
      code = ProxyException.IO;
      why = "the KDC cannot be reached (" + oneLine(rootOf(e).getMessage())
          + "); check the kdc entries of the krb5.conf in use";
    } else {
      return new ProxyException(ProxyException.PERMISSION_DENIED,
          "Kerberos login of " + principal + " (" + how + ") failed: "
          + oneLine(rootOf(e).getMessage()), e);
    }
    return new ProxyException(code, "Kerberos login of " + principal + " (" + how + ") failed: "
        + why);
  }

  /** The messages of `e` and its causes, for recognising a failure wherever Hadoop wrapped it. */
  private static String chain(Throwable e) {
    StringBuilder all = new StringBuilder();
    for (Throwable t = e; t != null && all.length() < 4 * MAX_TEXT; t = t.getCause()) {
      all.append(t.getMessage()).append('\n');
    }
    return all.toString();
  }

  private static Throwable rootOf(Throwable e) {
    Throwable root = e;
    while (root.getCause() != null && root.getCause() != root) {
      root = root.getCause();
    }
    return root;
  }

  /** A cluster and a client that disagree on Kerberos; null when that is not the failure. */
  private static String kerberosMismatch(Throwable e) {
    String all = chain(e);
    String hadoops = " (Hadoop: " + oneLine(rootOf(e).getMessage()) + ")";
    if (all.contains("SIMPLE authentication is not enabled")
        || all.contains("Client cannot authenticate via")) {
      return "the cluster requires Kerberos, and this configuration has no Kerberos login:"
          + " set hadoop.security.authentication=kerberos and dfs.namenode.kerberos.principal"
          + " (as the cluster's site files do), and give the configuration a user with a"
          + " password, a keytab (" + KerberosLogin.KEYTAB_KEY + " and "
          + KerberosLogin.PRINCIPAL_KEY + ") or a ticket from kinit" + hadoops;
    }
    if (all.contains("fall back to SIMPLE auth")) {
      return "the cluster does not use Kerberos, but this client does (this configuration, or"
          + " another one: Hadoop's security is per process): set"
          + " hadoop.security.authentication=simple, or ipc.client.fallback-to-simple-auth-allowed"
          + "=true" + hadoops;
    }
    return null;
  }

  private static int code(Throwable e) {
    if (e instanceof ProxyException) {
      return ((ProxyException) e).code();
    }
    if (kerberosMismatch(e) != null) {
      return ProxyException.PERMISSION_DENIED;
    }
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
    // Our own failures (a login) are already worded for the caller.
    if (e instanceof ProxyException) {
      return message;
    }
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
