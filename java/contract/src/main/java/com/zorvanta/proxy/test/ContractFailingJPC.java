package com.zorvanta.proxy.test;

import com.zorvanta.proxy.runtime.ProxySite;

/** A proxy whose constructor refuses to start. */
public final class ContractFailingJPC {
  public ContractFailingJPC(ProxySite site) {
    site.error("contract proxy about to fail");
    throw new IllegalStateException("refuses to start without a cluster");
  }
}
