package com.zorvanta.bench;

import com.zorvanta.proxy.runtime.ProxySite;
import java.io.IOException;
import java.net.URI;
import java.nio.ByteBuffer;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RemoteIterator;

/**
 * The reference the benchmarks hold the library against: Hadoop's own client
 * doing the same work in a loop, in the library's own JVM and on the Hadoop
 * classes the library's proxy loaded, so that only the path from the caller
 * to Hadoop's client differs. Each method does a whole round so that one
 * bridge call is spread over the work it times.
 */
public final class JavaClientJPC {
  private FileSystem fs;

  public JavaClientJPC(ProxySite site) {
    site.info("Java client reference ready");
  }

  /** The file system of `uri`, configured with "key=value" lines. */
  public void Open(String uri, String settings) throws IOException {
    Configuration conf = new Configuration();
    for (String line : settings.split("\n")) {
      int eq = line.indexOf('=');
      if (eq > 0) {
        conf.set(line.substring(0, eq), line.substring(eq + 1));
      }
    }
    if (fs != null) {
      fs.close();
    }
    fs = FileSystem.newInstance(URI.create(uri), conf);
  }

  /** Reads `path` to its end into a direct buffer of `chunk` bytes; the bytes read. */
  public Object[] Read(String path, Integer chunk) throws IOException {
    ByteBuffer buffer = ByteBuffer.allocateDirect(chunk);
    long bytes = 0;
    try (FSDataInputStream in = fs.open(new Path(path), chunk)) {
      for (int n; (n = in.read(buffer)) >= 0; ) {
        bytes += n;
        if (!buffer.hasRemaining()) {
          buffer.clear();
        }
      }
    }
    return new Object[] {bytes};
  }

  /** Writes `mib` MiB to `path` in `chunk`-byte writes. */
  public void Write(String path, Integer mib, Integer chunk) throws IOException {
    byte[] block = new byte[chunk];
    for (int i = 0; i < block.length; i++) {
      block[i] = (byte) (i * 131 + 7);
    }
    long total = (long) mib << 20;
    try (FSDataOutputStream out = fs.create(new Path(path), true, chunk)) {
      for (long at = 0; at < total; at += chunk) {
        out.write(block, 0, chunk);
      }
    }
  }

  /** `count` status look-ups of `path`; how many found it. */
  public Object[] Stat(String path, Integer count) throws IOException {
    Path p = new Path(path);
    int found = 0;
    for (int i = 0; i < count; i++) {
      found += fs.getFileStatus(p).getLen() >= 0 ? 1 : 0;
    }
    return new Object[] {found};
  }

  /** The entries of `path`, each with the fields a listing reports read once. */
  public Object[] Walk(String path) throws IOException {
    int entries = 0;
    long sum = 0;
    RemoteIterator<FileStatus> it = fs.listStatusIterator(new Path(path));
    while (it.hasNext()) {
      FileStatus st = it.next();
      sum += st.getLen() + st.getModificationTime() + (st.isDirectory() ? 1 : 0)
          + st.getPermission().toShort() + st.getPath().getName().length();
      entries++;
    }
    return new Object[] {sum >= 0 ? entries : -entries};
  }

  /** `count` empty files f0, f1, ... in `dir` (made faster here than through any client call). */
  public void MakeFiles(String dir, Integer count) throws IOException {
    Path parent = new Path(dir);
    fs.mkdirs(parent);
    for (int i = 0; i < count; i++) {
      fs.create(new Path(parent, "f" + i), true).close();
    }
  }

  public void Delete(String path) throws IOException {
    fs.delete(new Path(path), true);
  }

  /** The JVM's heap cap in MiB, as the library's options left it. */
  public Object[] MaxHeapMiB() {
    return new Object[] {(int) (Runtime.getRuntime().maxMemory() >> 20)};
  }
}
