// Local files as the transfer commands need them: an owned descriptor,
// whole writes, and a destination that appears only once it is complete.
#pragma once

#include <string>

namespace zohtool {

class LocalFd {
 public:
  LocalFd() = default;
  explicit LocalFd(int fd) : fd_(fd) {}
  ~LocalFd();
  LocalFd(const LocalFd&) = delete;
  LocalFd& operator=(const LocalFd&) = delete;
  LocalFd(LocalFd&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  LocalFd& operator=(LocalFd&& other) noexcept;

  int get() const { return fd_; }
  // Closes now; false with errno's text when the close reports a failure.
  bool close(std::string* error);

 private:
  int fd_ = -1;
};

// Kind of a local path: 0 missing, 1 file (or anything not a directory),
// 2 directory.
enum class LocalKind { kMissing, kFile, kDirectory };
LocalKind localKind(const std::string& path);
// Size of a regular file, -1 when unknown (a pipe, a terminal).
long long localSize(int fd);

// Writes all of [data, data+length); false with errno's text on failure.
bool writeAll(int fd, const char* data, size_t length, std::string* error);
// Up to `length` bytes; 0 at the end; -1 with errno's text on failure.
long readSome(int fd, char* data, size_t length, std::string* error);

// Removes a file or a whole directory tree; true when nothing is left.
bool removeLocalTree(const std::string& path);

// A local file written under a temporary name beside its final one and moved
// into place by commit(); removed again when never committed.
class PendingLocalFile {
 public:
  explicit PendingLocalFile(std::string finalPath);
  ~PendingLocalFile();
  PendingLocalFile(const PendingLocalFile&) = delete;
  PendingLocalFile& operator=(const PendingLocalFile&) = delete;

  bool open(std::string* error);
  int fd() const { return fd_.get(); }
  bool commit(std::string* error);

 private:
  std::string finalPath_;
  std::string tempPath_;
  LocalFd fd_;
  bool opened_ = false;
  bool committed_ = false;
};

}  // namespace zohtool
