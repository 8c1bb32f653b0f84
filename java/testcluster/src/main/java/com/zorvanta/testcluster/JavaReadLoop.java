package com.zorvanta.testcluster;

import java.net.URI;
import java.nio.ByteBuffer;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;

/**
 * The ceiling for any client that goes through Java: Hadoop's own client
 * reading a file to its end into a direct buffer, in 1 MiB reads. Reads it
 * `rounds` times and prints the MiB/s of the best round (the first warms up).
 *
 * <pre>JavaReadLoop URI [rounds]</pre>
 */
public final class JavaReadLoop {
  private JavaReadLoop() {}

  public static void main(String[] args) throws Exception {
    URI uri = URI.create(args[0]);
    int rounds = args.length > 1 ? Integer.parseInt(args[1]) : 2;
    ByteBuffer buffer = ByteBuffer.allocateDirect(1 << 20);
    double best = 0;
    try (FileSystem fs = FileSystem.newInstance(uri, new Configuration())) {
      for (int r = 0; r < rounds; r++) {
        long bytes = 0;
        long start = System.nanoTime();
        try (FSDataInputStream in = fs.open(new Path(uri))) {
          for (int n; (n = in.read(buffer)) >= 0; ) {
            bytes += n;
            if (!buffer.hasRemaining()) {
              buffer.clear();
            }
          }
        }
        buffer.clear();
        double seconds = (System.nanoTime() - start) / 1e9;
        if (r > 0 || rounds == 1) {
          best = Math.max(best, bytes / seconds / (1 << 20));
        }
      }
    }
    System.out.printf("%.1f%n", best);
  }
}
