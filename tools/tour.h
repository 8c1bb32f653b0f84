// The end-to-end tour: one pass over everything a host does with the library
// (raw stream write and read, directory walk, copies both ways, rename,
// delete) in a fresh temporary directory, checking each result. The directory
// is local (Hadoop's local file system), or beneath a base URI of any file
// system Hadoop's client reaches (hdfs://, webhdfs://).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "hadoop_session.h"

namespace zohtool {

class Tour {
 public:
  // `base`: empty for the local file system, else a directory URI to work under.
  Tour(std::FILE* out, size_t fileBytes, std::string base = "");
  ~Tour();
  Tour(const Tour&) = delete;
  Tour& operator=(const Tour&) = delete;

  // Runs every step in order, stopping at the first that fails. True when all
  // checked out.
  bool run();

 private:
  bool prepare(std::string* error);
  bool makeDirectory(std::string* detail);
  bool writeThroughRawIO(std::string* detail);
  bool listWithDirectoryAdapter(std::string* detail);
  bool readBackThroughRawIO(std::string* detail);
  bool copyToLocal(std::string* detail);
  bool copyFromLocal(std::string* detail);
  bool rename(std::string* detail);
  bool remove(std::string* detail);

  // A target on the tour's file system for a path under the work directory.
  bool target(const std::string& relative, FsTarget* out, std::string* error) const;
  // Compares `length` bytes with the expected content from `offset`.
  bool matches(const char* data, size_t offset, size_t length, std::string* error) const;
  bool readAllThroughRawIO(const std::string& relative, std::string* error) const;

  std::FILE* out_;
  std::vector<char> content_;
  std::string base_;      // where the work directory goes; empty: workDir_ itself
  std::string workDir_;   // local path (the local copies go there)
  std::string workUri_;   // URI text of the work directory on the tour's file system
  std::string uriItems_;  // the base URI's "?key=value..." part, or empty
  GenericOptions options_;
  HdfsSession session_;
  bool sessionOpen_ = false;
};

// The tour's file content: reproducible bytes that no shift or truncation
// can mistake for themselves.
std::vector<char> tourContent(size_t bytes);

}  // namespace zohtool
