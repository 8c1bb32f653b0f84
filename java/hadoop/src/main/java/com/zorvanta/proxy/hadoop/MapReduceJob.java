package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.File;
import java.io.IOException;
import java.net.MalformedURLException;
import java.net.URL;
import java.net.URLClassLoader;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.mapred.JobConf;
import org.apache.hadoop.mapreduce.Counter;
import org.apache.hadoop.mapreduce.Counters;
import org.apache.hadoop.mapreduce.Job;
import org.apache.hadoop.mapreduce.JobStatus;
import org.apache.hadoop.mapreduce.TaskCompletionEvent;
import org.apache.hadoop.mapreduce.TaskCounter;
import org.apache.hadoop.mapreduce.lib.input.FileInputFormat;
import org.apache.hadoop.mapreduce.lib.input.FileInputFormatCounter;
import org.apache.hadoop.mapreduce.lib.output.FileOutputFormat;
import org.apache.hadoop.mapreduce.lib.output.FileOutputFormatCounter;

/**
 * One job description of the caller, bound to its configuration and user, and
 * the Hadoop {@link Job} of its latest run. Each run builds a new Job on a copy
 * of the configuration, so that job properties never leak into the
 * configuration that other services share.
 */
final class MapReduceJob implements AutoCloseable {
  /** How often the wait looks at the job; Hadoop's own monitor uses one second. */
  private static final long WAIT_STEP_MS = 200;

  private final ClientConfiguration cfg;
  private Job job;
  private URLClassLoader jarLoader;
  private List<String> jarsSearched = new ArrayList<>();
  private long submitted;
  private volatile boolean stopRequested;
  private ExecutorService statusAsker;  // made at the first wait
  private volatile boolean clusterLost;

  MapReduceJob(ClientConfiguration cfg) {
    this.cfg = cfg;
    LocalJobFailures.install();
  }

  /** Applies the description and submits the job without waiting for it. */
  synchronized RowSet run(RowSet rows) throws IOException {
    close();
    stopRequested = false;
    JobConf conf = new JobConf(cfg.hadoop());
    List<String[]> properties = new ArrayList<>();
    List<String> jars = new ArrayList<>();
    List<String> inputs = new ArrayList<>();
    boolean deleteOutput = false;
    for (int i = 0; rows != null && i < rows.size(); i++) {
      String key = rows.text(i, 0) == null ? "" : rows.text(i, 0).trim();
      String value = rows.text(i, 1);
      switch (key.toUpperCase(Locale.ROOT)) {
        case "HADOOP_MAPREDUCE_JAR": jars.add(required(key, value)); break;
        case "HADOOP_MAPREDUCE_PATH_INPUT": inputs.add(required(key, value)); break;
        case "HADOOP_MAPREDUCE_DELETE_OUTPUT": deleteOutput = true; break;
        default:
          if (key.isEmpty()) {
            throw new ProxyException(ProxyException.INVALID_ARGUMENT,
                "A job property row has no key");
          }
          properties.add(new String[] {key, value});
      }
    }
    jarLoader = loaderFor(jars);
    conf.setClassLoader(jarLoader);
    if (!jars.isEmpty()) {
      // What -libjars does: the jars go to every task's class path.
      conf.set("tmpjars", String.join(",", jarUris(jars)));
    }
    Job made = Job.getInstance(conf);
    for (String[] p : properties) {
      apply(made, p[0], p[1]);
    }
    for (String input : inputs) {
      FileInputFormat.addInputPath(made, new Path(input));
    }
    Path output = FileOutputFormat.getOutputPath(made);
    if (deleteOutput && output != null) {
      cfg.as(() -> output.getFileSystem(made.getConfiguration()).delete(output, true));
    }
    job = made;
    Thread thread = Thread.currentThread();
    ClassLoader before = thread.getContextClassLoader();
    thread.setContextClassLoader(jarLoader);
    try {
      cfg.as(() -> {
        made.submit();
        return null;
      });
    } catch (IOException | RuntimeException e) {
      throw HadoopFailures.wrap("Cannot submit the job", made.getJobName(), e);
    } finally {
      thread.setContextClassLoader(before);
    }
    submitted = System.currentTimeMillis();
    RowSet text = RowSet.ofStrings(1);
    text.addRow("Job " + made.getJobID() + " submitted ("
        + made.getConfiguration().get("mapreduce.framework.name", "local") + ")");
    String url = made.getTrackingURL();
    if (url != null && !isLocal(made)) {
      text.addRow("Tracking URL: " + url);
    }
    return text;
  }

