package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.File;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.URI;
import java.util.Arrays;
import java.util.Comparator;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FSDataInputStream;
import org.apache.hadoop.fs.FSDataOutputStream;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.LocalFileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RawLocalFileSystem;
import org.apache.hadoop.fs.RemoteIterator;
import org.apache.hadoop.io.IOUtils;

/**
 * The HDFS service: one Hadoop {@link FileSystem} of its own for the
 * configuration's default file system (never Hadoop's shared cache, so that
 * closing it frees everything), and the local file system for copies.
 */
final class HdfsService implements AutoCloseable {
  static final int MODE_READ = 0;
  static final int MODE_WRITE = 1;
  static final int MODE_APPEND = 2;
  /** Suffix of a copy in progress; renamed to its final name only when complete. */
  static final String COPYING = "._COPYING_";

  private final Configuration conf;
  private final FileSystem opened;
  private final FileSystem local;
  // What the operations use: the local file system without checksum side files.
  private final FileSystem fs;
  private final RawLocalFileSystem fsLocal;
  private final RawLocalFileSystem localRaw;

  HdfsService(ClientConfiguration cfg) {
    conf = cfg.hadoop();
    URI uri = FileSystem.getDefaultUri(conf);
    FileSystem made = null;
    try {
      made = "file".equalsIgnoreCase(uri.getScheme()) ? localFileSystem(conf)
          : cfg.as(() -> FileSystem.newInstance(uri, conf));
      opened = made;
      local = localFileSystem(conf);
    } catch (IOException | RuntimeException e) {
      IOUtils.closeStream(made);
      throw HadoopFailures.wrap("Cannot connect to the file system", uri.toString(), e);
    }
    fs = raw(opened);
    fsLocal = fs instanceof RawLocalFileSystem ? (RawLocalFileSystem) fs : null;
    localRaw = (RawLocalFileSystem) raw(local);
  }

  private static FileSystem localFileSystem(Configuration conf) throws IOException {
    FileSystem local = new ForklessLocalFileSystem();
    local.initialize(URI.create("file:///"), conf);
    return local;
  }

  private static FileSystem raw(FileSystem fs) {
    return fs instanceof LocalFileSystem ? ((LocalFileSystem) fs).getRawFileSystem() : fs;
  }

  @Override
  public void close() {
    IOUtils.cleanupWithLogger(null, opened, local);
  }

  /** A `false` from Hadoop says nothing; find out why, so the caller can act on it. */
  void rename(String from, String to) {
    Path source = path(from);
    Path target = path(to);
    try {
      if (!fs.exists(source)) {
        throw new FileNotFoundException(from);
      }
      Path effective = fs.exists(target) && fs.getFileStatus(target).isDirectory()
          ? new Path(target, source.getName()) : target;
      // The local file system would silently replace a file; HDFS refuses. Refuse on both.
      if (fs.exists(effective)) {
        throw new ProxyException(ProxyException.ALREADY_EXISTS,
            "Cannot rename '" + from + "' to '" + to + "': '" + effective + "' already exists");
      }
      if (!fs.rename(source, target)) {
        Path parent = effective.getParent();
        String why = parent != null && !fs.exists(parent)
            ? "the destination's directory '" + parent + "' does not exist"
            : "the file system refused it";
        throw new ProxyException(ProxyException.IO,
            "Cannot rename '" + from + "' to '" + to + "': " + why);
      }
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap("Cannot rename '" + from + "' to", to, e);
    }
  }

