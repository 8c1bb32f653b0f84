package com.zorvanta.proxy.hadoop;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.attribute.PosixFilePermission;
import java.util.EnumSet;
import java.util.Set;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.RawLocalFileSystem;
import org.apache.hadoop.fs.permission.FsPermission;

/**
 * Hadoop's raw local file system (no checksum side files), except that a
 * permission change is one system call. Without Hadoop's native library, which
 * no published artefact carries, Hadoop runs a `chmod` process for every file
 * it creates and every directory it makes: milliseconds each, and a 20,000-entry
 * directory takes minutes to make.
 */
public final class ForklessLocalFileSystem extends RawLocalFileSystem {
  private static final PosixFilePermission[] BITS = PosixFilePermission.values();

  @Override
  public void setPermission(Path p, FsPermission permission) throws IOException {
    int mode = permission.toShort();
    Set<PosixFilePermission> set = EnumSet.noneOf(PosixFilePermission.class);
    for (PosixFilePermission bit : BITS) {
      // The enum runs from OWNER_READ (0400) down to OTHERS_EXECUTE (0001).
      if ((mode & (0400 >> bit.ordinal())) != 0) {
        set.add(bit);
      }
    }
    Files.setPosixFilePermissions(pathToFile(p).toPath(), set);
  }
}
