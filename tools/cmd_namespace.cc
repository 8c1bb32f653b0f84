// Commands that work on names rather than bytes: ls, mkdir, rm, mv, test, stat.
#include <algorithm>

#include "fs_commands.h"
#include "hadoop_path.h"

namespace zohtool {

namespace {

const char kNoSuchFile[] = "No such file or directory";
const char kFileExists[] = "File exists";

// Looks a typed path up; reports and returns false on failure.
bool lookUp(const CommandContext& ctx, const std::string& typed, FsTarget* target,
            HdfsSession** session, EntryInfo* entry, bool* found) {
  if (!ctx.target(typed, target)) return false;
  *session = ctx.session(*target);
  if (!*session) return false;
  std::string error;
  if (!(*session)->stat(*target, entry, found, &error)) {
    ctx.fail(error);
    return false;
  }
  return true;
}

// As lookUp, and a missing entry is a failure too.
bool lookUpExisting(const CommandContext& ctx, const std::string& typed, FsTarget* target,
                    HdfsSession** session, EntryInfo* entry) {
  bool found = false;
  if (!lookUp(ctx, typed, target, session, entry, &found)) return false;
  if (!found) ctx.failPath(target->display(), kNoSuchFile);
  return found;
}

// Deletes and makes sure: the service reports the call, not whether
// anything went away.
bool deleteAndCheck(const CommandContext& ctx, HdfsSession* session, const FsTarget& target) {
  const std::string path = target.path();
  ZobString err;
  if (!session->hdfs()->deleteFile(nullptr, ZobString(path.c_str()), &err))
    return ctx.refuse(err.str());
  bool still = false;
  std::string error;
  if (!session->exists(path, &still, &error)) return ctx.refuse(error);
  return !still || ctx.refusePath(target.display(), "could not be deleted");
}

void printLines(const CommandContext& ctx, const std::vector<EntryInfo>& entries) {
  for (const auto& line : formatListLines(entries, hasFlag(ctx.line, "-h")))
    std::fprintf(ctx.out, "%s\n", line.c_str());
}

// ls's order: by name, or newest first (-t), or largest first (-S); -r
// reverses whichever it is.
void sortForListing(const CommandContext& ctx, std::vector<EntryInfo>* entries) {
  const bool byTime = hasFlag(ctx.line, "-t");
  const bool bySize = hasFlag(ctx.line, "-S");
  std::stable_sort(entries->begin(), entries->end(), [&](const EntryInfo& a, const EntryInfo& b) {
    if (byTime && a.modMillis != b.modMillis) return a.modMillis > b.modMillis;
    if (bySize && a.size != b.size) return a.size > b.size;
    return a.name < b.name;
  });
  if (hasFlag(ctx.line, "-r")) std::reverse(entries->begin(), entries->end());
}

// The entries of a directory target; reports and returns false on failure.
bool listTarget(const CommandContext& ctx, const FsTarget& target,
                std::vector<EntryInfo>* entries) {
  std::string error;
  return listDirectory(target, entries, &error) || ctx.refuse(error);
}

// The target of an entry listed under `parent`.
bool childTarget(const CommandContext& ctx, const FsTarget& parent, const EntryInfo& entry,
                 FsTarget* child) {
  std::string error;
  return parent.withPath(joinPath(parent.path(), entry.name), entry.path, child, &error) ||
         ctx.refuse(error);
}

// ls -R: every entry, each directory's entries right after it.
bool listRecursively(const CommandContext& ctx, const FsTarget& target) {
  std::vector<EntryInfo> entries;
  if (!listTarget(ctx, target, &entries)) return false;
  sortForListing(ctx, &entries);
  bool ok = true;
  for (const auto& entry : entries) {
    printLines(ctx, {entry});
    FsTarget child;
    if (entry.isDir && !(childTarget(ctx, target, entry, &child) && listRecursively(ctx, child)))
      ok = false;
  }
  return ok;
}

// Totals of a tree, as du and count report them.
struct TreeTotals {
  int64_t bytes = 0;
  int64_t files = 0;
  int64_t directories = 0;
};

bool addTree(const CommandContext& ctx, const FsTarget& target, const EntryInfo& entry,
             TreeTotals* totals) {
  if (!entry.isDir) {
    totals->bytes += entry.size;
    ++totals->files;
    return true;
  }
  ++totals->directories;
  std::vector<EntryInfo> entries;
  if (!listTarget(ctx, target, &entries)) return false;
  for (const auto& child : entries) {
    FsTarget childAt;
    if (!childTarget(ctx, target, child, &childAt) || !addTree(ctx, childAt, child, totals))
      return false;
  }
  return true;
}

// Runs `each(target, session, entry)` on every operand that exists (the
// others are reported); 1 when any failed, 2 without operands.
template <class Each>
int eachExisting(const CommandContext& ctx, const char* command, Each each) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis(command));
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    FsTarget target;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    if (!lookUpExisting(ctx, typed, &target, &session, &entry) || !each(target, session, entry))
      status = 1;
  }
  return status;
}

