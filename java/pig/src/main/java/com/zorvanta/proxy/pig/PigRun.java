package com.zorvanta.proxy.pig;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.ByteArrayInputStream;
import java.lang.reflect.Method;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Properties;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.conf.Configuration;
import org.apache.pig.PigException;
import org.apache.pig.PigServer;
import org.apache.pig.impl.plan.OperatorPlan;
import org.apache.pig.tools.pigstats.JobStats;
import org.apache.pig.tools.pigstats.OutputStats;
import org.apache.pig.tools.pigstats.PigProgressNotificationListener;
import org.apache.pig.tools.pigstats.PigStats;
import org.apache.pig.tools.pigstats.ScriptState;

/**
 * One run of Pig commands. Pig keeps its script state, statistics and UDF
 * context per thread, so the server is made, used and shut down on the run's
 * own thread; the caller's threads only wait, ask for progress and stop.
 */
final class PigRun implements AutoCloseable {
  /** Parameter that chooses the execution type, as Pig's -x does. */
  private static final String EXEC_TYPE = "exectype";
  private static final long WAIT_STEP_MS = 200;

  private final ExecutorService thread;
  private final Future<Object[]> result;
  private final String execType;
  private final AtomicInteger percent = new AtomicInteger();
  private final ClusterWatch watch;  // null for a local run
  private volatile PigServer server;
  private volatile boolean stopRequested;

  private PigRun(Configuration hadoop, String commands, Map<String, String> parameters,
      List<String> jars) {
    String type = parameters.remove(EXEC_TYPE);
    execType = type != null ? type.toLowerCase(Locale.ROOT) : defaultExecType(hadoop);
    Properties properties = new Properties();
    if (!"local".equals(execType)) {
      for (Map.Entry<String, String> e : hadoop) {
        properties.setProperty(e.getKey(), e.getValue());
      }
      // The configuration is complete as given (its resource files included);
      // without this Pig insists on a core-site.xml on the class path instead.
      properties.setProperty("pig.use.overriden.hadoop.configs", "true");
    }
    // Names that look like Pig or Hadoop properties are properties as well as parameters.
    for (Map.Entry<String, String> p : parameters.entrySet()) {
      if (p.getKey().indexOf('.') > 0) {
        properties.setProperty(p.getKey(), p.getValue());
      }
    }
    watch = ClusterWatch.forRun(hadoop, execType);
    ClassLoader loader = PigRun.class.getClassLoader();
    thread = Executors.newSingleThreadExecutor(r -> {
      Thread t = new Thread(r, "pig-run");
      t.setDaemon(true);
      t.setContextClassLoader(loader);
      return t;
    });
    result = thread.submit(() -> execute(properties, commands, parameters, jars));
  }