  /**
   * Blocks until the job ends, reporting its progress; a poll that asks to stop
   * kills the job. Answers the success flag and the final text.
   */
  Object[] await() throws IOException, InterruptedException {
    Job running = current();
    for (JobStatus status = statusOf(running); !status.isJobComplete();
        status = statusOf(running)) {
      float map = status.getMapProgress();
      float reduce = status.getReduceProgress();
      String phase = String.format(Locale.ROOT, "map %d%% reduce %d%%",
          Math.round(map * 100), Math.round(reduce * 100));
      if (stopRequested) {
        // The local runner's kill is an interrupt that a busy job thread can swallow.
        kill(running);
      }
      if (!Progress.ask(Math.round(map * 100) + Math.round(reduce * 100), 200, phase)) {
        stopRequested = true;
        kill(running);
        awaitEnd(running);
        throw new ProxyException(ProxyException.CANCELLED, "Job " + running.getJobID()
            + " stopped at the caller's request; its state is " + running.getJobState());
      }
      Thread.sleep(WAIT_STEP_MS);
    }
    boolean ok = running.isSuccessful();
    RowSet text = RowSet.ofStrings(1);
    JobStatus.State state = running.getJobState();
    text.addRow("Job " + running.getJobID() + " " + state
        + (stopRequested && !ok ? ": stopped at the caller's request" : ""));
    long finished = System.currentTimeMillis();
    text.addRow(String.format(Locale.ROOT, "Elapsed: %.1f s", (finished - submitted) / 1000.0));
    Counters counters = running.getCounters();
    if (counters != null) {
      text.addRow("Map input records: " + value(counters.findCounter(TaskCounter.MAP_INPUT_RECORDS)));
      text.addRow("Map output records: " + value(counters.findCounter(TaskCounter.MAP_OUTPUT_RECORDS)));
      text.addRow("Reduce output records: "
          + value(counters.findCounter(TaskCounter.REDUCE_OUTPUT_RECORDS)));
      text.addRow("Bytes read: " + value(counters.findCounter(FileInputFormatCounter.BYTES_READ)));
      text.addRow("Bytes written: "
          + value(counters.findCounter(FileOutputFormatCounter.BYTES_WRITTEN)));
    }
    if (!ok && !stopRequested) {
      failureText(running, text);
    }
    return new Object[] {ok, text};
  }

  /** Kills the job from any thread; the wait then ends with a false flag. */
  void stop() throws IOException {
    stopRequested = true;
    Job running;
    synchronized (this) {
      running = job;
    }
    if (running != null) {
      kill(running);
    }
  }

  @Override
  public synchronized void close() throws IOException {
    Job old = job;
    job = null;
    try {
      // A cluster that stopped answering would keep the release as long as the wait.
      if (old != null) {
        if (!clusterLost && !old.isComplete()) {
          old.killJob();
        }
        old.close();
      }
    } finally {
      if (statusAsker != null) {
        statusAsker.shutdownNow();
        statusAsker = null;
      }
      if (jarLoader != null) {
        jarLoader.close();
        jarLoader = null;
      }
    }
  }

