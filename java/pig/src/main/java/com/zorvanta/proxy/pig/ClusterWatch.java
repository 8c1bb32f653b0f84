package com.zorvanta.proxy.pig;

import com.zorvanta.proxy.runtime.ProxyException;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.yarn.client.api.YarnClient;

/**
 * Whether a Pig run's cluster still answers. Pig follows its jobs through
 * Hadoop's client, which retries a lost cluster through the application
 * master, the ResourceManager and the history server for as long as it takes
 * (a run whose YARN went away was seen waiting for more than 10 minutes). The
 * run's waiting thread asks the ResourceManager from a thread of its own every
 * few seconds and gives up once a question has gone unanswered for the
 * ResourceManager's own connect wait and a margin.
 */
final class ClusterWatch implements AutoCloseable {
  private static final long ASK_EVERY_MS = 5_000;
  private static final String WAIT_KEY = "yarn.resourcemanager.connect.max-wait.ms";

  private final Configuration conf;
  private final long boundMs;
  private final ExecutorService asker;
  private YarnClient client;  // only touched on the asker's thread
  private Future<?> question;
  private long askedAt;
  private long answeredAt = System.currentTimeMillis();
  private volatile boolean lost;

  ClusterWatch(Configuration conf) {
    this.conf = conf;
    this.boundMs = conf.getLong(WAIT_KEY, 20_000) + 10_000;
    this.asker = Executors.newSingleThreadExecutor(r -> {
      Thread t = new Thread(r, "pig-cluster-watch");
      t.setDaemon(true);
      return t;
    });
  }

  /** Only a run on YARN has a cluster to lose. */
  static ClusterWatch forRun(Configuration conf, String execType) {
    boolean onYarn = !"local".equals(execType)
        && "yarn".equals(conf.get("mapreduce.framework.name", "local"));
    return onYarn ? new ClusterWatch(conf) : null;
  }

  boolean lost() {
    return lost;
  }

  /** Called between the waiting thread's steps; throws once the cluster is lost. */
  void check() {
    long now = System.currentTimeMillis();
    if (question == null) {
      if (now - answeredAt >= ASK_EVERY_MS) {
        question = asker.submit(this::ask);
        askedAt = now;
      }
      return;
    }
    if (question.isDone()) {
      try {
        question.get();
        answeredAt = now;
        question = null;
      } catch (ExecutionException e) {
        throw lostCluster(now, e.getCause());
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        throw new ProxyException(ProxyException.CANCELLED, "Interrupted while waiting for Pig");
      }
    } else if (now - askedAt > boundMs) {
      question.cancel(true);
      throw lostCluster(now, null);
    }
  }

  private Void ask() throws Exception {
    if (client == null) {
      client = YarnClient.createYarnClient();
      client.init(conf);
      client.start();
    }
    client.getYarnClusterMetrics();
    return null;
  }

  private ProxyException lostCluster(long now, Throwable cause) {
    lost = true;
    String why = cause == null || cause.getMessage() == null ? ""
        : ": " + cause.getMessage().replaceAll("\\s*\\n\\s*", " ").trim();
    return new ProxyException(ProxyException.GENERAL, "Cannot follow the Pig run: its cluster has"
        + " not answered for " + (now - answeredAt) / 1000 + " s (" + WAIT_KEY + " and 10 s)"
        + why);
  }

  @Override
  public void close() {
    asker.submit(() -> {
      if (client != null) {
        client.stop();
      }
    });
    asker.shutdown();
  }
}
