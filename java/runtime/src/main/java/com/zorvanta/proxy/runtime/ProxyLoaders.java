package com.zorvanta.proxy.runtime;

import java.io.File;
import java.lang.reflect.Constructor;
import java.lang.reflect.InvocationTargetException;
import java.net.MalformedURLException;
import java.net.URL;
import java.net.URLClassLoader;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * Class loaders of proxy directories and the construction of proxies. The
 * bridge keeps one loader per directory (and parent) and asks here for new ones.
 */
public final class ProxyLoaders {
  private ProxyLoaders() {}

  /**
   * A loader over every jar of `directory`, which must hold `jar`, then every
   * jar of its `lib` subdirectory, in name order.
   */
  public static ClassLoader forDirectory(String directory, String jar, ClassLoader parent) {
    File dir = new File(directory);
    if (!dir.isDirectory()) {
      throw new ProxyException(ProxyException.NOT_FOUND,
          "Java proxy directory '" + directory + "' does not exist");
    }
    File named = new File(dir, jar);
    if (!named.isFile()) {
      throw new ProxyException(ProxyException.NOT_FOUND,
          "Java proxy jar '" + jar + "' not found in directory '" + directory + "'");
    }
    List<URL> urls = new ArrayList<>();
    urls.add(url(named));
    for (File f : jarsOf(dir)) {
      if (!f.getName().equals(jar)) {
        urls.add(url(f));
      }
    }
    // A proxy directory looks like an installation: its dependencies in lib/.
    for (File f : jarsOf(new File(dir, "lib"))) {
      urls.add(url(f));
    }
    return new URLClassLoader("proxies:" + directory, urls.toArray(new URL[0]),
        parent != null ? parent : ProxyLoaders.class.getClassLoader());
  }

  /**
   * A new proxy of `className`: its constructor takes the site, or nothing.
   * Failures name the class, the jar and the directory.
   */
  public static Object create(ClassLoader loader, String directory, String jar,
      String className, ProxySite site) {
    Class<?> type;
    try {
      type = Class.forName(className, true, loader);
    } catch (ClassNotFoundException | LinkageError e) {
      throw new ProxyException(ProxyException.NOT_FOUND, "Java proxy class '" + className
          + "' not found in jar '" + jar + "' of directory '" + directory + "'", e);
    }
    try {
      try {
        Constructor<?> withSite = type.getConstructor(ProxySite.class);
        return withSite.newInstance(site);
      } catch (NoSuchMethodException e) {
        return type.getConstructor().newInstance();
      }
    } catch (InvocationTargetException e) {
      throw new ProxyException(ProxyException.GENERAL, "Java proxy class '" + className
          + "' failed in its constructor: " + Failures.text(e.getCause()), e.getCause());
    } catch (ReflectiveOperationException e) {
      throw new ProxyException(ProxyException.GENERAL,
          "Java proxy class '" + className + "' cannot be constructed: " + Failures.text(e), e);
    }
  }

  /** The proxy's version text, or null when the proxy offers none. */
  public static String version(Object proxy) {
    try {
      Object v = proxy.getClass().getMethod("getVersion").invoke(proxy);
      return v == null ? null : v.toString();
    } catch (NoSuchMethodException e) {
      return null;
    } catch (ReflectiveOperationException e) {
      throw new ProxyException(ProxyException.GENERAL,
          "getVersion failed: " + Failures.text(e.getCause() != null ? e.getCause() : e), e);
    }
  }

  private static File[] jarsOf(File dir) {
    File[] jars = dir.listFiles((d, name) -> name.endsWith(".jar"));
    if (jars == null) {
      return new File[0];
    }
    Arrays.sort(jars);
    return jars;
  }

  private static URL url(File f) {
    try {
      return f.getAbsoluteFile().toURI().toURL();
    } catch (MalformedURLException e) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Jar path '" + f + "' cannot be made a URL", e);
    }
  }
}
