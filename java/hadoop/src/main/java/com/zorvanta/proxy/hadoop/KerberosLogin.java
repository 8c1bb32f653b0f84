package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import java.io.File;
import java.io.IOException;
import java.util.HashMap;
import java.util.Map;
import javax.security.auth.Subject;
import javax.security.auth.callback.Callback;
import javax.security.auth.callback.NameCallback;
import javax.security.auth.callback.PasswordCallback;
import javax.security.auth.callback.UnsupportedCallbackException;
import javax.security.auth.kerberos.KerberosPrincipal;
import javax.security.auth.login.AppConfigurationEntry;
import javax.security.auth.login.LoginContext;
import javax.security.auth.login.LoginException;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.security.authentication.util.KerberosName;
import org.apache.hadoop.security.authentication.util.KerberosUtil;

/**
 * Who a configuration's calls run as on a Kerberos-secured cluster: a keytab
 * named by the configuration's keys, else the configuration's user and
 * password (a login of its own, never the process's login user), else
 * Hadoop's login user (a ticket cache from kinit).
 *
 * <p>Hadoop keeps whether security is on, the realm and the krb5.conf once per
 * JVM. The first configuration that asks for Kerberos switches the whole JVM
 * to it, and nothing switches it back: configurations of unsecured clusters
 * made afterwards are told to accept a server that answers without Kerberos
 * ({@link #fitSimple}), and one krb5.conf serves the process.
 */
final class KerberosLogin {
  static final String KEYTAB_KEY = "zoh.kerberos.keytab";
  static final String PRINCIPAL_KEY = "zoh.kerberos.principal";
  static final String KRB5_CONF_KEY = "zoh.kerberos.krb5.conf";
  private static final String KRB5_CONF_PROPERTY = "java.security.krb5.conf";
  private static final String FALLBACK_KEY = "ipc.client.fallback-to-simple-auth-allowed";

  private KerberosLogin() {}

  static boolean wanted(Configuration conf) {
    return "kerberos".equalsIgnoreCase(conf.getTrimmed("hadoop.security.authentication", ""));
  }

