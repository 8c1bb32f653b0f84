#include "string_lines.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

bool zobReadTextLines(const char* path, std::size_t maxLine, std::size_t maxBytes,
                      std::vector<std::string>* lines, std::string* problem) {
  lines->clear();
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path, "rb"));
  if (!file) {
    *problem = std::string("it cannot be opened (") + std::strerror(errno) + ")";
    return false;
  }
  std::string line;
  std::size_t total = 0;
  char chunk[4096];
  while (true) {
    const std::size_t got = std::fread(chunk, 1, sizeof chunk, file.get());
    if (got == 0) break;
    total += got;
    if (total > maxBytes) {
      *problem = "it is larger than " + std::to_string(maxBytes) + " bytes";
      return false;
    }
    for (std::size_t i = 0; i < got; ++i) {
      if (chunk[i] == '\n') {
        lines->push_back(std::move(line));
        line.clear();
      } else if (line.size() == maxLine) {
        *problem = "line " + std::to_string(lines->size() + 1) + " is longer than " +
                   std::to_string(maxLine) + " bytes";
        return false;
      } else {
        line += chunk[i];
      }
    }
  }
  if (std::ferror(file.get())) {
    *problem = std::string("it cannot be read (") + std::strerror(errno) + ")";
    return false;
  }
  if (!line.empty()) lines->push_back(std::move(line));
  return true;
}
