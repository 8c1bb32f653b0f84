// Commands that move bytes: files stream through the library's raw I/O entry
// point, directories are copied by the HDFS service. Whatever arrives is
// written under a temporary name and renamed once complete.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <algorithm>
#include <memory>
#include <vector>

#include "fs_commands.h"
#include "hadoop_path.h"
#include "interruption.h"
#include "local_file.h"
#include "progress_bar.h"

namespace zohtool {

namespace {

constexpr size_t kChunk = 1 << 20;

const char kNoSuchFile[] = "No such file or directory";
const char kFileExists[] = "File exists";
const char kInterrupted[] = "interrupted";
const char kCopying[] = "._COPYING_";

// A destination on the Hadoop side, resolved: where the bytes land and
// what is there now.
struct RemoteDestination {
  FsTarget target;
  HdfsSession* session = nullptr;
  bool exists = false;
  EntryInfo entry;
};

// Where a source lands under a typed destination on the Hadoop side: into it
// when it is a directory, as it otherwise. Reports and returns false on
// failure or when the destination exists and `force` is not set.
bool resolveRemoteDestination(const CommandContext& ctx, const std::string& typed,
                              const std::string& sourceName, bool manySources, bool force,
                              RemoteDestination* out) {
  FsTarget given;
  if (!ctx.target(typed, &given)) return false;
  HdfsSession* session = out->session = ctx.session(given);
  if (!session) return false;
  EntryInfo& entry = out->entry;
  bool& found = out->exists;
  std::string error;
  if (!session->stat(given, &entry, &found, &error)) return ctx.refuse(error);
  if (found && entry.isDir) {
    if (!given.withPath(joinPath(given.path(), sourceName),
                        joinPath(given.display(), sourceName), &out->target, &error))
      return ctx.refuse(error);
    if (!session->stat(out->target, &entry, &found, &error)) return ctx.refuse(error);
    if (found && entry.isDir) return ctx.refusePath(out->target.display(), "Is a directory");
  } else {
    if (manySources) return ctx.refusePath(given.display(), "Is not a directory");
    out->target = std::move(given);
  }
  if (found && !force) return ctx.refusePath(out->target.display(), kFileExists);
  if (!found) {
    // The Java side would make missing parents; a typo in a directory name
    // should not quietly grow a new tree.
    const std::string parent = parentPath(out->target.path());
    bool parentThere = true;
    if (!parent.empty() && !session->exists(parent, &parentThere, &error))
      return ctx.refuse(error);
    if (!parentThere) return ctx.refusePath(out->target.display(), kNoSuchFile);
  }
  return true;
}

// The local file a Hadoop source lands in under a typed local destination.
bool resolveLocalDestination(const CommandContext& ctx, const std::string& typed,
                             const std::string& sourceName, bool manySources, bool force,
                             std::string* out) {
  const LocalKind kind = localKind(typed);
  if (kind == LocalKind::kDirectory) {
    *out = joinPath(typed, sourceName);
  } else if (manySources) {
    return ctx.refusePath(typed, "Is not a directory");
  } else {
    *out = typed;
  }
  const LocalKind final = localKind(*out);
  if (final == LocalKind::kDirectory) return ctx.refusePath(*out, "Is a directory");
  if (final != LocalKind::kMissing && !force) return ctx.refusePath(*out, kFileExists);
  return true;
}

// A Hadoop source that must exist (and be a file unless `directoryToo`).
bool resolveRemoteSource(const CommandContext& ctx, const std::string& typed, bool directoryToo,
                         FsTarget* source, HdfsSession** session, EntryInfo* entry) {
  if (!ctx.target(typed, source)) return false;
  *session = ctx.session(*source);
  if (!*session) return false;
  bool found = false;
  std::string error;
  if (!(*session)->stat(*source, entry, &found, &error)) return ctx.refuse(error);
  if (!found) return ctx.refusePath(source->display(), kNoSuchFile);
  if (entry->isDir && !directoryToo) return ctx.refusePath(source->display(), "Is a directory");
  return true;
}

// Whether a local path and an existing entry on a Hadoop file system are one
// and the same file, which only a local file system can make them. A file:
// URI says so by its scheme; a plain path names the default file system,
// which may be local: then the listing must agree with the local file too.
bool sameFile(const std::string& local, const FsTarget& remote, const EntryInfo& remoteEntry) {
  const std::string scheme = remote.uri()->getScheme().str();
  if (!scheme.empty() && scheme != "file") return false;
  struct stat mine {};
  struct stat theirs {};
  if (::stat(local.c_str(), &mine) != 0 || ::stat(remote.path().c_str(), &theirs) != 0)
    return false;
  if (mine.st_dev != theirs.st_dev || mine.st_ino != theirs.st_ino) return false;
  if (!scheme.empty() || S_ISDIR(theirs.st_mode)) return true;
  const int64_t millis = theirs.st_mtim.tv_sec * 1000LL + theirs.st_mtim.tv_nsec / 1000000;
  return remoteEntry.size == theirs.st_size && remoteEntry.modMillis == millis;
}

bool refuseSameFile(const CommandContext& ctx, const std::string& source,
                    const std::string& destination) {
  return ctx.refuse("`" + source + "' and `" + destination + "' are the same file");
}

// A part of a file: from the start (or the last `fromEnd` bytes), at most
// `limit` bytes; the whole file by default.
struct ByteRange {
  long fromEnd = -1;
  long limit = -1;
};

// Streams a Hadoop file (or a range of it) to a local descriptor; true when
// every byte arrived.
bool streamOut(const CommandContext& ctx, const FsTarget& source, int fd, bool showProgress,
               ByteRange range = ByteRange()) {
  RawStream stream;
  std::string error;
  if (!stream.open(source, ZOB_TXTFILE_READ, &error)) return ctx.refuse(error);
  long total = stream.io()->size();
  if (range.fromEnd >= 0 && total > range.fromEnd) {
    if (stream.io()->skipBytes(total - range.fromEnd) != total - range.fromEnd)
      return ctx.refuse(stream.lastError());
    total = range.fromEnd;
  }
  if (range.limit >= 0 && (total < 0 || total > range.limit)) total = range.limit;
  ProgressBar bar(ctx.err, showProgress, baseName(source.path()), total, ctx.progressDelay);
  int64_t done = 0;
  for (;;) {
    if (interrupted()) return ctx.refuse(kInterrupted);
    const char* data = nullptr;
    const long left = range.limit >= 0 ? range.limit - done : static_cast<long>(kChunk);
    if (left == 0) break;
    const int n = stream.io()->getBytes(&data, 1, static_cast<int>(std::min<long>(left, kChunk)));
    if (n < 0) return ctx.refuse(stream.lastError());
    if (n == 0) break;
    if (!writeAll(fd, data, static_cast<size_t>(n), &error)) return ctx.refuse(error);
    done += n;
    bar.update(done);
  }
  bar.finish();
  if (!stream.close(&error)) return ctx.refuse(error);
  // Fewer bytes than the size promised is a loss; more is a file that grew
  // while it was read, or one whose size says nothing (/proc).
  if (total >= 0 && done < total) {
    return ctx.refusePath(source.display(), "read " + std::to_string(done) +
                                              " bytes of " + std::to_string(total));
  }
  return true;
}

// Streams a local descriptor into a Hadoop file.
bool streamIn(const CommandContext& ctx, int fd, const std::string& label,
              const FsTarget& destination, ZobTxtFileOpenMode mode = ZOB_TXTFILE_WRITE) {
  RawStream stream;
  std::string error;
  if (!stream.open(destination, mode, &error)) return ctx.refuse(error);
  ProgressBar bar(ctx.err, ctx.progressOnTerminal, label, localSize(fd), ctx.progressDelay);
  std::unique_ptr<char[]> chunk(new char[kChunk]);
  int64_t done = 0;
  for (;;) {
    const long n = readSome(fd, chunk.get(), kChunk, &error);
    if (interrupted()) return ctx.refuse(kInterrupted);
    if (n < 0) return ctx.refuse(error);
    if (n == 0) break;
    if (stream.io()->putBytes(chunk.get(), static_cast<int>(n)) != n)
      return ctx.refuse(stream.lastError());
    done += n;
    bar.update(done);
  }
  bar.finish();
  return stream.close(&error) || ctx.refuse(error);
}

// A Hadoop file or directory written as "<final>._COPYING_" and renamed into
// place by commit(); the temporary name is removed again when never committed.
class PendingRemoteFile {
 public:
  PendingRemoteFile(const CommandContext& ctx, const RemoteDestination& destination)
      : ctx_(ctx), destination_(destination) {}
  ~PendingRemoteFile() {
    if (!committed_ && !temp_.display().empty()) {
      ZobString ignored;
      destination_.session->hdfs()->deleteFile(nullptr, ZobString(temp_.path().c_str()),
                                               &ignored);
    }
  }
  bool start() {
    std::string error;
    const FsTarget& final = destination_.target;
    return final.withPath(final.path() + kCopying, final.display() + kCopying, &temp_, &error) ||
           ctx_.refuse(error);
  }
  const FsTarget& temp() const { return temp_; }
  bool commit() {
    if (interrupted()) return ctx_.refuse(kInterrupted);
    HdfsSession* session = destination_.session;
    const std::string final = destination_.target.path();
    ZobString err;
    // Replacing is asked for (-f) when the destination exists; rename does
    // not replace on every file system.
    if (destination_.exists &&
        !session->hdfs()->deleteFile(nullptr, ZobString(final.c_str()), &err))
      return ctx_.refuse(err.str());
    if (!session->hdfs()->rename(nullptr, ZobString(temp_.path().c_str()),
                                 ZobString(final.c_str()), &err)) {
      // The old content is gone by now: the new one must stay somewhere.
      committed_ = destination_.exists;
      return ctx_.refuse(err.str() + (committed_ ? "; the copy is kept as `" +
                                                       temp_.display() + "'"
                                                 : std::string()));
    }
    bool arrived = false;
    std::string error;
    if (!session->exists(final, &arrived, &error)) return ctx_.refuse(error);
    if (!arrived) return ctx_.refusePath(destination_.target.display(), "was not created");
    committed_ = true;
    return true;
  }

