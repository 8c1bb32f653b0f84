package com.zorvanta.proxy.pig;

import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.ProxySite;
import com.zorvanta.proxy.runtime.RowSet;

/**
 * The Pig client proxy. No Pig engine ships with the reference proxies, so
 * every method answers an error that says so; the proxy itself is created
 * normally so that the caller learns this from the first command it runs.
 */
public final class HadoopPigClientJPC {
  public HadoopPigClientJPC(ProxySite site) {
    site.info("Pig client proxy ready (no Pig engine available)");
  }

  public String getVersion() {
    return "1.6";
  }

  public Object[] RunCommands(Long cfg, String commands, RowSet parameters, RowSet jars) {
    throw noEngine("RunCommands");
  }

  public Object[] Wait(Long run) {
    throw noEngine("Wait");
  }

  public void Stop(Long run) {
    throw noEngine("Stop");
  }

  public void Release(Long run) {
    throw noEngine("Release");
  }

  private static ProxyException noEngine(String method) {
    return new ProxyException(ProxyException.UNSUPPORTED, method + ": no Pig engine is"
        + " available; the Pig proxy has no Pig runtime or cluster to run commands on");
  }
}
