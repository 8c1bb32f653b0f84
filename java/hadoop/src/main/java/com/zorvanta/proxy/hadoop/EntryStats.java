package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.RowSet;
import java.io.File;
import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.nio.file.attribute.PosixFileAttributes;
import java.time.Instant;
import java.time.LocalDateTime;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
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
    return RowSet.writtenTexts(2);
  }

  /**
   * `local` is the raw local file system when the status came from it: Hadoop
   * would learn a local entry's permissions and owner by running `ls` once per
   * entry, so they are read from the file's attributes instead.
   */
  static void add(RowSet rows, FileStatus status, RawLocalFileSystem local) {
    String name = status.getPath().getName();
    rows.addTexts(null, name.isEmpty() ? status.getPath().toUri().getPath() : name);
    rows.addTextNumber("Size", status.isDirectory() ? 0 : status.getLen());
    rows.addTexts("ModDate", date(status.getModificationTime()));
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
    rows.addTextNumber("Permissions", mode);
    if (status.isDirectory()) {
      rows.addTexts("IsDir", "true");
    }
    rows.addTexts("Owner", owner == null ? "" : owner);
    rows.addTexts("Group", group == null ? "" : group);
    rows.addTextNumber("Replication", status.getReplication());
    rows.addTextNumber("BlockSize", status.getBlockSize());
  }

  /**
   * The rows of a local directory's entries sorted by name, or of a local
   * file's own entry, as Hadoop's raw local file system would describe them,
   * from one stat of each entry instead of the five that Hadoop makes (exists,
   * length, directory, time, then ours for the mode) and without building a
   * qualified path per entry. Entries that vanish or cannot be read are left
   * out, as Hadoop leaves them out. Null when the target itself cannot be read
   * or listed: Hadoop then answers, with its own error.
   */
  static RowSet localRows(File target, long blockSize) {
    Path path = target.toPath();
    Map<String, Object> self;
    try {
      self = Files.readAttributes(path, LOCAL_ATTRIBUTES);
    } catch (IOException | RuntimeException e) {
      return null;
    }
    RowSet rows = newRowSet();
    String replication = "1";
    String block = Long.toString(blockSize);
    if (!(Boolean) self.get("isDirectory")) {
      addLocal(rows, path, target.getName(), self, replication, block);
      return rows;
    }
    List<String> names = new ArrayList<>();
    try (DirectoryStream<Path> entries = Files.newDirectoryStream(path)) {
      for (Path entry : entries) {
        names.add(entry.getFileName().toString());
      }
    } catch (IOException | RuntimeException e) {
      return null;
    }
    Collections.sort(names);
    for (String name : names) {
      Path entry = path.resolve(name);
      Map<String, Object> attrs;
      try {
        attrs = Files.readAttributes(entry, LOCAL_ATTRIBUTES);
      } catch (IOException | RuntimeException e) {
        continue;  // gone since it was listed, or a dangling link
      }
      addLocal(rows, entry, name, attrs, replication, block);
    }
    return rows;
  }

  private static final String LOCAL_ATTRIBUTES =
      "unix:mode,uid,gid,size,lastModifiedTime,isDirectory";

  private static void addLocal(RowSet rows, Path path, String name, Map<String, Object> attrs,
      String replication, String blockSize) {
    boolean dir = (Boolean) attrs.get("isDirectory");
    rows.addTexts(null, name);
    rows.addTextNumber("Size", dir ? 0 : (Long) attrs.get("size"));
    rows.addTexts("ModDate", date(((FileTime) attrs.get("lastModifiedTime")).toMillis()));
    rows.addTextNumber("Permissions", (Integer) attrs.get("mode") & 07777);
    if (dir) {
      rows.addTexts("IsDir", "true");
    }
    String[] names =
        LocalAttributes.names(path, (Integer) attrs.get("uid"), (Integer) attrs.get("gid"));
    rows.addTexts("Owner", names[0]);
    rows.addTexts("Group", names[1]);
    rows.addTexts("Replication", replication);
    rows.addTexts("BlockSize", blockSize);
  }

  /**
   * UTC with milliseconds, as DATE formats it. Written out by hand: the
   * formatter costs about as much as the stat of the entry. Years that need a
   * sign or a fifth digit go to the formatter.
   */
  static String date(long millis) {
    LocalDateTime t = LocalDateTime.ofEpochSecond(Math.floorDiv(millis, 1000L),
        (int) Math.floorMod(millis, 1000L) * 1_000_000, ZoneOffset.UTC);
    int year = t.getYear();
    if (year < 1 || year > 9999) {
      return DATE.format(Instant.ofEpochMilli(millis));
    }
    char[] c = new char[24];
    digits(c, 0, year, 4);
    c[4] = '-';
    digits(c, 5, t.getMonthValue(), 2);
    c[7] = '-';
    digits(c, 8, t.getDayOfMonth(), 2);
    c[10] = 'T';
    digits(c, 11, t.getHour(), 2);
    c[13] = ':';
    digits(c, 14, t.getMinute(), 2);
    c[16] = ':';
    digits(c, 17, t.getSecond(), 2);
    c[19] = '.';
    digits(c, 20, (int) Math.floorMod(millis, 1000L), 3);
    c[23] = 'Z';
    return new String(c);
  }

  private static void digits(char[] c, int at, int value, int width) {
    for (int i = at + width - 1; i >= at; i--) {
      c[i] = (char) ('0' + value % 10);
      value /= 10;
    }
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
      String[] names = names(path, uid, gid, options);
      return new LocalAttributes((Integer) ids.get("mode") & 07777, names[0], names[1]);
    }

    /**
     * The owner and group names of ids, each id looked up once per process. The
     * JDK names ids only through a file's attributes, so `path`, whose ids they
     * are, is asked when one of them is new; empty names when it has vanished.
     */
    static String[] names(Path path, int uid, int gid, LinkOption... options) {
      String owner = USERS.get(uid);
      String group = GROUPS.get(gid);
      if (owner == null || group == null) {
        try {
          PosixFileAttributes named =
              Files.readAttributes(path, PosixFileAttributes.class, options);
          owner = named.owner().getName();
          group = named.group().getName();
          USERS.put(uid, owner);
          GROUPS.put(gid, group);
        } catch (IOException e) {
          return new String[] {"", ""};
        }
      }
      return new String[] {owner, group};
    }
  }
}