  static PigRun start(Long cfg, String commands, RowSet parameters, RowSet jars) {
    if (commands == null || commands.trim().isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "No Pig commands given");
    }
    Map<String, String> params = new LinkedHashMap<>();
    for (int i = 0; parameters != null && i < parameters.size(); i++) {
      String value = parameters.text(i, 1);
      params.put(parameters.text(i, 0).trim(), value == null ? "" : value);
    }
    List<String> jarList = new ArrayList<>();
    for (int i = 0; jars != null && i < jars.size(); i++) {
      jarList.add(jars.text(i, 0));
    }
    return new PigRun(hadoopConfiguration(cfg), commands, params, jarList);
  }

  RowSet startText(long handle) {
    return RowSet.ofStrings(1).addRow("Pig run " + handle + " started (" + execType + ")");
  }

  /** Blocks until the run ends; a poll that asks to stop stops it. */
  Object[] await() {
    while (true) {
      try {
        return result.get(WAIT_STEP_MS, TimeUnit.MILLISECONDS);
      } catch (TimeoutException e) {
        if (watch != null) {
          watch.check();
        }
        if (!Progress.ask(percent.get(), 100, "Pig " + percent.get() + "%")) {
          stop();
          throw new ProxyException(ProxyException.CANCELLED,
              "Pig run stopped at the caller's request");
        }
      } catch (InterruptedException e) {
        Thread.currentThread().interrupt();
        throw new ProxyException(ProxyException.CANCELLED, "Interrupted while waiting for Pig");
      } catch (ExecutionException e) {
        throw new ProxyException(ProxyException.GENERAL, "Pig run failed: " + e.getCause(),
            e.getCause());
      }
    }
  }

  /** Kills the run's jobs from any thread; the run then ends with a false flag. */
  void stop() {
    stopRequested = true;
    PigServer running = server;
    if (running != null && !result.isDone()) {
      try {
        running.getPigContext().getExecutionEngine().kill();
      } catch (Exception e) {
        // The run may be between jobs; the flag stops the rest.
      }
    }
  }

  @Override
  public void close() {
    // Killing the jobs of a lost cluster would keep the release as long as the wait.
    boolean lost = watch != null && watch.lost();
    if (!result.isDone() && !lost) {
      stop();
    }
    if (watch != null) {
      watch.close();
    }
    thread.submit(() -> {
      PigServer s = server;
      server = null;
      if (s != null) {
        s.shutdown();
      }
    });
    thread.shutdown();
  }

  private Object[] execute(Properties properties, String commands,
      Map<String, String> parameters, List<String> jars) {
    RowSet text = RowSet.ofStrings(1);
    try {
      PigServer s = new PigServer(execType, properties);
      server = s;
      ScriptState.get().registerListener(new Listener());
      for (String jar : jars) {
        s.registerJar(jar);
      }
      s.setBatchOn();
      s.registerScript(new ByteArrayInputStream(commands.getBytes(StandardCharsets.UTF_8)),
          parameters);
      if (stopRequested) {
        return stopped(text);
      }
      s.executeBatch();
      PigStats stats = PigStats.get();
      if (stopRequested) {
        return stopped(text);
      }
      boolean ok = stats == null || stats.isSuccessful();
      if (stats != null) {
        describe(stats, text);
      }
      return new Object[] {ok, text};
    } catch (Throwable e) {
      if (stopRequested) {
        return stopped(text);
      }
      PigException pig = innermostPigException(e);
      Throwable shown = pig != null ? pig : e;
      text.addRow("Pig error" + (pig != null ? " " + pig.getErrorCode() : "") + ": "
          + oneLine(shown.getMessage() != null ? shown.getMessage() : shown.toString()));
      return new Object[] {false, text};
    }
  }

  private static Object[] stopped(RowSet text) {
    return new Object[] {false, text.addRow("Pig run stopped at the caller's request")};
  }

  private static void describe(PigStats stats, RowSet text) {
    text.addRow("Pig " + (stats.isSuccessful() ? "succeeded" : "failed") + ": "
        + stats.getNumberJobs() + " job(s), " + stats.getDuration() + " ms");
    for (OutputStats out : stats.getOutputStats()) {
      text.addRow("Output " + out.getLocation() + ": " + out.getNumberRecords() + " records, "
          + out.getBytes() + " bytes" + (out.isSuccessful() ? "" : " (failed)"));
    }
    if (!stats.isSuccessful()) {
      text.addRow("Pig error " + stats.getErrorCode() + ": " + oneLine(stats.getErrorMessage()));
    }
  }

  private static PigException innermostPigException(Throwable e) {
    PigException found = null;
    for (Throwable t = e; t != null && t.getCause() != t; t = t.getCause()) {
      if (t instanceof PigException && ((PigException) t).getErrorCode() > 0) {
        found = (PigException) t;
      }
    }
    return found;
  }

  private static String oneLine(String s) {
    return s == null ? "" : s.replaceAll("\\s*\\n\\s*", " ").trim();
  }

  private static String defaultExecType(Configuration hadoop) {
    String fs = hadoop.get("fs.defaultFS", "file:///");
    String framework = hadoop.get("mapreduce.framework.name", "local");
    return fs.startsWith("file:") && "local".equals(framework) ? "local" : "mapreduce";
  }

  /**
   * The Hadoop configuration behind a configuration handle of the Hadoop proxy.
   * That proxy's classes are its own; the Pig proxy reaches the one accessor it
   * needs by reflection rather than widening them for a single caller.
   */
  private static Configuration hadoopConfiguration(Long cfg) {
    if (cfg == null || cfg == 0) {
      return new Configuration();
    }
    Object conf = HandleTable.get(cfg, Object.class, "configuration");
    try {
      Method hadoop = conf.getClass().getDeclaredMethod("hadoop");
      hadoop.setAccessible(true);
      return new Configuration((Configuration) hadoop.invoke(conf));
    } catch (ReflectiveOperationException | ClassCastException e) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Handle " + cfg + " is not a configuration handle", e);
    }
  }

  private final class Listener implements PigProgressNotificationListener {
    @Override
    public void initialPlanNotification(String scriptId, OperatorPlan<?> plan) {}

    @Override
    public void launchStartedNotification(String scriptId, int jobs) {}

    @Override
    public void jobsSubmittedNotification(String scriptId, int jobs) {}

    @Override
    public void jobStartedNotification(String scriptId, String jobId) {}

    @Override
    public void jobFinishedNotification(String scriptId, JobStats stats) {}

    @Override
    public void jobFailedNotification(String scriptId, JobStats stats) {}

    @Override
    public void outputCompletedNotification(String scriptId, OutputStats output) {}

    @Override
    public void progressUpdatedNotification(String scriptId, int progress) {
      percent.set(progress);
    }

    @Override
    public void launchCompletedNotification(String scriptId, int jobs) {
      percent.set(100);
    }
  }
}
