// How the tool prints HDFS entries: `ls` lines and `stat` formats in the
// shape Hadoop users read every day.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zohtool {

// What is known of one entry. The library's listings tell the kind, size,
// date and whether the entry is writable; a full mode or an owner only when
// the source knows them.
struct EntryInfo {
  std::string path;  // as printed: the user's base joined with the entry name
  std::string name;  // the last component
  bool isDir = false;
  int64_t size = 0;
  int64_t modMillis = 0;  // since the Unix epoch
  bool hasDate = true;
  std::optional<int> mode;          // POSIX permission bits (0755 ...)
  std::optional<bool> readOnly;     // the listing's write flag
  std::optional<std::string> owner;
};

// "drwxr-xr-x" from a full mode; without one, the type character followed by
// '?' for every unknown bit and the one bit the write flag reveals (others'
// write, the bit of value 2).
std::string permissionString(const EntryInfo& entry);

// "yyyy-MM-dd HH:mm" in the local time zone (as `hadoop fs -ls` prints).
std::string formatListDate(int64_t millis);
// "yyyy-MM-dd HH:mm:ss" in UTC (as `hadoop fs -stat` prints %y).
std::string formatStatDate(int64_t millis);

// "1.5 K", "3.0 G": binary units with one decimal, as Hadoop's -h prints.
std::string humanSize(int64_t bytes);

// One line per entry in Hadoop's eight columns, aligned over the whole list:
// permissions, replication, owner, group, size, date, time, path. What the
// library cannot know (replication, group, an owner the source does not
// give) prints as "-".
std::vector<std::string> formatListLines(const std::vector<EntryInfo>& entries,
                                         bool humanSizes = false);

// Expands a `stat` format: %n name, %b size, %y date (UTC), %Y milliseconds,
// %F "directory" or "regular file", %a octal mode, %A permission string,
// %u owner, %g group, %r replication, %o block size, %% a percent sign.
// Unknown values print as "-". An unknown conversion makes it fail with
// *error naming it.
bool formatStat(const std::string& format, const EntryInfo& entry, std::string* out,
                std::string* error);

}  // namespace zohtool
