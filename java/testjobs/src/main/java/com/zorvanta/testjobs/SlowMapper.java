package com.zorvanta.testjobs;

import java.io.IOException;
import org.apache.hadoop.io.LongWritable;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.mapreduce.Mapper;

/**
 * A mapper that takes its time over each record (zox.test.slow.ms, default
 * 500 ms), so that a job lasts long enough to be watched and stopped.
 */
public class SlowMapper extends Mapper<LongWritable, Text, Text, LongWritable> {
  private static final LongWritable ONE = new LongWritable(1);

  @Override
  protected void map(LongWritable key, Text value, Context context)
      throws IOException, InterruptedException {
    Thread.sleep(context.getConfiguration().getLong("zox.test.slow.ms", 500));
    context.write(value, ONE);
  }
}
