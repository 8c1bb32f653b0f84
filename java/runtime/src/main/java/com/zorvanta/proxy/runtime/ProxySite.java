package com.zorvanta.proxy.runtime;

/**
 * What a proxy's constructor gets from its host: options and a channel for
 * messages. Both reach the caller only while the proxy is being created;
 * afterwards option() answers null and messages are dropped.
 */
public final class ProxySite {
  private final String proxyName;

  public ProxySite(String proxyName) {
    this.proxyName = proxyName;
  }

  public String proxyName() {
    return proxyName;
  }

  /** The caller's value of an option, or null when it has none. */
  public String option(String name) {
    return option0(name);
  }

  public void info(String text) {
    message0(0, text);
  }

  public void warning(String text) {
    message0(1, text);
  }

  public void error(String text) {
    message0(2, text);
  }

  private static native String option0(String name);

  private static native void message0(int type, String text);
}
