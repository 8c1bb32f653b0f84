#include "tour.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>

#include "hadoop_path.h"
#include "local_file.h"
#include "tour_engines.h"
#include "zo_logger.h"

namespace zohtool {

namespace {

const char kDataDir[] = "data";
const char kSample[] = "data/sample.bin";
const char kUploaded[] = "data/uploaded.bin";
const char kRenamed[] = "data/renamed.bin";
const char kLocalCopy[] = "local-copy.bin";

// Uneven write pieces, so that the adapter's whole-buffer writes and its
// final partial buffer are both exercised.
constexpr size_t kWritePiece = 7001;
// Reads alternate between gathering (min = max) and taking what comes.
constexpr int kGatherRead = 5000;
constexpr int kLooseRead = 65536;

std::string now() {
  const std::time_t t = std::time(nullptr);
  std::tm parts{};
  localtime_r(&t, &parts);
  char text[16];
  std::strftime(text, sizeof text, "%H:%M:%S", &parts);
  return text;
}

}  // namespace

std::vector<char> tourContent(size_t bytes) {
  std::vector<char> data(bytes);
  uint32_t state = 0x2545F491u;
  for (size_t i = 0; i < bytes; ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    data[i] = static_cast<char>(state >> 24);
  }
  return data;
}

Tour::Tour(std::FILE* out, size_t fileBytes, std::string base)
    : out_(out), content_(tourContent(fileBytes)), base_(std::move(base)) {}

Tour::~Tour() {
  if (workDir_.empty()) return;
  if (!base_.empty() && sessionOpen_) {
    ZobString err;
    FsTarget root;
    std::string error;
    if (target("", &root, &error))
      session_.hdfs()->deleteFile(nullptr, ZobString(root.path().c_str()), &err);
  }
  // Whatever a failed step left behind goes with the work directory.
  for (const char* name : {kSample, kUploaded, kRenamed, kLocalCopy})
    ::unlink(joinPath(workDir_, name).c_str());
  ::rmdir(joinPath(workDir_, kDataDir).c_str());
  ::rmdir(workDir_.c_str());
}

namespace {

// The Java side names the Hadoop release that serves it when its proxy is made.
void rememberHadoopRelease(void* context, ZoLoggingLevel, const char*, const char*, int,
                           const char* text) {
  const char* release = std::strstr(text, "(Apache Hadoop ");
  auto* out = static_cast<std::string*>(context);
  if (release != nullptr && out->empty()) out->assign(release + 1, std::strcspn(release + 1, ")"));
}

}  // namespace

bool Tour::run() {
  std::string error;
  std::string release;
  zologSetCapture(&rememberHadoopRelease, &release);
  const bool prepared = prepare(&error);
  zologSetCapture(nullptr, nullptr);
  if (!prepared) {
    std::fprintf(out_, "tour: cannot start: %s\n", error.c_str());
    return false;
  }
  std::fprintf(out_, "%s on %s: tour in %s\n", zox_build_info,
               release.empty() ? "an unnamed Hadoop release" : release.c_str(), workUri_.c_str());
  struct Step {
    const char* title;
    std::function<bool(std::string*)> run;
  };
  std::vector<Step> steps = {
      {"make a directory (HDFS service)", [this](std::string* d) { return makeDirectory(d); }},
      {"write a file (raw I/O adapter)", [this](std::string* d) { return writeThroughRawIO(d); }},
      {"list the directory (directory adapter)",
       [this](std::string* d) { return listWithDirectoryAdapter(d); }},
      {"read the file back (raw I/O adapter)",
       [this](std::string* d) { return readBackThroughRawIO(d); }},
      {"copy to the local disk (copyToLocal)", [this](std::string* d) { return copyToLocal(d); }},
      {"copy from the local disk (copyFromLocal)",
       [this](std::string* d) { return copyFromLocal(d); }},
      {"rename (HDFS service)", [this](std::string* d) { return rename(d); }},
      {"delete (HDFS service)", [this](std::string* d) { return remove(d); }},
  };
  // The job engines run on the embedded default; beneath a base URI the tour is
  // about that file system.
  if (base_.empty()) {
    for (auto& [title, step] : engineTourSteps(workDir_)) steps.push_back({title, step});
  }
  const int count = static_cast<int>(steps.size());
  for (int i = 0; i < count; ++i) {
    std::fprintf(out_, "[%d/%d] %s %s ... ", i + 1, count, now().c_str(), steps[i].title);
    std::fflush(out_);
    std::string detail;
    const auto start = std::chrono::steady_clock::now();
    const bool ok = steps[i].run(&detail);
    const double ms = std::chrono::duration<double, std::milli>(
                          std::chrono::steady_clock::now() - start).count();
    if (!ok) {
      std::fprintf(out_, "FAILED\n      %s\n", detail.c_str());
      std::fprintf(out_, "Tour failed at step %d of %d.\n", i + 1, count);
      return false;
    }
    std::fprintf(out_, "ok (%.0f ms)\n      %s\n", ms, detail.c_str());
  }
  std::fprintf(out_, "Tour complete: all %d steps checked out.\n", count);
  return true;
}

bool Tour::prepare(std::string* error) {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = joinPath(tmp && *tmp ? tmp : "/tmp", "zohadoop-tour-XXXXXX");
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (!mkdtemp(buffer.data())) {
    *error = pattern + ": " + std::strerror(errno);
    return false;
  }
  workDir_ = buffer.data();
  // Items of the base URI (?key=value) stay at the end of every path beneath it.
  const size_t items = base_.find('?');
  if (items != std::string::npos) {
    uriItems_ = base_.substr(items);
    base_.resize(items);
  }
  workUri_ = base_.empty() ? "file://" + escapeUnsafe(workDir_)
                           : base_ + "/" + baseName(workDir_);
  FsTarget root;
  if (!target("", &root, error)) return false;
  if (!session_.open(root, options_, error)) return false;
  sessionOpen_ = true;
  if (base_.empty()) return true;
  ZobString err;
  if (!session_.hdfs()->makeDirectory(nullptr, ZobString(root.path().c_str()), &err)) {
    *error = err.str();
    return false;
  }
  return true;
}

bool Tour::target(const std::string& relative, FsTarget* out, std::string* error) const {
  const std::string typed = (relative.empty() ? workUri_ : workUri_ + "/" + relative) + uriItems_;
  return FsTarget::parse(typed, options_, out, error);
}

bool Tour::makeDirectory(std::string* detail) {
  FsTarget dir;
  if (!target(kDataDir, &dir, detail)) return false;
  ZobString err;
  if (!session_.hdfs()->makeDirectory(nullptr, ZobString(dir.path().c_str()), &err)) {
    *detail = err.str();
    return false;
  }
  bool there = false;
  if (!session_.exists(dir.path(), &there, detail)) return false;
  if (!there || (base_.empty() && localKind(joinPath(workDir_, kDataDir)) != LocalKind::kDirectory)) {
    *detail = "the call succeeded but " + dir.path() + " is not a directory";
    return false;
  }
  *detail = dir.path() + " exists";
  return true;
}

bool Tour::writeThroughRawIO(std::string* detail) {
  FsTarget file;
  if (!target(kSample, &file, detail)) return false;
  RawStream stream;
  if (!stream.open(file, ZOB_TXTFILE_WRITE, detail)) return false;
  for (size_t at = 0; at < content_.size(); at += kWritePiece) {
    const int n = static_cast<int>(std::min(kWritePiece, content_.size() - at));
    if (stream.io()->putBytes(content_.data() + at, n) != n) {
      *detail = "putBytes at offset " + std::to_string(at) + ": " + stream.lastError();
      return false;
    }
  }
  if (!stream.close(detail)) return false;
  *detail = std::to_string(content_.size()) + " bytes written to " + file.path();
  return true;
}

bool Tour::listWithDirectoryAdapter(std::string* detail) {
  FsTarget dir;
  if (!target(kDataDir, &dir, detail)) return false;
  std::vector<EntryInfo> entries;
  if (!listDirectory(dir, &entries, detail)) return false;
  if (entries.size() != 1 || entries[0].name != baseName(kSample)) {
    *detail = "expected exactly " + baseName(kSample) + ", found " +
              std::to_string(entries.size()) + " entries";
    for (const auto& e : entries) *detail += " '" + e.name + "'";
    return false;
  }
  const EntryInfo& e = entries[0];
  if (e.isDir || e.size != static_cast<int64_t>(content_.size())) {
    *detail = "the entry says dir=" + std::to_string(e.isDir) + " size=" +
              std::to_string(e.size) + ", expected a file of " +
              std::to_string(content_.size()) + " bytes";
    return false;
  }
  const int64_t nowMillis = std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::system_clock::now().time_since_epoch()).count();
  if (!e.hasDate || std::llabs(nowMillis - e.modMillis) > 10 * 60 * 1000) {
    *detail = "the entry's date " + formatStatDate(e.modMillis) + " is not about now";
    return false;
  }
  *detail = formatListLines(entries)[0];
  return true;
}

