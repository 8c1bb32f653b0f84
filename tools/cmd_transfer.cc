// Commands that move bytes: put, get and cat stream through the library's
// raw I/O entry point; copyFromLocal and copyToLocal ask the HDFS service.
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "fs_commands.h"
#include "hadoop_path.h"
#include "local_file.h"
#include "progress_bar.h"

namespace zohtool {

namespace {

constexpr size_t kChunk = 1 << 20;

const char kNoSuchFile[] = "No such file or directory";
const char kFileExists[] = "File exists";

// Where a source lands under a typed destination on the Hadoop side: into it
// when it is a directory, as it otherwise. Reports and returns false on
// failure or when the destination exists and `force` is not set.
bool resolveRemoteDestination(const CommandContext& ctx, const std::string& typed,
                              const std::string& sourceName, bool manySources, bool force,
                              FsTarget* out, HdfsSession** session) {
  FsTarget given;
  if (!ctx.target(typed, &given)) return false;
  *session = ctx.session(given);
  if (!*session) return false;
  EntryInfo entry;
  bool found = false;
  std::string error;
  if (!(*session)->stat(given, &entry, &found, &error)) return ctx.refuse(error);
  if (found && entry.isDir) {
    if (!given.withPath(joinPath(given.path(), sourceName),
                        joinPath(given.display(), sourceName), out, &error))
      return ctx.refuse(error);
    if (!(*session)->stat(*out, &entry, &found, &error)) return ctx.refuse(error);
    if (found && entry.isDir) return ctx.refusePath(out->display(), "Is a directory");
  } else {
    if (manySources) return ctx.refusePath(given.display(), "Is not a directory");
    *out = std::move(given);
  }
  if (found && !force) return ctx.refusePath(out->display(), kFileExists);
  if (!found) {
    // The Java side would make missing parents; a typo in a directory name
    // should not quietly grow a new tree.
    const std::string parent = parentPath(out->path());
    bool parentThere = true;
    if (!parent.empty() && !(*session)->exists(parent, &parentThere, &error))
      return ctx.refuse(error);
    if (!parentThere) return ctx.refusePath(out->display(), kNoSuchFile);
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

// A Hadoop source that must be an existing file.
bool resolveRemoteSource(const CommandContext& ctx, const std::string& typed,
                         FsTarget* source, HdfsSession** session) {
  if (!ctx.target(typed, source)) return false;
  *session = ctx.session(*source);
  if (!*session) return false;
  EntryInfo entry;
  bool found = false;
  std::string error;
  if (!(*session)->stat(*source, &entry, &found, &error)) return ctx.refuse(error);
  if (!found) return ctx.refusePath(source->display(), kNoSuchFile);
  if (entry.isDir) return ctx.refusePath(source->display(), "Is a directory");
  return true;
}

// Streams a Hadoop file to a local descriptor; true when every byte arrived.
bool streamOut(const CommandContext& ctx, const FsTarget& source, int fd, bool showProgress) {
  RawStream stream;
  std::string error;
  if (!stream.open(source, ZOB_TXTFILE_READ, &error)) return ctx.refuse(error);
  const long total = stream.io()->size();
  ProgressBar bar(ctx.err, showProgress, baseName(source.path()), total, ctx.progressDelay);
  int64_t done = 0;
  for (;;) {
    const char* data = nullptr;
    const int n = stream.io()->getBytes(&data, 1, static_cast<int>(kChunk));
    if (n < 0) return ctx.refuse(stream.lastError());
    if (n == 0) break;
    if (!writeAll(fd, data, static_cast<size_t>(n), &error)) return ctx.refuse(error);
    done += n;
    bar.update(done);
  }
  bar.finish();
  if (!stream.close(&error)) return ctx.refuse(error);
  if (total >= 0 && done != total) {
    return ctx.refusePath(source.display(), "read " + std::to_string(done) +
                                              " bytes of " + std::to_string(total));
  }
  return true;
}

// Streams a local descriptor into a Hadoop file.
bool streamIn(const CommandContext& ctx, int fd, const std::string& label,
              const FsTarget& destination) {
  RawStream stream;
  std::string error;
  if (!stream.open(destination, ZOB_TXTFILE_WRITE, &error)) return ctx.refuse(error);
  ProgressBar bar(ctx.err, ctx.progressOnTerminal, label, localSize(fd), ctx.progressDelay);
  std::unique_ptr<char[]> chunk(new char[kChunk]);
  int64_t done = 0;
  for (;;) {
    const long n = readSome(fd, chunk.get(), kChunk, &error);
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

LocalFd openLocalSource(const CommandContext& ctx, const std::string& path) {
  if (path == "-") return LocalFd(STDIN_FILENO);
  if (localKind(path) == LocalKind::kDirectory) {
    ctx.failPath(path, "Is a directory");
    return LocalFd();
  }
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) ctx.failPath(path, kNoSuchFile);
  return LocalFd(fd);
}

// Splits "src... dst" operands; reports a usage error when fewer than two.
bool sourcesAndDestination(const CommandContext& ctx, std::vector<std::string>* sources,
                           std::string* destination) {
  if (ctx.line.args.size() < 2) return false;
  sources->assign(ctx.line.args.begin(), ctx.line.args.end() - 1);
  *destination = ctx.line.args.back();
  return true;
}

}  // namespace

int runPut(const CommandContext& ctx) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis("put"));
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& source : sources) {
    LocalFd fd = openLocalSource(ctx, source);
    if (fd.get() < 0) {
      status = 1;
      continue;
    }
    const std::string name = source == "-" ? "stdin" : baseName(source);
    FsTarget destination;
    HdfsSession* session = nullptr;
    if (!resolveRemoteDestination(ctx, typedDestination, name, sources.size() > 1, force,
                                  &destination, &session) ||
        !streamIn(ctx, fd.get(), name, destination))
      status = 1;
  }
  return status;
}

// Resolves each remote source of a get-like command to its local destination
// and hands the pair to `transfer`, which returns 0 or the failure status.
template <class Transfer>
int eachRemoteToLocal(const CommandContext& ctx, const char* command, Transfer transfer) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis(command));
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& typed : sources) {
    FsTarget source;
    HdfsSession* session = nullptr;
    std::string local;
    if (!resolveRemoteSource(ctx, typed, &source, &session) ||
        !resolveLocalDestination(ctx, typedDestination, baseName(source.path()),
                                 sources.size() > 1, force, &local)) {
      status = 1;
      continue;
    }
    const int result = transfer(source, session, local, force);
    if (result != 0) status = result;
  }
  return status;
}