 private:
  const CommandContext& ctx_;
  const RemoteDestination& destination_;
  FsTarget temp_;
  bool committed_ = false;
};

// Splits "src... dst" operands; reports a usage error when fewer than two.
bool sourcesAndDestination(const CommandContext& ctx, std::vector<std::string>* sources,
                           std::string* destination) {
  if (ctx.line.args.size() < 2) return false;
  sources->assign(ctx.line.args.begin(), ctx.line.args.end() - 1);
  *destination = ctx.line.args.back();
  return true;
}

// One local source (a file, a directory or "-") to a resolved destination.
bool uploadOne(const CommandContext& ctx, const std::string& source, LocalKind kind,
               const RemoteDestination& destination) {
  catchInterrupts();
  PendingRemoteFile pending(ctx, destination);
  if (!pending.start()) return false;
  if (kind == LocalKind::kDirectory) {
    ZobString err;
    // Flags: keep the source; replace a temporary copy left by a crash.
    if (!destination.session->hdfs()->copyFromLocal(nullptr, ZobString(source.c_str()), false,
                                                    ZobString(pending.temp().path().c_str()),
                                                    true, &err))
      return ctx.refuse(err.str());
  } else {
    LocalFd fd(source == "-" ? STDIN_FILENO : ::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return ctx.refusePath(source, std::strerror(errno));
    if (!streamIn(ctx, fd.get(), source == "-" ? "stdin" : baseName(source), pending.temp()))
      return false;
  }
  return pending.commit();
}

// One Hadoop source (a file or a directory) to a local path.
bool downloadOne(const CommandContext& ctx, const FsTarget& source, HdfsSession* session,
                 const EntryInfo& entry, const std::string& local) {
  catchInterrupts();
  if (!entry.isDir) {
    PendingLocalFile file(local);
    std::string error;
    if (!file.open(&error)) return ctx.refuse(error);
    if (!streamOut(ctx, source, file.fd(), ctx.progressOnTerminal)) return false;
    if (interrupted()) return ctx.refuse(kInterrupted);
    return file.commit(&error) || ctx.refuse(error);
  }
  const std::string temp = local + kCopying;
  bool done = false;
  ZobString err;
  if (!removeLocalTree(temp)) {
    ctx.failPath(temp, "cannot remove an earlier partial copy");
  } else if (!session->hdfs()->copyToLocal(nullptr, ZobString(source.path().c_str()), false,
                                           ZobString(temp.c_str()), true, &err)) {
    ctx.fail(err.str());
  } else if (interrupted()) {
    ctx.fail(kInterrupted);
  } else if (std::rename(temp.c_str(), local.c_str()) != 0) {
    ctx.failPath(local, std::strerror(errno));
  } else {
    done = true;
  }
  if (!done) removeLocalTree(temp);
  return done;
}

// put and copyFromLocal: one command under two names, as in Hadoop's shell.
int uploadCommand(const CommandContext& ctx, const char* command) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis(command));
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& source : sources) {
    if (interrupted()) break;
    const LocalKind kind = source == "-" ? LocalKind::kFile : localKind(source);
    if (kind == LocalKind::kMissing) {
      status = ctx.failPath(source, kNoSuchFile);
      continue;
    }
    RemoteDestination destination;
    const std::string name = source == "-" ? "stdin" : baseName(source);
    if (!resolveRemoteDestination(ctx, typedDestination, name, sources.size() > 1, force,
                                  &destination) ||
        (destination.exists && source != "-" &&
         sameFile(source, destination.target, destination.entry) &&
         !refuseSameFile(ctx, source, destination.target.display())) ||
        !uploadOne(ctx, source, kind, destination))
      status = 1;
  }
  return status;
}