  /** `user` null: no user given; `password` null: none given. Never returns null. */
  static UserGroupInformation login(Configuration conf, String user, char[] password)
      throws IOException {
    secureJvm(conf);
    String keytab = conf.getTrimmed(KEYTAB_KEY, "");
    String principal = conf.getTrimmed(PRINCIPAL_KEY, "");
    if (!keytab.isEmpty() || !principal.isEmpty()) {
      if (keytab.isEmpty() || principal.isEmpty()) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT, "A keytab login needs both "
            + KEYTAB_KEY + " and " + PRINCIPAL_KEY + "; only "
            + (keytab.isEmpty() ? PRINCIPAL_KEY : KEYTAB_KEY) + " is set");
      }
      File file = new File(keytab);
      if (!file.isFile() || !file.canRead()) {
        throw new ProxyException(file.exists() ? ProxyException.PERMISSION_DENIED
            : ProxyException.NOT_FOUND, "The keytab '" + keytab + "' (" + KEYTAB_KEY + ") "
            + (file.exists() ? "cannot be read" : "does not exist"));
      }
      try {
        return UserGroupInformation.loginUserFromKeytabAndReturnUGI(principal, keytab);
      } catch (IOException | RuntimeException e) {
        throw HadoopFailures.login(principal, "keytab '" + keytab + "'", e);
      }
    }
    if (user != null && password != null) {
      return passwordLogin(user, password);
    }
    if (user != null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "The user '" + user
          + "' has no password, and the cluster uses Kerberos: give the user a password, or"
          + " log in with a keytab (" + KEYTAB_KEY + " and " + PRINCIPAL_KEY + "), or give no"
          + " user to use the ticket cache of kinit");
    }
    return UserGroupInformation.getLoginUser();
  }

  /**
   * A configuration of an unsecured cluster in a JVM that another configuration
   * switched to Kerberos: Hadoop's RPC would refuse the server's plain answer.
   */
  static void fitSimple(Configuration conf) {
    if (!wanted(conf) && UserGroupInformation.isSecurityEnabled()
        && BoundedWaits.atShippedDefault(conf, FALLBACK_KEY)) {
      conf.setBoolean(FALLBACK_KEY, true);
    }
  }

  private static synchronized void secureJvm(Configuration conf) {
    String krb5 = conf.getTrimmed(KRB5_CONF_KEY, "");
    if (!krb5.isEmpty()) {
      File file = new File(krb5).getAbsoluteFile();
      if (!file.isFile()) {
        throw new ProxyException(ProxyException.NOT_FOUND, "The Kerberos configuration '"
            + krb5 + "' (" + KRB5_CONF_KEY + ") does not exist");
      }
      String inUse = System.getProperty(KRB5_CONF_PROPERTY);
      if (inUse == null) {
        System.setProperty(KRB5_CONF_PROPERTY, file.getPath());
        forgetKrb5Config();
      } else if (!new File(inUse).getAbsoluteFile().equals(file)) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT, "This process already uses the"
            + " Kerberos configuration '" + inUse + "'; one process uses one, so " + KRB5_CONF_KEY
            + " cannot name '" + krb5 + "'");
      }
    }
    if (!UserGroupInformation.isSecurityEnabled()) {
      try {
        UserGroupInformation.setConfiguration(conf);
      } catch (IllegalArgumentException e) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT,
            "Kerberos cannot be used: " + HadoopFailures.NO_REALM, e);
      }
    }
  }

  /**
   * The JDK reads krb5.conf once and keeps what it found, even nothing; so does
   * Hadoop's default realm. Both are read afresh after the file is named.
   */
  private static void forgetKrb5Config() {
    try {
      Class.forName("sun.security.krb5.Config").getMethod("refresh").invoke(null);
    } catch (ReflectiveOperationException | RuntimeException e) {
      // Without the bridge's --add-opens: the password login refreshes it itself.
    }
    KerberosName.resetDefaultRealm();
  }

  /** A JAAS password login of its own: the Subject belongs to this configuration alone. */
  private static UserGroupInformation passwordLogin(String user, char[] password)
      throws IOException {
    String principal = fullName(user);
    Map<String, String> options = new HashMap<>();
    options.put("principal", principal);
    options.put("useTicketCache", "false");
    options.put("useKeyTab", "false");
    options.put("storeKey", "false");
    options.put("doNotPrompt", "false");
    options.put("refreshKrb5Config", "true");
    AppConfigurationEntry entry = new AppConfigurationEntry(KerberosUtil.getKrb5LoginModuleName(),
        AppConfigurationEntry.LoginModuleControlFlag.REQUIRED, options);
    javax.security.auth.login.Configuration jaas = new javax.security.auth.login.Configuration() {
      @Override
      public AppConfigurationEntry[] getAppConfigurationEntry(String name) {
        return new AppConfigurationEntry[] {entry};
      }
    };
    Subject subject = new Subject();
    try {
      LoginContext context = new LoginContext("zoh-password-login", subject,
          callbacks -> answer(callbacks, principal, password), jaas);
      context.login();
    } catch (LoginException e) {
      throw HadoopFailures.login(principal, "password", e);
    }
    return UserGroupInformation.getUGIFromSubject(subject);
  }

  private static void answer(Callback[] callbacks, String principal, char[] password)
      throws UnsupportedCallbackException {
    for (Callback callback : callbacks) {
      if (callback instanceof NameCallback) {
        ((NameCallback) callback).setName(principal);
      } else if (callback instanceof PasswordCallback) {
        // The callback keeps a copy, which the login module clears after use.
        ((PasswordCallback) callback).setPassword(password);
      } else {
        throw new UnsupportedCallbackException(callback);
      }
    }
  }

  /** "alice" as the KDC sees it ("alice@REALM"), for the texts; as given when no realm is known. */
  private static String fullName(String user) {
    try {
      return new KerberosPrincipal(user).getName();
    } catch (IllegalArgumentException e) {
      return user;
    }
  }
}
