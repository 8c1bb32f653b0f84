package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.NativeMemory;
import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;

/** One open file of the local file system, for reading or for writing. */
final class OpenFile {
  private final String path;
  private final boolean writable;
  private final FileChannel channel;
  private long done;
  // Position and a size seen earlier, so that most reads cost no extra system calls.
  private long position;
  private long knownSize = -1;

  OpenFile(String path, boolean writable, FileChannel channel) {
    this.path = path;
    this.writable = writable;
    this.channel = channel;
  }

  /**
   * Up to `count` bytes, fewer only at the end of the file. The buffer is native
   * memory that the bridge hands to the caller without copying it again.
   */
  synchronized ByteBuffer read(int count) {
    if (writable) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "HDFS file '" + path + "' is open for writing; it cannot be read");
    }
    if (count < 0) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Cannot read " + count + " bytes from HDFS file '" + path + "'");
    }
    try {
      ByteBuffer buffer = NativeMemory.allocate((int) Math.min(count, left()));
      while (buffer.hasRemaining()) {
        int n = channel.read(buffer);
        if (n < 0) {
          break;
        }
        done += n;
        position += n;
        Progress.report(done, -1, "read");
      }
      buffer.flip();
      return buffer;
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot read from HDFS file", path, e);
    }
  }

  // Bytes left to read; the size is asked again only when the reads reach it,
  // so a file that grows is still read to its end.
  private long left() throws IOException {
    if (position >= knownSize) {
      knownSize = channel.size();
    }
    return Math.max(0, knownSize - position);
  }

  synchronized void write(ByteBuffer data) {
    if (!writable) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "HDFS file '" + path + "' is open for reading; it cannot be written");
    }
    if (data == null) {
      return;
    }
    try {
      while (data.hasRemaining()) {
        done += channel.write(data);
        Progress.report(done, -1, "write");
      }
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot write to HDFS file", path, e);
    }
  }

  synchronized void close() {
    try {
      channel.close();
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot close HDFS file", path, e);
    }
  }
}
