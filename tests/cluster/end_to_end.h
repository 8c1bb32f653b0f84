// What the programs that drive the library's public objects end to end share:
// owners that release those objects, a scratch directory on the local disk,
// and whole files and listings through the HDFS service.
#pragma once

#include <stdlib.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "ZOHadoopHDFS.h"
#include "hadoop_status.h"

namespace e2e {

// Operations that went through check(), and those of them that failed.
inline std::atomic<int> g_operations{0}, g_failures{0};

// Counts an operation and, when it failed, says so on standard error (the
// first few times): for programs that go on after a failure.
template <class T>
T check(T result, const char* what, const ZobString& err) {
  ++g_operations;
  if (!result && ++g_failures <= 10) std::fprintf(stderr, "%s failed: %s\n", what, err.asCstr());
  return result;
}

// The library's objects end with release(), never with delete.
struct Releaser {
  template <class T>
  void operator()(T* object) const { object->release(); }
};
template <class T>
using Owned = std::unique_ptr<T, Releaser>;

// A new directory from a mkdtemp pattern, removed with all it holds at the
// end (path() is empty when it could not be made).
class ScratchDir {
 public:
  explicit ScratchDir(std::string pattern = "/tmp/zoh-test-XXXXXX") : path_(std::move(pattern)) {
    if (mkdtemp(&path_[0]) == nullptr) path_.clear();
  }
  ~ScratchDir() {
    if (!path_.empty() && system(("rm -rf '" + path_ + "'").c_str()) != 0) abort();
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  std::string path_;
};

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}
inline bool contains(const ZobString& text, const std::string& part) {
  return contains(text.str(), part);
}

// Deterministic bytes of any size, every value among them and no period that
// a block or buffer size divides: a misplaced or repeated piece shows. The
// same (size, seed) gives the same bytes.
inline std::string patternBytes(size_t size, unsigned seed = 1) {
  std::string data(size, '\0');
  uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
  for (size_t i = 0; i < size; ++i) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    data[i] = static_cast<char>(x);
  }
  return data;
}

// The start and final texts of a job or a Pig run.
struct Texts : HadoopTextStatus {
  void setFinalText(const ZobString& text) override { final_ = text.str(); }
  void setStartText(const ZobString& text) override { start_ = text.str(); }
  std::string start_, final_;
};

// Word counts as Hadoop's and Pig's text outputs write them: "word<TAB>count" lines.
inline std::map<std::string, int> wordCounts(const std::string& text) {
  std::map<std::string, int> result;
  std::istringstream lines(text);
  std::string word;
  int n;
  while (lines >> word >> n) result[word] = n;
  return result;
}

inline std::string readLocal(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeLocal(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

// Opens with `flags`, writes and closes; false at the first step that fails.
// (WebHDFS reports a refused create only when the bytes or the close arrive.)
inline bool writeHdfs(ZOHadoopHDFS* hdfs, const std::string& path, const std::string& content,
                      ZobString* err, int flags = 0) {
  Owned<ZOHadoopFile> file(
      hdfs->openFile(nullptr, ZobString(path.c_str()), ZOB_TXTFILE_WRITE, flags, 0, err));
  return file && file->write(nullptr, content.data(), static_cast<int>(content.size()), err) &&
         file->close(err);
}

// The whole file in reads of `chunk` bytes, or "failed: " and why. `midway`
// runs once, when half of the file's size has been read.
inline std::string readHdfs(ZOHadoopHDFS* hdfs, const std::string& path, int chunk = 1 << 16,
                            std::function<void()> midway = nullptr) {
  ZobString err;
  Owned<ZOHadoopFile> file(
      hdfs->openFile(nullptr, ZobString(path.c_str()), ZOB_TXTFILE_READ, 0, 0, &err));
  std::string all;
  const char* data = nullptr;
  for (int n; file; all.append(data, static_cast<size_t>(n))) {
    if (midway && static_cast<long>(all.size()) >= file->getSize() / 2) {
      midway();
      midway = nullptr;
    }
    if ((n = file->read(nullptr, &data, chunk, &err)) <= 0) break;
  }
  return file && err.isNull() && file->close(&err) ? all : "failed: " + err.str();
}

struct Entry {
  long size = -1;
  ZobDate date;
  unsigned long millis = 0;
  bool isDir = false;
  bool readOnly = false;
};

// Reads an open listing to its end, handing each entry to `seen`: true at the
// end, false when a step failed, with the text in `err`.
inline bool walk(ZOHadoopDirectory* dir, ZobString* err,
                 const std::function<void(const std::string&, const Entry&)>& seen = nullptr) {
  ZobString name;
  Entry e;
  while (dir->next(&name, &e.size, &e.date, &e.millis, &e.isDir, &e.readOnly, err)) {
    if (seen) seen(name.str(), e);
  }
  return err->isNull();
}

// The entries of a listing by name; empty, with the text in `err`, when it failed.
inline std::map<std::string, Entry> listing(ZOHadoopHDFS* hdfs, const std::string& path,
                                            ZobString* err) {
  std::map<std::string, Entry> entries;
  Owned<ZOHadoopDirectory> dir(hdfs->openDir(nullptr, ZobString(path.c_str()), err));
  if (dir) walk(dir.get(), err, [&](const std::string& name, const Entry& e) { entries[name] = e; });
  return entries;
}

}  // namespace e2e