std::string sizeColumn(const CommandContext& ctx, int64_t bytes) {
  return hasFlag(ctx.line, "-h") ? humanSize(bytes) : std::to_string(bytes);
}

}  // namespace

int runLs(const CommandContext& ctx) {
  std::vector<std::string> paths = ctx.line.args;
  if (paths.empty()) paths.push_back(".");
  const bool directoryItself = hasFlag(ctx.line, "-d");
  const bool recursive = hasFlag(ctx.line, "-R") && !directoryItself;
  int status = 0;
  for (const auto& typed : paths) {
    FsTarget target;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    if (!lookUpExisting(ctx, typed, &target, &session, &entry)) {
      status = 1;
      continue;
    }
    if (!entry.isDir || directoryItself) {
      printLines(ctx, {entry});
      continue;
    }
    if (recursive) {
      if (!listRecursively(ctx, target)) status = 1;
      continue;
    }
    std::vector<EntryInfo> entries;
    if (!listTarget(ctx, target, &entries)) {
      status = 1;
      continue;
    }
    sortForListing(ctx, &entries);
    std::fprintf(ctx.out, "Found %zu items\n", entries.size());
    printLines(ctx, entries);
  }
  return status;
}

int runDu(const CommandContext& ctx) {
  const bool summary = hasFlag(ctx.line, "-s");
  return eachExisting(ctx, "du", [&](FsTarget& target, HdfsSession*, EntryInfo& entry) {
    // Hadoop's columns: size, space consumed with replicas (not known here:
    // "-"), path. Without -s a directory shows one line per entry.
    std::vector<std::pair<FsTarget, EntryInfo>> rows;
    if (summary || !entry.isDir) {
      entry.path = target.display();
      rows.emplace_back(std::move(target), entry);
    } else {
      std::vector<EntryInfo> entries;
      if (!listTarget(ctx, target, &entries)) return false;
      sortForListing(ctx, &entries);
      for (const auto& child : entries) {
        rows.emplace_back(FsTarget(), child);
        if (!childTarget(ctx, target, child, &rows.back().first)) return false;
      }
    }
    bool ok = true;
    for (const auto& row : rows) {
      TreeTotals totals;
      if (!addTree(ctx, row.first, row.second, &totals)) {
        ok = false;
        continue;
      }
      std::fprintf(ctx.out, "%-10s  %-10s  %s\n", sizeColumn(ctx, totals.bytes).c_str(), "-",
                   row.second.path.c_str());
    }
    return ok;
  });
}

int runCount(const CommandContext& ctx) {
  if (hasFlag(ctx.line, "-v"))
    std::fprintf(ctx.out, "%12s %12s %18s %s\n", "DIR_COUNT", "FILE_COUNT", "CONTENT_SIZE",
                 "PATHNAME");
  return eachExisting(ctx, "count", [&](FsTarget& target, HdfsSession*, EntryInfo& entry) {
    TreeTotals totals;
    if (!addTree(ctx, target, entry, &totals)) return false;
    // DIR_COUNT FILE_COUNT CONTENT_SIZE PATHNAME, in Hadoop's widths.
    std::fprintf(ctx.out, "%12lld %12lld %18s %s\n", static_cast<long long>(totals.directories),
                 static_cast<long long>(totals.files), sizeColumn(ctx, totals.bytes).c_str(),
                 target.display().c_str());
    return true;
  });
}

int runRmdir(const CommandContext& ctx) {
  const bool ignoreNonEmpty = hasFlag(ctx.line, "--ignore-fail-on-non-empty");
  return eachExisting(ctx, "rmdir", [&](FsTarget& target, HdfsSession* session,
                                        EntryInfo& entry) {
    std::vector<EntryInfo> entries;
    if (!entry.isDir) return ctx.refusePath(target.display(), "Is not a directory");
    if (!listTarget(ctx, target, &entries)) return false;
    if (entries.empty()) return deleteAndCheck(ctx, session, target);
    return ignoreNonEmpty || ctx.refusePath(target.display(), "Directory is not empty");
  });
}

int runMkdir(const CommandContext& ctx) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis("mkdir"));
  const bool parents = hasFlag(ctx.line, "-p");
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    FsTarget target;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    bool found = false;
    if (!lookUp(ctx, typed, &target, &session, &entry, &found)) {
      status = 1;
      continue;
    }
    if (found) {
      if (!(parents && entry.isDir)) status = ctx.failPath(target.display(), kFileExists);
      continue;
    }
    const std::string path = target.path();
    std::string error;
    if (!parents) {
      // The service makes missing parents on its own; without -p the user
      // asked for exactly one level.
      const std::string parent = parentPath(path);
      bool parentThere = true;
      if (!parent.empty() && !session->exists(parent, &parentThere, &error)) {
        status = ctx.fail(error);
        continue;
      }
      if (!parentThere) {
        status = ctx.failPath(target.display(), kNoSuchFile);
        continue;
      }
    }
    ZobString err;
    bool made = false;
    if (!session->hdfs()->makeDirectory(nullptr, ZobString(path.c_str()), &err)) {
      status = ctx.fail(err.str());
      continue;
    }
    if (!session->exists(path, &made, &error)) {
      status = ctx.fail(error);
    } else if (!made) {
      status = ctx.failPath(target.display(), "could not create the directory");
    }
  }
  return status;
}