// get and copyToLocal.
int downloadCommand(const CommandContext& ctx, const char* command) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis(command));
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& typed : sources) {
    if (interrupted()) break;
    FsTarget source;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    std::string local;
    if (!resolveRemoteSource(ctx, typed, true, &source, &session, &entry) ||
        !resolveLocalDestination(ctx, typedDestination, baseName(source.path()),
                                 sources.size() > 1, force, &local) ||
        (localKind(local) != LocalKind::kMissing && sameFile(local, source, entry) &&
         !refuseSameFile(ctx, source.display(), local)) ||
        !downloadOne(ctx, source, session, entry, local))
      status = 1;
  }
  return status;
}

// Copies a file or a whole tree between Hadoop paths (which may be on two
// file systems); directories are made on the destination's service.
bool copyRemoteTree(const CommandContext& ctx, const FsTarget& from, const EntryInfo& entry,
                    HdfsSession* toSession, const FsTarget& to) {
  std::string error;
  if (entry.isDir) {
    ZobString err;
    std::vector<EntryInfo> entries;
    if (!toSession->hdfs()->makeDirectory(nullptr, ZobString(to.path().c_str()), &err))
      return ctx.refuse(err.str());
    if (!listDirectory(from, &entries, &error)) return ctx.refuse(error);
    for (const auto& child : entries) {
      FsTarget childFrom;
      FsTarget childTo;
      if (!from.withPath(joinPath(from.path(), child.name), child.path, &childFrom, &error) ||
          !to.withPath(joinPath(to.path(), child.name), joinPath(to.display(), child.name),
                       &childTo, &error))
        return ctx.refuse(error);
      if (!copyRemoteTree(ctx, childFrom, child, toSession, childTo)) return false;
    }
    return true;
  }
  RawStream in;
  RawStream out;
  if (!in.open(from, ZOB_TXTFILE_READ, &error) || !out.open(to, ZOB_TXTFILE_WRITE, &error))
    return ctx.refuse(error);
  for (;;) {
    if (interrupted()) return ctx.refuse(kInterrupted);
    const char* data = nullptr;
    const int n = in.io()->getBytes(&data, 1, static_cast<int>(kChunk));
    if (n < 0) return ctx.refuse(in.lastError());
    if (n == 0) break;
    if (out.io()->putBytes(data, n) != n) return ctx.refuse(out.lastError());
  }
  return (in.close(&error) && out.close(&error)) || ctx.refuse(error);
}

