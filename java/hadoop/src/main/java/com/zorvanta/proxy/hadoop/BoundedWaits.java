package com.zorvanta.proxy.hadoop;

import java.util.LinkedHashMap;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;

/**
 * Hadoop's own timeout and retry keys, lowered where Hadoop's defaults let one
 * call wait for minutes on a cluster that is gone: the platform's thread would
 * hang that long. A value from a site file, a resource file or the caller
 * always wins; only a key still at Hadoop's shipped default is changed.
 *
 * <p>With these, an unreachable NameNode fails a call in at most about 20 s
 * (connection refused: Hadoop's 10 retries a second apart, about 11 s), and a
 * nameservice whose NameNodes are all down fails after 4 fail-over attempts.
 */
final class BoundedWaits {
  /** Key, bounded value, Hadoop's default (for the Java README and the reader). */
  static final Map<String, String> BOUNDS = new LinkedHashMap<>();

  static {
    // Hadoop: 20 s per connect, 45 attempts on a timeout (15 minutes to a host that drops packets).
    BOUNDS.put("ipc.client.connect.timeout", "5000");
    BOUNDS.put("ipc.client.connect.max.retries.on.timeouts", "3");
    // Hadoop: 15 fail-overs with sleeps growing to 15 s (minutes when every NameNode is down).
    BOUNDS.put("dfs.client.failover.max.attempts", "4");
    BOUNDS.put("dfs.client.failover.sleep.max.millis", "2000");
    // Hadoop: a job's client waits up to 15 minutes for a lost ResourceManager, 30 s apart.
    BOUNDS.put("yarn.resourcemanager.connect.max-wait.ms", "20000");
    BOUNDS.put("yarn.resourcemanager.connect.retry-interval.ms", "2000");
    // Hadoop: each status query of a job retries its application master 3 times over, each
    // retry again through the ResourceManager (minutes when the cluster is gone).
    BOUNDS.put("yarn.app.mapreduce.client.max-retries", "1");
    BOUNDS.put("yarn.app.mapreduce.client-am.ipc.max-retries", "1");
    BOUNDS.put("yarn.app.mapreduce.client-am.ipc.max-retries-on-timeouts", "1");
  }

  private BoundedWaits() {}

  /** Applies the bounds to every key of `conf` still at its shipped default. */
  static void apply(Configuration conf) {
    for (Map.Entry<String, String> bound : BOUNDS.entrySet()) {
      if (atShippedDefault(conf, bound.getKey())) {
        conf.set(bound.getKey(), bound.getValue(), "bounded default of the Hadoop proxy");
      }
    }
  }

  static boolean atShippedDefault(Configuration conf, String key) {
    String[] sources = conf.getPropertySources(key);
    if (sources == null) {
      return true;
    }
    for (String source : sources) {
      if (!source.endsWith("-default.xml")) {
        return false;
      }
    }
    return true;
  }
}