bool Tour::matches(const char* data, size_t offset, size_t length, std::string* error) const {
  if (offset + length > content_.size()) {
    *error = "more bytes than were written: " + std::to_string(offset + length);
    return false;
  }
  if (std::memcmp(data, content_.data() + offset, length) == 0) return true;
  for (size_t i = 0; i < length; ++i) {
    if (data[i] != content_[offset + i]) {
      *error = "byte " + std::to_string(offset + i) + " differs";
      break;
    }
  }
  return false;
}

bool Tour::readAllThroughRawIO(const std::string& relative, std::string* error) const {
  FsTarget file;
  if (!target(relative, &file, error)) return false;
  RawStream stream;
  if (!stream.open(file, ZOB_TXTFILE_READ, error)) return false;
  if (stream.io()->size() != static_cast<long>(content_.size())) {
    *error = "size() says " + std::to_string(stream.io()->size());
    return false;
  }
  size_t at = 0;
  for (int round = 0;; ++round) {
    const char* data = nullptr;
    const bool gather = round % 2 == 0;
    const int n = stream.io()->getBytes(&data, gather ? kGatherRead : 1,
                                        gather ? kGatherRead : kLooseRead);
    if (n < 0) {
      *error = "getBytes at offset " + std::to_string(at) + ": " + stream.lastError();
      return false;
    }
    if (n == 0) break;
    if (gather && n != kGatherRead && at + n != content_.size()) {
      *error = "getBytes gave " + std::to_string(n) + " bytes where " +
               std::to_string(kGatherRead) + " were due";
      return false;
    }
    if (!matches(data, at, static_cast<size_t>(n), error)) return false;
    at += static_cast<size_t>(n);
  }
  if (at != content_.size()) {
    *error = "the stream ended after " + std::to_string(at) + " bytes";
    return false;
  }
  return stream.close(error);
}

