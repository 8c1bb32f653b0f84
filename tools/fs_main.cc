// zohadoop-fs: `hadoop fs`-style commands on the Hadoop client library.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "fs_args.h"
#include "fs_commands.h"
#include "hadoop_path.h"
#include "interruption.h"
#include "local_file.h"
#include "progress_bar.h"
#include "zo_logger.h"

namespace zohtool {

namespace {

const char* const kCommandOrder[] = {
    "ls",    "mkdir",  "put",      "get",          "cat",      "head",
    "tail",  "rm",     "rmdir",    "mv",           "cp",       "test",
    "stat",  "du",     "count",    "touchz",       "appendToFile", "getmerge",
    "copyFromLocal", "copyToLocal"};

void printHelp(std::FILE* out) {
  std::fprintf(out,
               "Usage: %s [generic options] <command> [command options] <args>\n"
               "\n"
               "Commands:\n",
               kFsToolName);
  for (const char* name : kCommandOrder) std::fprintf(out, "  %s\n", commandSynopsis(name));
  std::fprintf(
      out,
      "\n"
      "Generic options:\n"
      "  -D key=value     a Hadoop configuration key/value (repeatable)\n"
      "  -conf file.xml   a Hadoop configuration resource file (repeatable)\n"
      "  -fs uri          the default file system of plain paths (-D fs.defaultFS=uri)\n"
      "  -user name       the user to act as (put, get, cat and ls need a URI\n"
      "                   with a scheme to carry it; a plain path cannot)\n"
      "  -v, --verbose    show the library's log lines\n"
      "  --help           this text\n"
      "\n"
      "Paths are Hadoop URIs (hdfs://alice@nn:8020/data/x?dfs.replication=2,\n"
      "file:///tmp/x) or plain paths on the default file system. Commands may be\n"
      "written with a leading dash (-ls). Paths holding * ? [ ] are expanded on\n"
      "the Hadoop side when quoted. stat formats: %%n name, %%b size, %%y date\n"
      "(UTC), %%Y milliseconds, %%F type, %%a octal and %%A symbolic permissions,\n"
      "%%u owner, %%g group, %%r replication, %%o block size, %%x %%X access time.\n"
      "\n"
      "ls prints Hadoop's eight columns: permissions, replication, owner, group,\n"
      "size, date, time, path. What the library cannot know prints as '-': the\n"
      "replication and the group always, the owner unless the source gives it, and\n"
      "each permission bit but the write bit for others (-???????w? writable,\n"
      "-???????" "-? read-only). du's second column (space with replicas) is '-'.\n"
      "The same holds for stat's %%g %%r %%o %%x %%X.\n"
      "\n"
      "test exits 0 when true, 1 when false, 2 on error.\n"
      "Exit status: 0 success, 1 failure, 2 usage error, 130 interrupted.\n");
}

using Runner = int (*)(const CommandContext&);

Runner runnerFor(const std::string& command) {
  static const std::map<std::string, Runner> table = {
      {"ls", runLs},
      {"mkdir", runMkdir},
      {"put", runPut},
      {"get", runGet},
      {"cat", runCat},
      {"rm", runRm},
      {"mv", runMv},
      {"test", runTest},
      {"stat", runStat},
      {"copyFromLocal", runCopyFromLocal},
      {"copyToLocal", runCopyToLocal},
      {"cp", runCp},
      {"head", runHead},
      {"tail", runTail},
      {"touchz", runTouchz},
      {"appendToFile", runAppendToFile},
      {"getmerge", runGetmerge},
      {"du", runDu},
      {"count", runCount},
      {"rmdir", runRmdir},
  };
  const auto it = table.find(command);
  return it == table.end() ? nullptr : it->second;
}

// Resource files are read by the Java side, whose working directory need not
// be ours: hand it absolute names, and refuse a file that is not there.
bool checkConfFiles(GenericOptions* options, std::string* error) {
  for (auto& file : options->confFiles) {
    if (localKind(file) != LocalKind::kFile) {
      *error = "-conf: cannot read '" + file + "'";
      return false;
    }
    if (file[0] != '/') {
      char* cwd = ::getcwd(nullptr, 0);
      if (cwd) {
        file = std::string(cwd) + "/" + file;
        std::free(cwd);
      }
    }
  }
  return true;
}

}  // namespace

int fsMain(int argc, char** argv) {
  CommandLine line;
  std::string error;
  if (!parseCommandLine(std::vector<std::string>(argv + 1, argv + argc), &line, &error)) {
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", kFsToolName,
                 withoutSecrets(error).c_str(), kFsToolName);
    return 2;
  }
  if (line.options.help) {
    printHelp(stdout);
    return 0;
  }
  if (!checkConfFiles(&line.options, &error)) {
    std::fprintf(stderr, "%s: %s\n", kFsToolName, error.c_str());
    return 2;
  }
  if (line.options.verbose) {
    zologSetThreshold(ZOLOG_INFO);
  } else if (!std::getenv("ZO_LOG_LEVEL")) {
    // Failures reach the user once, as the command's own error line.
    zologSetThreshold(ZOLOG_FATAL);
  }
  int status = 0;
  {
    SessionPool sessions(line.options);
    const CommandContext typed{line, sessions, stdout, stderr, ProgressBar::stderrIsTerminal(),
                               ProgressBar::delayFromEnvironment()};
    // Quoted globs reach us unexpanded: expand them by listing.
    CommandLine expanded = line;
    if (!expandGlobs(typed, &expanded.args)) {
      status = 1;
    } else {
      const CommandContext ctx{expanded, sessions, stdout, stderr, typed.progressOnTerminal,
                               typed.progressDelay};
      status = runnerFor(line.command)(ctx);
    }
  }
  if (interrupted()) status = kInterruptedStatus;
  if (std::fflush(stdout) != 0 && status == 0) status = 1;
  return status;
}

}  // namespace zohtool

int main(int argc, char** argv) { return zohtool::fsMain(argc, argv); }
