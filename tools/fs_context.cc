// The shared side of every command: error reports, targets and sessions.
#include <map>

#include "fs_commands.h"
#include "hadoop_path.h"

namespace zohtool {

const char kFsToolName[] = "zohadoop-fs";

namespace {

const std::map<std::string, const char*>& synopses() {
  static const std::map<std::string, const char*> table = {
      {"ls", "ls [-d] [path ...]"},
      {"mkdir", "mkdir [-p] path ..."},
      {"put", "put [-f] localsrc ... dst"},
      {"get", "get [-f] src ... localdst"},
      {"cat", "cat src ..."},
      {"rm", "rm [-r|-R] [-f] path ..."},
      {"mv", "mv src dst"},
      {"test", "test -e|-d|-f|-s|-z path"},
      {"stat", "stat [format] path ..."},
      {"copyFromLocal", "copyFromLocal [-f] localsrc ... dst"},
      {"copyToLocal", "copyToLocal [-f] src ... localdst"},
  };
  return table;
}

}  // namespace

int CommandContext::fail(const std::string& text) const {
  // Keep the report in its place among the lines already printed.
  std::fflush(out);
  std::fprintf(err, "%s: %s\n", line.command.c_str(), withoutSecrets(text).c_str());
  return 1;
}

int CommandContext::failPath(const std::string& display, const std::string& what) const {
  return fail("`" + display + "': " + what);
}

bool CommandContext::refuse(const std::string& text) const {
  fail(text);
  return false;
}

bool CommandContext::refusePath(const std::string& display, const std::string& what) const {
  failPath(display, what);
  return false;
}

bool CommandContext::target(const std::string& typed, FsTarget* out) const {
  std::string error;
  if (FsTarget::parse(typed, line.options, out, &error)) return true;
  fail(error);
  return false;
}

HdfsSession* CommandContext::session(const FsTarget& target) const {
  std::string error;
  HdfsSession* found = sessions.get(target, &error);
  if (!found) fail(error);
  return found;
}

int usageError(const CommandContext& ctx, const char* synopsis) {
  std::fprintf(ctx.err, "Usage: %s %s\n", kFsToolName, synopsis);
  return 2;
}

const char* commandSynopsis(const std::string& command) {
  const auto it = synopses().find(command);
  return it == synopses().end() ? "" : it->second;
}

}  // namespace zohtool
