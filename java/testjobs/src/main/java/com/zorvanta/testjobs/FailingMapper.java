package com.zorvanta.testjobs;

import java.io.IOException;
import org.apache.hadoop.io.LongWritable;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.mapreduce.Mapper;

/** A mapper that fails on its first record, with a reason the tests look for. */
public class FailingMapper extends Mapper<LongWritable, Text, Text, LongWritable> {
  @Override
  protected void map(LongWritable key, Text value, Context context) throws IOException {
    throw new IOException("FailingMapper refuses record at offset " + key.get());
  }
}
