package com.zorvanta.proxy.pig;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.ProxySite;
import com.zorvanta.proxy.runtime.ProxyVersion;
import com.zorvanta.proxy.runtime.RowSet;
import org.apache.pig.impl.util.JarManager;

/**
 * The Pig client proxy: each "RunCommands" is a run of Apache Pig's own
 * {@link org.apache.pig.PigServer} on a thread of its own, held by handle
 * until "Release".
 */
public final class HadoopPigClientJPC {
  private static final String RUN = "Pig run";

  public HadoopPigClientJPC(ProxySite site) {
    site.info("Pig client proxy ready (Apache Pig "
        + JarManager.class.getPackage().getImplementationVersion() + ")");
  }

  public String getVersion() {
    return ProxyVersion.of(HadoopPigClientJPC.class);
  }

  public Object[] RunCommands(Long cfg, String commands, RowSet parameters, RowSet jars) {
    PigRun run = PigRun.start(cfg, commands, parameters, jars);
    long handle = HandleTable.register(run);
    return new Object[] {handle, run.startText(handle)};
  }

  public Object[] Wait(Long run) {
    return run(run).await();
  }

  public void Stop(Long run) {
    // The library sends handle 0 when it has started nothing yet.
    if (run != null && run != 0) {
      run(run).stop();
    }
  }

  public void Release(Long run) {
    HandleTable.release(run, PigRun.class, RUN).close();
  }

  private static PigRun run(Long handle) {
    return HandleTable.get(handle, PigRun.class, RUN);
  }
}