  /**
   * Copies a file or a directory tree between the local disk and this file
   * system. Each file is written under a temporary name beside its target and
   * renamed when complete, so nothing partial ever stands under the final name;
   * the source is deleted only after the whole copy succeeded.
   */
  void copy(boolean toThis, String from, boolean deleteSource, String to, boolean overwrite) {
    FileSystem srcFs = toThis ? localRaw : fs;
    FileSystem dstFs = toThis ? fs : localRaw;
    String action = "Cannot copy '" + from + "' to";
    try {
      Path source = toThis ? localRaw.makeQualified(path(from)) : path(from);
      Path target = toThis ? path(to) : localRaw.makeQualified(path(to));
      FileStatus src = srcFs.getFileStatus(source);
      if (dstFs.exists(target) && dstFs.getFileStatus(target).isDirectory()) {
        target = new Path(target, source.getName());
      }
      URI a = srcFs.makeQualified(source).toUri();
      URI b = dstFs.makeQualified(target).toUri();
      if (a.equals(b)) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT, action + " '" + to
            + "': source and destination are the same file; nothing was changed");
      }
      if (src.isDirectory() && srcFs == dstFs && b.getPath().startsWith(a.getPath() + "/")) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT,
            action + " '" + to + "': a directory cannot be copied into itself");
      }
      copyTree(srcFs, src, dstFs, target, overwrite);
      if (deleteSource && !srcFs.delete(source, true)) {
        throw new IOException("the source could not be deleted after the copy");
      }
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap(action, to, e);
    }
  }

  private void copyTree(FileSystem srcFs, FileStatus src, FileSystem dstFs, Path target,
      boolean overwrite) throws IOException {
    if (src.isDirectory()) {
      if (!dstFs.mkdirs(target)) {
        throw new IOException("cannot create directory '" + target + "'");
      }
      for (FileStatus child : srcFs.listStatus(src.getPath())) {
        copyTree(srcFs, child, dstFs, new Path(target, child.getPath().getName()), overwrite);
      }
      return;
    }
    if (!overwrite && dstFs.exists(target)) {
      throw new org.apache.hadoop.fs.FileAlreadyExistsException(
          "'" + target + "' exists and overwriting was not asked for");
    }
    Path temporary = new Path(target.getParent(), target.getName() + COPYING);
    try (InputStream in = srcFs.open(src.getPath());
        OutputStream out = dstFs.create(temporary, true)) {
      IOUtils.copyBytes(in, out, 1 << 20, false);
    } catch (IOException | RuntimeException e) {
      dstFs.delete(temporary, false);
      throw e;
    }
    if (overwrite && dstFs.exists(target)) {
      dstFs.delete(target, false);
    }
    if (!dstFs.rename(temporary, target)) {
      dstFs.delete(temporary, false);
      throw new IOException("the finished copy could not be renamed to '" + target + "'");
    }
  }

  boolean mkdirs(String name) {
    try {
      return fs.mkdirs(path(name));
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap("Cannot create directory", name, e);
    }
  }

  boolean exists(String name) {
    try {
      // What Hadoop's local file system answers, without the status it builds
      // only to throw away (three more stats and a qualified path).
      if (fsLocal != null) {
        return localFile(name).exists();
      }
      return fs.exists(path(name));
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap("Cannot check the existence of", name, e);
    }
  }

  boolean delete(String name) {
    try {
      return fs.delete(path(name), true);
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap("Cannot delete", name, e);
    }
  }

  /**
   * The entries of a directory, or the one entry of a file. Rows are added as
   * the listing arrives, so a large directory is never held twice. The local
   * file system lists in no particular order; its entries are sorted by name,
   * as HDFS returns them.
   */
  RowSet list(String name) {
    RowSet rows = EntryStats.newRowSet();
    try {
      if (fsLocal != null) {
        @SuppressWarnings("deprecation")  // what getDefaultBlockSize(Path) answers locally
        long blockSize = fsLocal.getDefaultBlockSize();
        RowSet local = EntryStats.localRows(localFile(name), blockSize);
        if (local != null) {
          return local;
        }
      }
      Path dir = path(name);
      if (fsLocal != null) {
        FileStatus[] all = fs.listStatus(dir);
        Arrays.sort(all, Comparator.comparing(s -> s.getPath().getName()));
        for (FileStatus s : all) {
          EntryStats.add(rows, s, fsLocal);
        }
        return rows;
      }
      RemoteIterator<FileStatus> it = fs.listStatusIterator(dir);
      while (it.hasNext()) {
        EntryStats.add(rows, it.next(), null);
      }
      return rows;
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap("Cannot list", name, e);
    }
  }

  /**
   * Opens a file: mode 0 reads, 1 creates or truncates (`exclusive`: fails on
   * an existing file), 2 appends, creating the file when missing. Writing
   * creates missing parent directories.
   */
  OpenFile open(String name, int mode, boolean exclusive, int bufferSize) {
    Path file = path(name);
    String action = mode == MODE_READ ? "Cannot open HDFS file for reading"
        : mode == MODE_WRITE ? "Cannot open HDFS file for writing"
        : "Cannot open HDFS file for appending";
    try {
      switch (mode) {
        case MODE_READ: {
          FileStatus status = fs.getFileStatus(file);
          if (status.isDirectory()) {
            throw new ProxyException(ProxyException.INVALID_ARGUMENT,
                "Cannot open '" + name + "' as a file: it is a directory");
          }
          FSDataInputStream in = bufferSize > 0 ? fs.open(file, bufferSize) : fs.open(file);
          return new OpenFile(name, in, stats(status));
        }
        case MODE_WRITE:
          return new OpenFile(name, fs.create(file, !exclusive), stats(fresh(file)));
        case MODE_APPEND: {
          FileStatus before = existing(file);
          FSDataOutputStream out = before != null ? fs.append(file) : fs.create(file, false);
          return new OpenFile(name, out, stats(before != null ? before : fresh(file)));
        }
        default:
          throw new ProxyException(ProxyException.INVALID_ARGUMENT,
              "Unknown open mode " + mode + " for HDFS file '" + name + "'");
      }
    } catch (IOException | IllegalArgumentException e) {
      throw HadoopFailures.wrap(action, name, e);
    }
  }

  // A file opened for writing is asked nothing more: WebHDFS makes it only when the
  // first bytes or the close arrive, and its stats are known anyway.
  private FileStatus fresh(Path file) {
    return new FileStatus(0, false, 0, 0, System.currentTimeMillis(), fs.makeQualified(file));
  }

  private FileStatus existing(Path file) throws IOException {
    try {
      return fs.getFileStatus(file);
    } catch (FileNotFoundException e) {
      return null;
    }
  }

  private RowSet stats(FileStatus status) {
    RowSet rows = EntryStats.newRowSet();
    EntryStats.add(rows, status, fsLocal);
    return rows;
  }

  /**
   * The local file that Hadoop's local file system makes of a name. A plain
   * absolute name (no scheme, no empty, "." or ".." segment, which a Path
   * would normalise away) names it as it stands: parsing it into a Path costs
   * more than the stat it is for.
   */
  private File localFile(String name) {
    boolean plain = name != null && name.startsWith("/");
    for (int i = 1; plain && i < name.length(); i++) {
      char c = name.charAt(i);
      char before = name.charAt(i - 1);
      plain = c != ':' && c != '\\' && !(before == '/' && (c == '/' || c == '.'));
    }
    return plain ? new File(name) : fsLocal.pathToFile(path(name));
  }

  private static Path path(String name) {
    if (name == null || name.isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "An HDFS path must not be empty");
    }
    return new Path(name);
  }
}
