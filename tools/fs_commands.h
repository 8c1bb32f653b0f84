// The commands of zohadoop-fs. Each takes the parsed line and returns the
// process exit status: 0 success, 1 failure (with its text on stderr).
#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "fs_args.h"
#include "hadoop_session.h"

namespace zohtool {

extern const char kFsToolName[];

struct CommandContext {
  const CommandLine& line;
  SessionPool& sessions;
  std::FILE* out;
  std::FILE* err;
  bool progressOnTerminal;  // stderr is a terminal
  std::chrono::milliseconds progressDelay;

  // "<command>: <text>" on stderr; returns 1 for `return ctx.fail(...)`.
  int fail(const std::string& text) const;
  // Hadoop's wording for a path: "`/a/b': No such file or directory".
  int failPath(const std::string& display, const std::string& what) const;
  // The same reports for helpers that answer bool: they return false.
  bool refuse(const std::string& text) const;
  bool refusePath(const std::string& display, const std::string& what) const;
  // Parses a typed path; on failure reports it.
  bool target(const std::string& typed, FsTarget* out) const;
  // The session of a target's file system; on failure reports it.
  HdfsSession* session(const FsTarget& target) const;
};

int usageError(const CommandContext& ctx, const char* synopsis);

// Replaces each operand on the Hadoop side that holds glob characters
// (* ? [ ]) by the paths it matches, in name order; one that matches nothing
// stays as typed, for the command to report. False after reporting a failure.
bool expandGlobs(const CommandContext& ctx, std::vector<std::string>* args);

int runLs(const CommandContext& ctx);
int runMkdir(const CommandContext& ctx);
int runRm(const CommandContext& ctx);
int runMv(const CommandContext& ctx);
int runTest(const CommandContext& ctx);
int runStat(const CommandContext& ctx);

int runPut(const CommandContext& ctx);
int runGet(const CommandContext& ctx);
int runCat(const CommandContext& ctx);
int runCopyFromLocal(const CommandContext& ctx);
int runCopyToLocal(const CommandContext& ctx);
int runCp(const CommandContext& ctx);
int runHead(const CommandContext& ctx);
int runTail(const CommandContext& ctx);
int runTouchz(const CommandContext& ctx);
int runAppendToFile(const CommandContext& ctx);
int runGetmerge(const CommandContext& ctx);
int runDu(const CommandContext& ctx);
int runCount(const CommandContext& ctx);
int runRmdir(const CommandContext& ctx);

// The synopsis lines of --help, one per command.
const char* commandSynopsis(const std::string& command);

}  // namespace zohtool
