package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.Progress;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.RowSet;
import java.io.IOException;
import java.net.URI;
import java.nio.channels.FileChannel;
import java.nio.file.DirectoryStream;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Set;
import java.util.regex.Pattern;

/**
 * The HDFS service on the embedded default: the local file system, as Hadoop's
 * local mode uses it. Paths are plain paths (relative ones against the working
 * directory) or file: URIs; a URI of any other scheme has no backend here.
 */
final class LocalFileSystem {
  static final int MODE_READ = 0;
  static final int MODE_WRITE = 1;
  static final int MODE_APPEND = 2;

  private static final Pattern SCHEME = Pattern.compile("^[A-Za-z][A-Za-z0-9+.-]*:.*");

  /** Whether fs.defaultFS names this backend (absent, empty or file:). */
  static boolean serves(String defaultFs) {
    return defaultFs == null || defaultFs.trim().isEmpty()
        || defaultFs.trim().toLowerCase().startsWith("file:");
  }

  Path resolve(String path) {
    if (path == null || path.isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "An HDFS path must not be empty");
    }
    if (SCHEME.matcher(path).matches()) {
      String scheme = path.substring(0, path.indexOf(':'));
      if (!scheme.equalsIgnoreCase("file")) {
        throw new ProxyException(ProxyException.UNSUPPORTED, "No file system backend for scheme '"
            + scheme + "' of '" + path + "': this proxy serves the local file system only");
      }
      try {
        URI uri = URI.create(path);
        return uri.getPath() == null ? Paths.get(path.substring(5)) : Paths.get(uri.getPath());
      } catch (IllegalArgumentException e) {
        return Paths.get(path.substring(5));
      }
    }
    return Paths.get(path);
  }

  void rename(String from, String to) {
    Path source = resolve(from);
    Path target = resolve(to);
    if (!Files.exists(source, LinkOption.NOFOLLOW_LINKS)) {
      throw IoFailures.notFound("Cannot rename", from);
    }
    if (Files.isDirectory(target)) {
      target = target.resolve(source.getFileName());
    }
    if (Files.exists(target, LinkOption.NOFOLLOW_LINKS)) {
      throw new ProxyException(ProxyException.ALREADY_EXISTS,
          "Cannot rename '" + from + "' to '" + to + "': '" + target + "' already exists");
    }
    try {
      Files.move(source, target);
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot rename '" + from + "' to", to, e);
    }
  }

  /**
   * Copies a file or a directory tree. `deleteSource` removes the source after a
   * complete copy (a move); `overwrite` lets the copy replace existing files.
   * A destination that is a directory receives the source under its own name.
   */
  void copy(String from, boolean deleteSource, String to, boolean overwrite) {
    Path source = resolve(from);
    Path target = resolve(to);
    if (!Files.exists(source)) {
      throw IoFailures.notFound("Cannot copy", from);
    }
    if (Files.isDirectory(target)) {
      target = target.resolve(source.getFileName());
    }
    if (target.toAbsolutePath().normalize().startsWith(source.toAbsolutePath().normalize())
        && Files.isDirectory(source)) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Cannot copy directory '" + from + "' into itself ('" + target + "')");
    }
    if (!overwrite && Files.exists(target) && !Files.isDirectory(source)) {
      throw new ProxyException(ProxyException.ALREADY_EXISTS, "Cannot copy '" + from + "' to '"
          + to + "': '" + target + "' exists and overwriting was not asked for");
    }
    try {
      copyTree(source, target, overwrite);
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot copy '" + from + "' to", to, e);
    }
    if (deleteSource) {
      try {
        deleteTree(source);
      } catch (IOException e) {
        throw IoFailures.wrap("Copied, but cannot delete the source", from, e);
      }
    }
  }

  /** True when the directory exists afterwards, as Hadoop's mkdirs answers. */
  boolean mkdirs(String path) {
    Path dir = resolve(path);
    try {
      Files.createDirectories(dir);
      return true;
    } catch (FileAlreadyExistsException e) {
      throw new ProxyException(ProxyException.ALREADY_EXISTS, "Cannot create directory '" + path
          + "': '" + e.getFile() + "' exists and is not a directory", e);
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot create directory", path, e);
    }
  }

  boolean exists(String path) {
    return Files.exists(resolve(path), LinkOption.NOFOLLOW_LINKS);
  }

  /** Deletes a file, or a directory with everything beneath it; false when missing. */
  boolean delete(String path) {
    Path target = resolve(path);
    if (!Files.exists(target, LinkOption.NOFOLLOW_LINKS)) {
      return false;
    }
    try {
      deleteTree(target);
      return true;
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot delete", path, e);
    }
  }

  /** The entries of a directory by name, or the one entry of a file. */
  RowSet list(String path) {
    Path target = resolve(path);
    RowSet rows = EntryStats.newRowSet();
    try {
      if (!Files.isDirectory(target)) {
        if (!Files.exists(target, LinkOption.NOFOLLOW_LINKS)) {
          throw IoFailures.notFound("Cannot list", path);
        }
        EntryStats.add(rows, target, nameOf(target));
        return rows;
      }
      List<Path> children = new ArrayList<>();
      try (DirectoryStream<Path> stream = Files.newDirectoryStream(target)) {
        for (Path child : stream) {
          children.add(child);
        }
      }
      children.sort((a, b) -> a.getFileName().toString().compareTo(b.getFileName().toString()));
      for (Path child : children) {
        EntryStats.add(rows, child, child.getFileName().toString());
      }
      return rows;
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot list", path, e);
    }
  }

  /**
   * Opens a file. Reading needs an existing file; writing creates or truncates
   * it, appending creates it or adds at its end; both create missing parent
   * directories. `exclusive` makes writing fail when the file already exists.
   */
  OpenFile open(String path, int mode, boolean exclusive) {
    Path file = resolve(path);
    if (Files.isDirectory(file)) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Cannot open '" + path + "' as a file: it is a directory");
    }
    Set<StandardOpenOption> options = EnumSet.noneOf(StandardOpenOption.class);
    String action;
    switch (mode) {
      case MODE_READ:
        options.add(StandardOpenOption.READ);
        action = "Cannot open HDFS file for reading";
        break;
      case MODE_WRITE:
        options.add(StandardOpenOption.WRITE);
        options.add(exclusive ? StandardOpenOption.CREATE_NEW : StandardOpenOption.CREATE);
        options.add(StandardOpenOption.TRUNCATE_EXISTING);
        action = "Cannot open HDFS file for writing";
        break;
      case MODE_APPEND:
        options.add(StandardOpenOption.WRITE);
        options.add(StandardOpenOption.CREATE);
        options.add(StandardOpenOption.APPEND);
        action = "Cannot open HDFS file for appending";
        break;
      default:
        throw new ProxyException(ProxyException.INVALID_ARGUMENT,
            "Unknown open mode " + mode + " for HDFS file '" + path + "'");
    }
    try {
      if (mode != MODE_READ && file.getParent() != null) {
        Files.createDirectories(file.getParent());
      }
      return new OpenFile(path, mode != MODE_READ, FileChannel.open(file, options));
    } catch (IOException e) {
      throw IoFailures.wrap(action, path, e);
    }
  }

  RowSet stats(String path) {
    Path file = resolve(path);
    RowSet rows = EntryStats.newRowSet();
    try {
      EntryStats.add(rows, file, nameOf(file));
    } catch (IOException e) {
      throw IoFailures.wrap("Cannot read the attributes of", path, e);
    }
    return rows;
  }

  private static String nameOf(Path p) {
    Path name = p.getFileName();
    return name == null ? p.toString() : name.toString();
  }

  private static void copyTree(Path source, Path target, boolean overwrite) throws IOException {
    Files.walkFileTree(source, new SimpleFileVisitor<Path>() {
      private long copied;

      @Override
      public FileVisitResult preVisitDirectory(Path dir, BasicFileAttributes attrs)
          throws IOException {
        Files.createDirectories(target.resolve(source.relativize(dir).toString()));
        return FileVisitResult.CONTINUE;
      }

      @Override
      public FileVisitResult visitFile(Path file, BasicFileAttributes attrs) throws IOException {
        Path to = source.equals(file) ? target : target.resolve(source.relativize(file).toString());
        if (overwrite) {
          Files.copy(file, to, StandardCopyOption.REPLACE_EXISTING);
        } else {
          Files.copy(file, to);
        }
        copied += attrs.size();
        Progress.report(copied, -1, "copy");
        return FileVisitResult.CONTINUE;
      }
    });
  }

  private static void deleteTree(Path root) throws IOException {
    if (!Files.isDirectory(root, LinkOption.NOFOLLOW_LINKS)) {
      Files.delete(root);
      return;
    }
    Files.walkFileTree(root, new SimpleFileVisitor<Path>() {
      @Override
      public FileVisitResult visitFile(Path file, BasicFileAttributes attrs) throws IOException {
        Files.delete(file);
        return FileVisitResult.CONTINUE;
      }

      @Override
      public FileVisitResult postVisitDirectory(Path dir, IOException e) throws IOException {
        if (e != null) {
          throw e;
        }
        Files.delete(dir);
        return FileVisitResult.CONTINUE;
      }
    });
  }
}
