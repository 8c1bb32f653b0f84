#include "local_file.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "interruption.h"

namespace zohtool {

namespace {

std::string errnoText(const std::string& what) { return what + ": " + std::strerror(errno); }

}  // namespace

LocalFd::~LocalFd() {
  if (fd_ > 2) ::close(fd_);
}

LocalFd& LocalFd::operator=(LocalFd&& other) noexcept {
  if (this != &other) {
    if (fd_ > 2) ::close(fd_);
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

bool LocalFd::close(std::string* error) {
  if (fd_ <= 2) {
    fd_ = -1;
    return true;
  }
  const int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0) {
    *error = errnoText("close");
    return false;
  }
  return true;
}

LocalKind localKind(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return LocalKind::kMissing;
  return S_ISDIR(info.st_mode) ? LocalKind::kDirectory : LocalKind::kFile;
}

long long localSize(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return -1;
  return static_cast<long long>(info.st_size);
}

bool writeAll(int fd, const char* data, size_t length, std::string* error) {
  while (length > 0) {
    const ssize_t n = ::write(fd, data, length);
    if (n < 0) {
      if (errno == EINTR && !interrupted()) continue;
      *error = errnoText("write");
      return false;
    }
    data += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

long readSome(int fd, char* data, size_t length, std::string* error) {
  for (;;) {
    const ssize_t n = ::read(fd, data, length);
    if (n >= 0) return static_cast<long>(n);
    if (errno == EINTR && !interrupted()) continue;
    *error = errnoText("read");
    return -1;
  }
}

bool removeLocalTree(const std::string& path) {
  // Depth first, without following links out of the tree.
  return nftw(
             path.c_str(),
             [](const char* name, const struct stat*, int, struct FTW*) {
               return ::remove(name) == 0 || errno == ENOENT ? 0 : -1;
             },
             16, FTW_DEPTH | FTW_PHYS) == 0 ||
         errno == ENOENT;
}

PendingLocalFile::PendingLocalFile(std::string finalPath)
    : finalPath_(std::move(finalPath)), tempPath_(finalPath_ + "._COPYING_") {}

PendingLocalFile::~PendingLocalFile() {
  if (opened_ && !committed_) {
    std::string ignored;
    fd_.close(&ignored);
    ::unlink(tempPath_.c_str());
  }
}

bool PendingLocalFile::open(std::string* error) {
  const int fd = ::open(tempPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    *error = errnoText(tempPath_);
    return false;
  }
  fd_ = LocalFd(fd);
  opened_ = true;
  return true;
}

bool PendingLocalFile::commit(std::string* error) {
  if (!fd_.close(error)) return false;
  if (std::rename(tempPath_.c_str(), finalPath_.c_str()) != 0) {
    *error = errnoText(finalPath_);
    return false;
  }
  committed_ = true;
  return true;
}

}  // namespace zohtool
