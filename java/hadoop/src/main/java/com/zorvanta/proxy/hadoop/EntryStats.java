package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.RowSet;
import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributes;
import java.time.Instant;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
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
      LocalAttributes attrs = LocalAttributes.of(local.pathToFile(status.getPath()));
      mode = attrs == null ? 0 : attrs.mode;
      owner = attrs == null ? "" : attrs.owner;
      group = attrs == null ? "" : attrs.group;
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

  /**
   * A local entry's mode bits and owner and group names. The numbers come with
   * the file's own stat; a name costs a look-up in the system's user database,
   * so each id is looked up once per process (a walk meets few of them).
   */
  private static final class LocalAttributes {
    private static final Map<Integer, String> USERS = new ConcurrentHashMap<>();
    private static final Map<Integer, String> GROUPS = new ConcurrentHashMap<>();

    final int mode;
    final String owner;
    final String group;

    private LocalAttributes(int mode, String owner, String group) {
      this.mode = mode;
      this.owner = owner;
      this.group = group;
    }

    static LocalAttributes of(File file) {
      Path path = file.toPath();
      try {
        return read(path);
      } catch (IOException e) {
        try {  // a dangling link is listed as the link itself
          return read(path, LinkOption.NOFOLLOW_LINKS);
        } catch (IOException gone) {
          return null;  // vanished since it was listed
        }
      }
    }

    private static LocalAttributes read(Path path, LinkOption... options) throws IOException {
      Map<String, Object> ids = Files.readAttributes(path, "unix:mode,uid,gid", options);
      int uid = (Integer) ids.get("uid");
      int gid = (Integer) ids.get("gid");
      String owner = USERS.get(uid);
      String group = GROUPS.get(gid);
      if (owner == null || group == null) {
        PosixFileAttributes named = Files.readAttributes(path, PosixFileAttributes.class, options);
        owner = named.owner().getName();
        group = named.group().getName();
        USERS.put(uid, owner);
        GROUPS.put(gid, group);
      }
      return new LocalAttributes((Integer) ids.get("mode") & 07777, owner, group);
    }
  }
}