// head and tail: Hadoop shows the first or the last kilobyte.
constexpr long kPartBytes = 1024;

int showPart(const CommandContext& ctx, const char* command, ByteRange range) {
  if (ctx.line.args.size() != 1) return usageError(ctx, commandSynopsis(command));
  FsTarget source;
  HdfsSession* session = nullptr;
  EntryInfo entry;
  std::fflush(ctx.out);
  return resolveRemoteSource(ctx, ctx.line.args[0], false, &source, &session, &entry) &&
                 streamOut(ctx, source, fileno(ctx.out), false, range)
             ? 0
             : 1;
}

}  // namespace

int runPut(const CommandContext& ctx) { return uploadCommand(ctx, "put"); }
int runCopyFromLocal(const CommandContext& ctx) { return uploadCommand(ctx, "copyFromLocal"); }
int runGet(const CommandContext& ctx) { return downloadCommand(ctx, "get"); }
int runCopyToLocal(const CommandContext& ctx) { return downloadCommand(ctx, "copyToLocal"); }

int runCat(const CommandContext& ctx) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis("cat"));
  // The bar would tear through the text when both go to the same terminal.
  const bool showProgress = ctx.progressOnTerminal && isatty(fileno(ctx.out)) != 1;
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    FsTarget source;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    std::fflush(ctx.out);
    if (!resolveRemoteSource(ctx, typed, false, &source, &session, &entry) ||
        !streamOut(ctx, source, fileno(ctx.out), showProgress))
      status = 1;
  }
  return status;
}

int runHead(const CommandContext& ctx) { return showPart(ctx, "head", {-1, kPartBytes}); }
int runTail(const CommandContext& ctx) { return showPart(ctx, "tail", {kPartBytes, -1}); }

