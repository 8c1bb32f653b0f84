package com.zorvanta.proxy.runtime;

/**
 * A proxy's own version, as the build wrote it into its jar's manifest: the
 * project's version is kept in one place (the top CMakeLists.txt) and reaches
 * Java only through the build.
 */
public final class ProxyVersion {
  private ProxyVersion() {}

  public static String of(Class<?> proxy) {
    Package home = proxy.getPackage();
    String version = home == null ? null : home.getImplementationVersion();
    return version == null ? "unknown" : version;
  }
}