int runRm(const CommandContext& ctx) {
  if (ctx.line.args.empty()) return usageError(ctx, commandSynopsis("rm"));
  const bool recursive = hasFlag(ctx.line, "-r") || hasFlag(ctx.line, "-R");
  const bool force = hasFlag(ctx.line, "-f");
  int status = 0;
  for (const auto& typed : ctx.line.args) {
    FsTarget target;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    bool found = false;
    if (!lookUp(ctx, typed, &target, &session, &entry, &found)) {
      status = 1;
      continue;
    }
    if (!found) {
      if (!force) status = ctx.failPath(target.display(), kNoSuchFile);
      continue;
    }
    if (entry.isDir && !recursive) {
      status = ctx.failPath(target.display(), "Is a directory");
      continue;
    }
    if (deleteAndCheck(ctx, session, target)) {
      std::fprintf(ctx.out, "Deleted %s\n", target.display().c_str());
    } else {
      status = 1;
    }
  }
  return status;
}

int runMv(const CommandContext& ctx) {
  if (ctx.line.args.size() != 2) return usageError(ctx, commandSynopsis("mv"));
  FsTarget source;
  HdfsSession* session = nullptr;
  EntryInfo sourceEntry;
  bool found = false;
  if (!lookUp(ctx, ctx.line.args[0], &source, &session, &sourceEntry, &found)) return 1;
  if (!found) return ctx.failPath(source.display(), kNoSuchFile);

  FsTarget destination;
  if (!ctx.target(ctx.line.args[1], &destination)) return 1;
  if (hasScheme(ctx.line.args[1]) && destination.contextKey() != source.contextKey())
    return ctx.fail("source and destination must name the same file system (give both as "
                    "URIs, or both as paths)");
  EntryInfo destinationEntry;
  std::string error;
  if (!session->stat(destination, &destinationEntry, &found, &error)) return ctx.fail(error);
  if (found && destinationEntry.isDir) {
    // Moving onto a directory moves into it, as in a shell.
    const std::string name = baseName(source.path());
    FsTarget inside;
    if (!destination.withPath(joinPath(destination.path(), name),
                              joinPath(destination.display(), name), &inside, &error))
      return ctx.fail(error);
    destination = std::move(inside);
    if (!session->stat(destination, &destinationEntry, &found, &error)) return ctx.fail(error);
  }
  if (found) return ctx.failPath(destination.display(), kFileExists);

  ZobString err;
  if (!session->hdfs()->rename(nullptr, ZobString(source.path().c_str()),
                               ZobString(destination.path().c_str()), &err))
    return ctx.fail(err.str());
  bool arrived = false;
  if (!session->exists(destination.path(), &arrived, &error)) return ctx.fail(error);
  if (!arrived) return ctx.failPath(source.display(), "could not be renamed");
  return 0;
}

int runTest(const CommandContext& ctx) {
  if (ctx.line.flags.size() != 1 || ctx.line.args.size() != 1) {
    usageError(ctx, commandSynopsis("test"));
    return 2;
  }
  FsTarget target;
  HdfsSession* session = nullptr;
  EntryInfo entry;
  bool found = false;
  // A failure to find out is not an answer: keep it apart from "false" (1).
  if (!lookUp(ctx, ctx.line.args[0], &target, &session, &entry, &found)) return 2;
  const std::string& flag = ctx.line.flags[0];
  bool answer = found;
  if (flag == "-d") answer = found && entry.isDir;
  if (flag == "-f") answer = found && !entry.isDir;
  if (flag == "-s") answer = found && entry.size > 0;
  if (flag == "-z") answer = found && entry.size == 0;
  return answer ? 0 : 1;
}

int runStat(const CommandContext& ctx) {
  std::vector<std::string> paths = ctx.line.args;
  std::string format = "%y";
  if (paths.size() >= 2 && paths[0].find('%') != std::string::npos) {
    format = paths[0];
    paths.erase(paths.begin());
  }
  if (paths.empty()) return usageError(ctx, commandSynopsis("stat"));
  int status = 0;
  for (const auto& typed : paths) {
    FsTarget target;
    HdfsSession* session = nullptr;
    EntryInfo entry;
    if (!lookUpExisting(ctx, typed, &target, &session, &entry)) {
      status = 1;
      continue;
    }
    std::string line;
    std::string error;
    if (!formatStat(format, entry, &line, &error)) return ctx.fail(error);
    std::fprintf(ctx.out, "%s\n", line.c_str());
  }
  return status;
}

}  // namespace zohtool
