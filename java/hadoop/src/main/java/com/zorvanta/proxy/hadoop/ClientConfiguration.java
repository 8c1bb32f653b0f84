package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import java.io.File;
import java.io.IOException;
import java.security.PrivilegedExceptionAction;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.security.UserGroupInformation;

/**
 * One configuration as the library fills it: a Hadoop {@link Configuration}
 * (Hadoop's defaults, then HADOOP_CONF_DIR's site files as Hadoop's own tools
 * read them, then the caller's resource files and keys) and the user its
 * services act as: on a Kerberos-secured cluster, logged in as the
 * configuration says ({@link KerberosLogin}) when its first service is made.
 */
final class ClientConfiguration {
  /** Site files read from HADOOP_CONF_DIR, as Hadoop's launch scripts put it on the class path. */
  private static final String[] SITE_FILES = {
      "core-site.xml", "hdfs-site.xml", "mapred-site.xml", "yarn-site.xml"};

  // What the caller changed, in order: {key, value} for a key set, {path} for
  // a resource added; replayed onto a copy of Hadoop's parsed defaults when a
  // service needs the whole.
  private final List<String[]> changes = new ArrayList<>();
  // The whole, with Hadoop's waits bounded: made on first need and handed to
  // every service made until the next change; never changed once handed out,
  // so a service keeps the configuration it was made with. Null: not made.
  private Configuration built;
  private boolean builtSecure;  // whether the JVM was a Kerberos client then
  private String userName;  // null: the process's own
  private char[] password;  // null: none; cleared when replaced
  // Who the services act as, made when first needed and again after any change
  // (a key or resource may change how to log in); null: the process's own user.
  private UserGroupInformation user;
  private boolean userMade;

  ClientConfiguration() {
    String confDir = System.getenv("HADOOP_CONF_DIR");
    if (confDir != null && !confDir.isEmpty()) {
      for (String name : SITE_FILES) {
        File site = new File(confDir, name);
        if (site.isFile()) {
          addResource(site.getPath());
        }
      }
    }
  }

  /**
   * Hadoop's default resources, parsed once: a new Configuration parses them
   * afresh at its first read (most of the cost of opening a stream, measured
   * in instructions), while a copy of a parsed one only clones its keys. A
   * resource added later makes the copy read everything again, as before.
   */
  private static final class Defaults {
    static final Configuration PARSED = parsed();

    private static Configuration parsed() {
      Configuration defaults = new Configuration();
      defaults.size();  // parses now, once
      return defaults;
    }
  }

  /** What the services and jobs are made from. */
  synchronized Configuration hadoop() {
    boolean secure = UserGroupInformation.isSecurityEnabled();
    if (built == null || builtSecure != secure) {
      built = Built.of(changes, secure);
      builtSecure = secure;
    }
    return built;
  }

  /**
   * Whole configurations. A stream's configuration is made, given a key or
   * two (its file system), used for one service and released; copying
   * Hadoop's defaults for each was most of the cost of opening a stream. So
   * one made from keys alone serves every configuration given the same keys
   * (none is changed once made); one with resource files is made afresh, as
   * a file may have changed since.
   */
  private static final class Built {
    private static final int KEPT = 16;
    private static final Map<List<String>, Configuration> BY_KEYS =
        new LinkedHashMap<List<String>, Configuration>(KEPT, 0.75f, true) {
          @Override
          protected boolean removeEldestEntry(Map.Entry<List<String>, Configuration> eldest) {
            return size() > KEPT;
          }
        };

    static Configuration of(List<String[]> changes, boolean secure) {
      List<String> key = new ArrayList<>();
      key.add(Boolean.toString(secure));
      for (String[] change : changes) {
        if (change.length != 2) {
          return made(changes);
        }
        key.add(change[0]);
        key.add(change[1]);
      }
      synchronized (BY_KEYS) {
        return BY_KEYS.computeIfAbsent(key, k -> made(changes));
      }
    }

    private static Configuration made(List<String[]> changes) {
      Configuration whole = new Configuration(Defaults.PARSED);
      whole.setClassLoader(ServiceClassLoader.INSTANCE);
      for (String[] change : changes) {
        if (change.length == 2) {
          whole.set(change[0], change[1]);
        } else {
          whole.addResource(new Path(change[0]));
        }
      }
      BoundedWaits.apply(whole);
      KerberosLogin.fitSimple(whole);
      return whole;
    }
  }

  synchronized void set(String key, String value) {
    if (key == null || key.trim().isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "A configuration key must not be empty");
    }
    changed(key.trim(), value == null ? "" : value);
  }

  /**
   * Adds a resource file in Hadoop's XML format. Hadoop reads resources lazily
   * and skips a missing file silently, so the file is checked and parsed here
   * first: a bad file is an error that names it, and the configuration stays
   * as it was.
   */
  synchronized void addResource(String name) {
    if (name == null || name.isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "A configuration resource file name must not be empty");
    }
    Path path = new Path(name);
    File file = new File(path.toUri().getPath());
    if (!file.isFile()) {
      throw new ProxyException(ProxyException.NOT_FOUND, "Configuration resource file '" + name
          + "' " + (file.exists() ? "is not a regular file" : "does not exist"));
    }
    if (!file.canRead()) {
      throw new ProxyException(ProxyException.PERMISSION_DENIED,
          "Configuration resource file '" + name + "' cannot be read: permission denied");
    }
    Configuration probe = new Configuration(false);
    probe.addResource(path);
    try {
      probe.size();
    } catch (RuntimeException e) {
      Throwable cause = e.getCause() != null ? e.getCause() : e;
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "Configuration resource file '"
          + name + "' is not a valid Hadoop configuration: "
          + HadoopFailures.oneLine(cause.getMessage()), cause);
    }
    changed(name);
  }

  private void changed(String... change) {
    changes.add(change);
    built = null;
    userMade = false;
  }

  /** An empty user means the process's own (or HADOOP_USER_NAME), as Hadoop's tools do. */
  synchronized void setUser(String name, String password) {
    userName = name == null || name.trim().isEmpty() ? null : name.trim();
    if (this.password != null) {
      Arrays.fill(this.password, '\0');
    }
    this.password = password == null || password.isEmpty() ? null : password.toCharArray();
    userMade = false;
  }

  /** The user as the configuration says now; a Kerberos login happens here, once per change. */
  private synchronized UserGroupInformation user() throws IOException {
    if (!userMade) {
      Configuration conf = hadoop();
      user = KerberosLogin.wanted(conf) ? KerberosLogin.login(conf, userName, password)
          : userName == null ? null : UserGroupInformation.createRemoteUser(userName);
      userMade = true;
    }
    return user;
  }

  /** Runs `action` as the configuration's user; file systems keep the user they were made by. */
  <T> T as(PrivilegedExceptionAction<T> action) throws IOException {
    UserGroupInformation who = user();
    if (who == null) {
      try {
        return action.run();
      } catch (IOException | RuntimeException e) {
        throw e;
      } catch (Exception e) {
        throw new IOException(e);
      }
    }
    try {
      return who.doAs(action);
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new java.io.InterruptedIOException("interrupted while acting as " + who.getUserName());
    }
  }
}
