package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.NativeMemory;
import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.FileDescriptor;
import java.io.FileInputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.StreamCapabilities;

/**
 * One open file, for reading or for writing. Reads go into native memory that
 * the bridge hands to the caller without another copy: through the stream's
 * own ByteBuffer reads where it has them (HDFS), through its file descriptor
 * where it has one (the local file system), else through a reused array.
 */
final class OpenFile {
  private static final int WRITE_CHUNK = 1 << 20;

  private final String path;
  private final FSDataInputStream in;
  private final FSDataOutputStream out;
  private final RowSet stats;
  private final boolean byteBufferReads;
  private final FileChannel channel;  // over the local stream's descriptor; not ours to close
  private byte[] array = new byte[0];
  private long done;

  OpenFile(String path, FSDataInputStream in, RowSet stats) throws IOException {
    this.path = path;
    this.in = in;
    this.out = null;
    this.stats = stats;
    this.byteBufferReads = in.hasCapability(StreamCapabilities.READBYTEBUFFER);
    FileDescriptor fd = byteBufferReads ? null : in.getFileDescriptor();
    this.channel = fd != null && fd.valid() ? new FileInputStream(fd).getChannel() : null;
  }

  OpenFile(String path, FSDataOutputStream out, RowSet stats) {
    this.path = path;
    this.in = null;
    this.out = out;
    this.stats = stats;
    this.byteBufferReads = false;
    this.channel = null;
  }

  RowSet stats() {
    return stats;
  }

  /** Up to `count` bytes, fewer only at the end of the file (none there). */
  synchronized ByteBuffer read(int count) {
    if (in == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "HDFS file '" + path + "' is open for writing; it cannot be read");
    }
    if (count < 0) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Cannot read " + count + " bytes from HDFS file '" + path + "'");
    }
    try {
      ByteBuffer buffer = NativeMemory.allocate(count);
      while (buffer.hasRemaining() && fill(buffer) >= 0) {
        // until full or at the end
      }
      buffer.flip();
      done += buffer.remaining();
      Progress.report(done, -1, "read");
      return buffer;
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot read from HDFS file", path, e);
    }
  }

  private int fill(ByteBuffer buffer) throws IOException {
    if (byteBufferReads) {
      return in.read(buffer);
    }
    if (channel != null) {
      return channel.read(buffer);
    }
    int want = buffer.remaining();
    if (array.length < want) {
      array = new byte[Math.min(want, WRITE_CHUNK)];
    }
    int n = in.read(array, 0, Math.min(want, array.length));
    if (n > 0) {
      buffer.put(array, 0, n);
    }
    return n;
  }

  /** Writes every byte given; the caller's bytes arrive as a direct buffer over its memory. */
  synchronized void write(ByteBuffer data) {
    if (out == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "HDFS file '" + path + "' is open for reading; it cannot be written");
    }
    if (data == null) {
      return;
    }
    try {
      while (data.hasRemaining()) {
        int n = Math.min(data.remaining(), WRITE_CHUNK);
        if (array.length < n) {
          array = new byte[n];
        }
        data.get(array, 0, n);
        out.write(array, 0, n);
        done += n;
      }
      Progress.report(done, -1, "write");
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot write to HDFS file", path, e);
    }
  }

  synchronized void close() {
    try {
      if (in != null) {
        in.close();
      } else {
        out.close();
      }
    } catch (IOException e) {
      throw HadoopFailures.wrap("Cannot close HDFS file", path, e);
    }
  }
}
