#include "listing_format.h"

#include <cstdio>
#include <ctime>
#include <sstream>

namespace zohtool {

namespace {

std::string formatTime(int64_t millis, bool utc, const char* pattern) {
  const std::time_t seconds = static_cast<std::time_t>(millis / 1000 - (millis % 1000 < 0));
  std::tm parts{};
  if (utc) {
    gmtime_r(&seconds, &parts);
  } else {
    localtime_r(&seconds, &parts);
  }
  char text[64];
  const size_t n = std::strftime(text, sizeof text, pattern, &parts);
  return std::string(text, n);
}

std::string octalMode(int mode) {
  std::ostringstream out;
  out << std::oct << (mode & 07777);
  return out.str();
}

}  // namespace

std::string permissionString(const EntryInfo& entry) {
  std::string text(1, entry.isDir ? 'd' : '-');
  if (entry.mode) {
    static const char kLetters[] = "rwxrwxrwx";
    for (int bit = 8; bit >= 0; --bit)
      text.push_back((*entry.mode >> bit) & 1 ? kLetters[8 - bit] : '-');
    return text;
  }
  text += "?????????";
  if (entry.readOnly) text[8] = *entry.readOnly ? '-' : 'w';
  return text;
}

std::string formatListDate(int64_t millis) {
  return formatTime(millis, false, "%Y-%m-%d %H:%M");
}

std::string formatStatDate(int64_t millis) {
  return formatTime(millis, true, "%Y-%m-%d %H:%M:%S");
}

std::string humanSize(int64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes);
  static const char kUnits[] = "KMGTPE";
  double value = static_cast<double>(bytes);
  int unit = -1;
  while (value >= 1024 && unit < 5) {
    value /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %c", value, kUnits[unit]);
  return text;
}

std::vector<std::string> formatListLines(const std::vector<EntryInfo>& entries,
                                         bool humanSizes) {
  auto sizeText = [humanSizes](const EntryInfo& e) {
    return humanSizes ? humanSize(e.size) : std::to_string(e.size);
  };
  size_t ownerWidth = 1;
  size_t sizeWidth = 1;
  for (const auto& e : entries) {
    if (e.owner) ownerWidth = std::max(ownerWidth, e.owner->size());
    sizeWidth = std::max(sizeWidth, sizeText(e).size());
  }
  auto pad = [](const std::string& text, size_t width, bool right) {
    const std::string fill(width > text.size() ? width - text.size() : 0, ' ');
    return right ? fill + text : text + fill;
  };
  std::vector<std::string> lines;
  lines.reserve(entries.size());
  for (const auto& e : entries) {
    // Hadoop's eight columns; replication and group are never known here.
    std::string line = permissionString(e) + "   - ";
    line += pad(e.owner ? *e.owner : "-", ownerWidth, false) + " - ";
    line += pad(sizeText(e), sizeWidth, true);
    line += " " + (e.hasDate ? formatListDate(e.modMillis) : std::string("-          -    "));
    line += " " + e.path;
    lines.push_back(line);
  }
  return lines;
}

bool formatStat(const std::string& format, const EntryInfo& entry, std::string* out,
                std::string* error) {
  out->clear();
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out->push_back(format[i]);
      continue;
    }
    if (i + 1 == format.size()) {
      *error = "format ends with a lone '%'";
      return false;
    }
    const char conversion = format[++i];
    switch (conversion) {
      case 'n': *out += entry.name; break;
      case 'b': *out += std::to_string(entry.size); break;
      case 'y': *out += entry.hasDate ? formatStatDate(entry.modMillis) : "-"; break;
      case 'Y': *out += entry.hasDate ? std::to_string(entry.modMillis) : "-"; break;
      case 'F': *out += entry.isDir ? "directory" : "regular file"; break;
      case 'a': *out += entry.mode ? octalMode(*entry.mode) : "-"; break;
      case 'A': *out += permissionString(entry).substr(1); break;
      case 'u': *out += entry.owner ? *entry.owner : "-"; break;
      case 'g':
      case 'r':
      case 'o':
      case 'x':
      case 'X': *out += "-"; break;
      case '%': out->push_back('%'); break;
      default:
        *error = std::string("unknown format conversion '%") + conversion + "'";
        return false;
    }
  }
  return true;
}

}  // namespace zohtool
