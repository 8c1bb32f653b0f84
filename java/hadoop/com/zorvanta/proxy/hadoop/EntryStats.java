package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.RowSet;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.time.Instant;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.Set;

/**
 * The stats rows of file system entries: per entry a row (null, name), then
 * "Size", "ModDate" (UTC, milliseconds), "Permissions" (POSIX mode bits in
 * decimal) and, for directories only, "IsDir".
 */
final class EntryStats {
  private static final DateTimeFormatter DATE =
      DateTimeFormatter.ofPattern("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'").withZone(ZoneOffset.UTC);

  private EntryStats() {}

  static RowSet newRowSet() {
    return RowSet.ofStrings(2);
  }

  static void add(RowSet rows, Path path, String name) throws IOException {
    PosixFileAttributes attrs = attributes(path);
    rows.addRow(null, name);
    rows.addRow("Size", Long.toString(attrs.isDirectory() ? 0 : attrs.size()));
    rows.addRow("ModDate", formatDate(attrs.lastModifiedTime().toInstant()));
    rows.addRow("Permissions", Integer.toString(modeBits(attrs.permissions())));
    if (attrs.isDirectory()) {
      rows.addRow("IsDir", "true");
    }
  }

  static String formatDate(Instant instant) {
    return DATE.format(instant);
  }

  static int modeBits(Set<PosixFilePermission> permissions) {
    int mode = 0;
    for (PosixFilePermission p : permissions) {
      // The enum runs from OWNER_READ (0400) down to OTHERS_EXECUTE (0001).
      mode |= 0400 >> p.ordinal();
    }
    return mode;
  }

  // A dangling symbolic link is listed as the link itself rather than failing the listing.
  private static PosixFileAttributes attributes(Path path) throws IOException {
    try {
      return Files.readAttributes(path, PosixFileAttributes.class);
    } catch (java.nio.file.NoSuchFileException e) {
      if (Files.isSymbolicLink(path)) {
        return Files.readAttributes(path, PosixFileAttributes.class, LinkOption.NOFOLLOW_LINKS);
      }
      throw e;
    }
  }
}