int runCp(const CommandContext& ctx) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis("cp"));
  int status = 0;
  for (const auto& typed : sources) {
    if (interrupted()) break;
    FsTarget source;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    RemoteDestination destination;
    if (!resolveRemoteSource(ctx, typed, true, &source, &session, &entry) ||
        !resolveRemoteDestination(ctx, typedDestination, baseName(source.path()),
                                  sources.size() > 1, hasFlag(ctx.line, "-f"), &destination)) {
      status = 1;
      continue;
    }
    const std::string& to = destination.target.path();
    const std::string inside = source.path() + "/";
    if (destination.target.contextKey() == source.contextKey() &&
        (to == source.path() || to.compare(0, inside.size(), inside) == 0)) {
      status = ctx.fail("`" + source.display() + "' cannot be copied onto or into itself");
      continue;
    }
    catchInterrupts();
    PendingRemoteFile pending(ctx, destination);
    if (!pending.start() || !copyRemoteTree(ctx, source, entry, destination.session,
                                            pending.temp()) ||
        !pending.commit())
      status = 1;
  }
  return status;
}

int runTouchz(const CommandContext& ctx) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis("touchz"));
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    RemoteDestination destination;
    // An existing empty file is fine as it is; -f lets resolution accept it.
    if (!resolveRemoteDestination(ctx, typed, "", false, true, &destination)) {
      status = 1;
      continue;
    }
    if (destination.exists) {
      if (destination.entry.isDir || destination.entry.size != 0)
        status = ctx.failPath(destination.target.display(), destination.entry.isDir
                                                                 ? "Is a directory"
                                                                 : "Not a zero-length file");
      continue;
    }
    RawStream stream;
    std::string error;
    if (!stream.open(destination.target, ZOB_TXTFILE_WRITE, &error) || !stream.close(&error))
      status = ctx.fail(error);
  }
  return status;
}

int runAppendToFile(const CommandContext& ctx) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis("appendToFile"));
  RemoteDestination destination;
  if (!resolveRemoteDestination(ctx, typedDestination, "", false, true, &destination)) return 1;
  if (destination.exists && destination.entry.isDir)
    return ctx.failPath(destination.target.display(), "Is a directory");
  bool exists = destination.exists;
  for (const auto& source : sources) {
    LocalFd fd(source == "-" ? STDIN_FILENO : ::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return ctx.failPath(source, std::strerror(errno));
    if (!streamIn(ctx, fd.get(), source == "-" ? "stdin" : baseName(source), destination.target,
                  exists ? ZOB_TXTFILE_APPEND : ZOB_TXTFILE_WRITE))
      return 1;
    exists = true;
  }
  return 0;
}

int runGetmerge(const CommandContext& ctx) {
  if (ctx.line.args.size() != 2) return usageError(ctx, commandSynopsis("getmerge"));
  FsTarget source;
  HdfsSession* session = nullptr;
  EntryInfo entry;
  std::string local;
  if (!resolveRemoteSource(ctx, ctx.line.args[0], true, &source, &session, &entry) ||
      !resolveLocalDestination(ctx, ctx.line.args[1], baseName(source.path()), false, true,
                               &local))
    return 1;
  // The files of a directory in name order (subdirectories are not merged),
  // or the one file named.
  std::vector<FsTarget> parts(1);
  std::string error;
  if (!entry.isDir) {
    parts[0] = std::move(source);
  } else {
    std::vector<EntryInfo> entries;
    if (!listDirectory(source, &entries, &error)) return ctx.fail(error);
    std::sort(entries.begin(), entries.end(),
              [](const EntryInfo& a, const EntryInfo& b) { return a.name < b.name; });
    parts.clear();
    for (const auto& e : entries) {
      if (e.isDir) continue;
      parts.emplace_back();
      if (!source.withPath(joinPath(source.path(), e.name), e.path, &parts.back(), &error))
        return ctx.fail(error);
    }
  }
  catchInterrupts();
  PendingLocalFile file(local);
  if (!file.open(&error)) return ctx.fail(error);
  for (const auto& part : parts) {
    if (!streamOut(ctx, part, file.fd(), false)) return 1;
    if (hasFlag(ctx.line, "-nl") && !writeAll(file.fd(), "\n", 1, &error)) return ctx.fail(error);
  }
  if (interrupted()) return ctx.fail(kInterrupted);
  return file.commit(&error) ? 0 : ctx.fail(error);
}

}  // namespace zohtool
