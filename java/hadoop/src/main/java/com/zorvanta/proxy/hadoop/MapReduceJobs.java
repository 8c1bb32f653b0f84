package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;

/** MapReduce jobs: not yet backed by Hadoop's job client. */
final class MapReduceJobs {
  private MapReduceJobs() {}

  static long create(ClientConfiguration conf) {
    throw noJobEngine("CreateMapReduce");
  }

  static Object[] run(Long job, RowSet properties) {
    throw noJobEngine("MapReduceRun");
  }

  static Object[] await(Long job) {
    throw noJobEngine("MapReduceWait");
  }

  static void stop(Long job) {
    throw noJobEngine("MapReduceStop");
  }

  static void release(Long job) {
    throw noJobEngine("MapReduceRelease");
  }

  private static ProxyException noJobEngine(String method) {
    return new ProxyException(ProxyException.UNSUPPORTED, method + ": no MapReduce job engine"
        + " is available in this proxy");
  }
}
