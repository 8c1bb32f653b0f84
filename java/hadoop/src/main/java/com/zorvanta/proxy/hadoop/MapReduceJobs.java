package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.IOException;

/**
 * The MapReduce methods of the proxy: job descriptions held by handle and run
 * on Hadoop's job client (the local job runner by default, YARN when the
 * configuration names it).
 */
final class MapReduceJobs {
  private static final String JOB = "MapReduce job";

  private MapReduceJobs() {}

  /** A job bound to the configuration and its user; none given means Hadoop's defaults. */
  static long create(Long cfg) {
    ClientConfiguration conf = cfg == null || cfg == 0 ? new ClientConfiguration()
        : HadoopClientJPC.configuration(cfg);
    return HandleTable.register(new MapReduceJob(conf));
  }

  static Object[] run(Long job, RowSet properties) {
    try {
      return new Object[] {job(job).run(properties)};
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot start the job", "" + job, e);
    }
  }

  static Object[] await(Long job) {
    try {
      return job(job).await();
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot follow the job", "" + job, e);
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new ProxyException(ProxyException.CANCELLED, "Interrupted while waiting for the job");
    }
  }

  static void stop(Long job) {
    try {
      job(job).stop();
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot kill the job", "" + job, e);
    }
  }

  static void release(Long job) {
    try {
      HandleTable.release(job, MapReduceJob.class, JOB).close();
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot release the job", "" + job, e);
    }
  }

  private static MapReduceJob job(Long handle) {
    return HandleTable.get(handle, MapReduceJob.class, JOB);
  }
}