int runGet(const CommandContext& ctx) {
  return eachRemoteToLocal(ctx, "get", [&ctx](const FsTarget& source, HdfsSession*,
                                              const std::string& local, bool) {
    PendingLocalFile file(local);
    std::string error;
    if (!file.open(&error)) return ctx.fail(error);
    if (!streamOut(ctx, source, file.fd(), ctx.progressOnTerminal)) return 1;
    return file.commit(&error) ? 0 : ctx.fail(error);
  });
}

int runCat(const CommandContext& ctx) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis("cat"));
  // The bar would tear through the text when both go to the same terminal.
  const bool showProgress = ctx.progressOnTerminal && isatty(fileno(ctx.out)) != 1;
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    FsTarget source;
    HdfsSession* session = nullptr;
    std::fflush(ctx.out);
    if (!resolveRemoteSource(ctx, typed, &source, &session) ||
        !streamOut(ctx, source, fileno(ctx.out), showProgress))
      status = 1;
  }
  return status;
}

int runCopyFromLocal(const CommandContext& ctx) {
  std::vector<std::string> sources;
  std::string typedDestination;
  if (!sourcesAndDestination(ctx, &sources, &typedDestination))
    return usageError(ctx, commandSynopsis("copyFromLocal"));
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& source : sources) {
    const LocalKind kind = localKind(source);
    if (kind == LocalKind::kMissing) {
      status = ctx.failPath(source, kNoSuchFile);
      continue;
    }
    FsTarget destination;
    HdfsSession* session = nullptr;
    if (!resolveRemoteDestination(ctx, typedDestination, baseName(source),
                                  sources.size() > 1, force, &destination, &session)) {
      status = 1;
      continue;
    }
    ZobString err;
    // Flags: keep the source; overwrite only when asked.
    if (!session->hdfs()->copyFromLocal(nullptr, ZobString(source.c_str()), false,
                                        ZobString(destination.path().c_str()), force, &err)) {
      status = ctx.fail(err.str());
      continue;
    }
    bool arrived = false;
    std::string error;
    if (!session->exists(destination.path(), &arrived, &error)) {
      status = ctx.fail(error);
    } else if (!arrived) {
      status = ctx.failPath(destination.display(), "was not created");
    }
  }
  return status;
}

int runCopyToLocal(const CommandContext& ctx) {
  return eachRemoteToLocal(ctx, "copyToLocal", [&ctx](const FsTarget& source,
                                                      HdfsSession* session,
                                                      const std::string& local, bool force) {
    ZobString err;
    if (!session->hdfs()->copyToLocal(nullptr, ZobString(source.path().c_str()), false,
                                      ZobString(local.c_str()), force, &err))
      return ctx.fail(err.str());
    if (localKind(local) == LocalKind::kMissing) return ctx.failPath(local, "was not created");
    return 0;
  });
}

}  // namespace zohtool