  private synchronized Job current() {
    if (job == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "The job has not been run: MapReduceRun comes before MapReduceWait");
    }
    return job;
  }

  /**
   * The job's status, asked in a thread of its own: Hadoop's client retries a
   * lost cluster through several layers (the application master, then the
   * ResourceManager, then the history server, each with its retries), which
   * adds up to minutes however its keys are set. The caller's thread waits no
   * longer than the ResourceManager's own connect wait
   * (yarn.resourcemanager.connect.max-wait.ms) and a margin.
   */
  private JobStatus statusOf(Job running) throws IOException, InterruptedException {
    long bound = running.getConfiguration().getLong(
        "yarn.resourcemanager.connect.max-wait.ms", 20_000) + 10_000;
    if (statusAsker == null) {
      statusAsker = Executors.newSingleThreadExecutor(r -> {
        Thread t = new Thread(r, "job-status");
        t.setDaemon(true);
        return t;
      });
    }
    Future<JobStatus> query = statusAsker.submit(running::getStatus);
    try {
      return query.get(bound, TimeUnit.MILLISECONDS);
    } catch (TimeoutException e) {
      query.cancel(true);
      clusterLost = true;
      throw new IOException("its cluster has not answered for " + bound / 1000
          + " s (yarn.resourcemanager.connect.max-wait.ms and 10 s)");
    } catch (ExecutionException e) {
      Throwable cause = e.getCause();
      if (cause instanceof IOException) {
        throw (IOException) cause;
      }
      throw new IOException(cause);
    }
  }

  private static void kill(Job running) throws IOException {
    if (!running.isComplete()) {
      running.killJob();
    }
  }

  // A kill is asynchronous; the engine's final state is what the caller is told.
  private static void awaitEnd(Job running) throws IOException, InterruptedException {
    long deadline = System.currentTimeMillis() + 30_000;
    while (!running.isComplete() && System.currentTimeMillis() < deadline) {
      Thread.sleep(WAIT_STEP_MS);
      kill(running);
    }
  }

  private static boolean isLocal(Job job) {
    return "local".equals(job.getConfiguration().get("mapreduce.framework.name", "local"));
  }

  private static long value(Counter counter) {
    return counter == null ? 0 : counter.getValue();
  }

  // The job's own failure reason, then the first failed task attempt's diagnostics.
  private static void failureText(Job running, RowSet text)
      throws IOException, InterruptedException {
    String reason = running.getStatus().getFailureInfo();
    if (reason == null || reason.isEmpty() || "NA".equals(reason)) {
      reason = LocalJobFailures.take(running.getJobID().toString());
    }
    if (reason != null) {
      text.addRow("Failure: " + HadoopFailures.oneLine(reason));
    }
    for (int from = 0;;) {
      TaskCompletionEvent[] events = running.getTaskCompletionEvents(from, 100);
      if (events == null || events.length == 0) {
        return;
      }
      for (TaskCompletionEvent e : events) {
        if (e.getStatus() == TaskCompletionEvent.Status.FAILED
            || e.getStatus() == TaskCompletionEvent.Status.TIPFAILED) {
          String[] diagnostics = running.getTaskDiagnostics(e.getTaskAttemptId());
          text.addRow("Task " + e.getTaskAttemptId() + " failed"
              + (diagnostics == null || diagnostics.length == 0 ? ""
                  : ": " + HadoopFailures.oneLine(diagnostics[0])));
          return;
        }
      }
      from += events.length;
    }
  }

  private void apply(Job target, String key, String value) throws IOException {
    switch (key.toUpperCase(Locale.ROOT)) {
      case "HADOOP_MAPREDUCE_CLASS_MAP":
        target.setMapperClass(load(key, value, org.apache.hadoop.mapreduce.Mapper.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_REDUCER":
        target.setReducerClass(load(key, value, org.apache.hadoop.mapreduce.Reducer.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_COMBINER":
        target.setCombinerClass(load(key, value, org.apache.hadoop.mapreduce.Reducer.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_PARTITIONER":
        target.setPartitionerClass(
            load(key, value, org.apache.hadoop.mapreduce.Partitioner.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_SORT":
        target.setSortComparatorClass(
            load(key, value, org.apache.hadoop.io.RawComparator.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_GROUPING":
        target.setGroupingComparatorClass(
            load(key, value, org.apache.hadoop.io.RawComparator.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_INPUTFORMAT":
        target.setInputFormatClass(
            load(key, value, org.apache.hadoop.mapreduce.InputFormat.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_OUTPUTFORMAT":
        target.setOutputFormatClass(
            load(key, value, org.apache.hadoop.mapreduce.OutputFormat.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_OUTPUTKEY":
        target.setOutputKeyClass(load(key, value, Object.class));
        break;
      case "HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE":
        target.setOutputValueClass(load(key, value, Object.class));
        break;
      case "HADOOP_MAPREDUCE_NUM_REDUCERS":
        try {
          target.setNumReduceTasks(Integer.parseInt(required(key, value).trim()));
        } catch (NumberFormatException e) {
          throw new ProxyException(ProxyException.INVALID_ARGUMENT,
              key + " must be a whole number, not '" + value + "'");
        }
        break;
      case "HADOOP_MAPREDUCE_PATH_OUTPUT":
        FileOutputFormat.setOutputPath(target, new Path(required(key, value)));
        break;
      case "HADOOP_MAPREDUCE_WORKING_DIRECTORY":
        target.setWorkingDirectory(new Path(required(key, value)));
        break;
      default:
        target.getConfiguration().set(key, value == null ? "" : value);
    }
  }

  private <T> Class<? extends T> load(String key, String name, Class<T> kind) {
    String className = required(key, name).trim();
    Class<?> found;
    try {
      found = Class.forName(className, false, jarLoader);
    } catch (ClassNotFoundException | LinkageError e) {
      throw new ProxyException(ProxyException.NOT_FOUND, "Class " + className + " (" + key
          + ") cannot be loaded from " + (jarsSearched.isEmpty() ? "the proxy's class path (no job jars)"
              : "the job jars " + jarsSearched + " or the proxy's class path")
          + (e instanceof ClassNotFoundException ? "" : ": " + e), e);
    }
    if (!kind.isAssignableFrom(found)) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "Class " + className + " ("
          + key + ") is not a " + kind.getName());
    }
    return found.asSubclass(kind);
  }

  private URLClassLoader loaderFor(List<String> jars) {
    jarsSearched = new ArrayList<>(jars);
    URL[] urls = new URL[jars.size()];
    for (int i = 0; i < jars.size(); i++) {
      File file = new File(jars.get(i));
      if (!file.isFile()) {
        throw new ProxyException(ProxyException.NOT_FOUND, "Job jar '" + jars.get(i) + "' "
            + (file.exists() ? "is not a regular file" : "does not exist"));
      }
      try {
        urls[i] = file.getAbsoluteFile().toURI().toURL();
      } catch (MalformedURLException e) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT,
            "Job jar '" + jars.get(i) + "' has no usable path", e);
      }
    }
    return new URLClassLoader("job jars", urls, MapReduceJob.class.getClassLoader());
  }

  private static List<String> jarUris(List<String> jars) {
    List<String> uris = new ArrayList<>();
    for (String jar : jars) {
      uris.add(new File(jar).getAbsoluteFile().toURI().toString());
    }
    return uris;
  }

  private static String required(String key, String value) {
    if (value == null || value.trim().isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, key + " needs a value");
    }
    return value;
  }
}
