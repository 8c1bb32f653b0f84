package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.RowSet;
import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.time.Instant;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.RawLocalFileSystem;

/**
 * The stats rows of file system entries, from Hadoop's {@link FileStatus}: per
 * entry a row (null, name), then "Size", "ModDate" (UTC, milliseconds),
 * "Permissions" (mode bits in decimal), "IsDir" for directories only, and
 * "Owner", "Group", "Replication", "BlockSize".
 */
final class EntryStats {
  private static final DateTimeFormatter DATE =
      DateTimeFormatter.ofPattern("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'").withZone(ZoneOffset.UTC);

  private EntryStats() {}

  static RowSet newRowSet() {
    return RowSet.ofStrings(2);
  }

  /**
   * `local` is the raw local file system when the status came from it: Hadoop
   * would learn a local entry's permissions and owner by running `ls` once per
   * entry, so they are read from the file's attributes instead.
   */
  static void add(RowSet rows, FileStatus status, RawLocalFileSystem local) {
    String name = status.getPath().getName();
    rows.addRow(null, name.isEmpty() ? status.getPath().toUri().getPath() : name);
    rows.addRow("Size", Long.toString(status.isDirectory() ? 0 : status.getLen()));
    rows.addRow("ModDate", DATE.format(Instant.ofEpochMilli(status.getModificationTime())));
    int mode;
    String owner;
    String group;
    if (local != null) {
      PosixFileAttributes attrs = localAttributes(local.pathToFile(status.getPath()));
      mode = attrs == null ? 0 : modeBits(attrs);
      owner = attrs == null ? "" : attrs.owner().getName();
      group = attrs == null ? "" : attrs.group().getName();
    } else {
      mode = status.getPermission().toShort() & 07777;
      owner = status.getOwner();
      group = status.getGroup();
    }
    rows.addRow("Permissions", Integer.toString(mode));
    if (status.isDirectory()) {
      rows.addRow("IsDir", "true");
    }
    rows.addRow("Owner", owner == null ? "" : owner);
    rows.addRow("Group", group == null ? "" : group);
    rows.addRow("Replication", Short.toString(status.getReplication()));
    rows.addRow("BlockSize", Long.toString(status.getBlockSize()));
  }

  private static PosixFileAttributes localAttributes(File file) {
    try {
      return Files.readAttributes(file.toPath(), PosixFileAttributes.class);
    } catch (IOException e) {
      try {  // a dangling link is listed as the link itself
        return Files.readAttributes(file.toPath(), PosixFileAttributes.class,
            LinkOption.NOFOLLOW_LINKS);
      } catch (IOException gone) {
        return null;  // vanished since it was listed
      }
    }
  }

  private static int modeBits(PosixFileAttributes attrs) {
    int mode = 0;
    for (PosixFilePermission p : attrs.permissions()) {
      // The enum runs from OWNER_READ (0400) down to OTHERS_EXECUTE (0001).
      mode |= 0400 >> p.ordinal();
    }
    return mode;
  }
}