bool Tour::readBackThroughRawIO(std::string* detail) {
  if (!readAllThroughRawIO(kSample, detail)) return false;
  *detail = "all " + std::to_string(content_.size()) + " bytes match";
  return true;
}

bool Tour::copyToLocal(std::string* detail) {
  FsTarget source;
  if (!target(kSample, &source, detail)) return false;
  const std::string local = joinPath(workDir_, kLocalCopy);
  ZobString err;
  if (!session_.hdfs()->copyToLocal(nullptr, ZobString(source.path().c_str()), false,
                                    ZobString(local.c_str()), false, &err)) {
    *detail = err.str();
    return false;
  }
  LocalFd fd(::open(local.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) {
    *detail = local + " was not created";
    return false;
  }
  std::vector<char> copy(content_.size() + 1);
  size_t got = 0;
  for (;;) {
    const long n = readSome(fd.get(), copy.data() + got, copy.size() - got, detail);
    if (n < 0) return false;
    if (n == 0 || (got += static_cast<size_t>(n)) == copy.size()) break;
  }
  if (got != content_.size()) {
    *detail = local + " holds " + std::to_string(got) + " bytes";
    return false;
  }
  if (!matches(copy.data(), 0, got, detail)) return false;
  *detail = local + ": all bytes match";
  return true;
}

bool Tour::copyFromLocal(std::string* detail) {
  FsTarget destination;
  if (!target(kUploaded, &destination, detail)) return false;
  const std::string local = joinPath(workDir_, kLocalCopy);
  ZobString err;
  if (!session_.hdfs()->copyFromLocal(nullptr, ZobString(local.c_str()), false,
                                      ZobString(destination.path().c_str()), false, &err)) {
    *detail = err.str();
    return false;
  }
  if (!readAllThroughRawIO(kUploaded, detail)) return false;
  *detail = destination.path() + ": read back, all bytes match";
  return true;
}

bool Tour::rename(std::string* detail) {
  FsTarget from;
  FsTarget to;
  if (!target(kUploaded, &from, detail) || !target(kRenamed, &to, detail)) return false;
  ZobString err;
  if (!session_.hdfs()->rename(nullptr, ZobString(from.path().c_str()),
                               ZobString(to.path().c_str()), &err)) {
    *detail = err.str();
    return false;
  }
  bool fromThere = true;
  bool toThere = false;
  if (!session_.exists(from.path(), &fromThere, detail) ||
      !session_.exists(to.path(), &toThere, detail))
    return false;
  if (fromThere || !toThere) {
    *detail = "after the rename: old name there=" + std::to_string(fromThere) +
              ", new name there=" + std::to_string(toThere);
    return false;
  }
  *detail = from.path() + " -> " + to.path();
  return true;
}

bool Tour::remove(std::string* detail) {
  std::string removed;
  for (const char* name : {kSample, kRenamed, kDataDir}) {
    FsTarget entry;
    if (!target(name, &entry, detail)) return false;
    ZobString err;
    if (!session_.hdfs()->deleteFile(nullptr, ZobString(entry.path().c_str()), &err)) {
      *detail = err.str();
      return false;
    }
    bool still = true;
    if (!session_.exists(entry.path(), &still, detail)) return false;
    if (still) {
      *detail = entry.path() + " is still there after the delete";
      return false;
    }
    removed += (removed.empty() ? "" : ", ") + baseName(entry.path());
  }
  *detail = "deleted " + removed;
  return true;
}

}  // namespace zohtool
