package com.zorvanta.bench;

import java.io.IOException;
import java.io.InputStream;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;

/**
 * Hadoop's own client in a fresh JVM: writes the file's first byte to standard
 * output as soon as it has it (the parent times the process up to that byte),
 * then reads the rest and writes one line: bytes read, resident and peak
 * resident KiB.
 *
 * <pre>FirstByte URI [chunk]</pre>
 */
public final class FirstByte {
  private FirstByte() {}

  public static void main(String[] args) throws IOException {
    URI uri = URI.create(args[0]);
    int chunk = args.length > 1 ? Integer.parseInt(args[1]) : 1 << 20;
    byte[] buffer = new byte[chunk];
    long bytes = 0;
    try (FileSystem fs = FileSystem.newInstance(uri, new Configuration());
        InputStream in = fs.open(new Path(uri), chunk)) {
      int n = in.read(buffer, 0, 1);
      if (n != 1) {
        System.exit(1);
      }
      System.out.write(buffer, 0, 1);
      System.out.flush();
      bytes = 1;
      while ((n = in.read(buffer)) >= 0) {
        bytes += n;
      }
    }
    long rss = 0;
    long hwm = 0;
    for (String line : Files.readAllLines(Paths.get("/proc/self/status"), StandardCharsets.US_ASCII)) {
      if (line.startsWith("VmRSS:")) {
        rss = Long.parseLong(line.replaceAll("[^0-9]", ""));
      } else if (line.startsWith("VmHWM:")) {
        hwm = Long.parseLong(line.replaceAll("[^0-9]", ""));
      }
    }
    System.out.printf("%d %d %d%n", bytes, rss, hwm);
    System.out.flush();
  }
}
