#include "fs_args.h"

#include <algorithm>
#include <map>

namespace zohtool {

namespace {

const std::map<std::string, std::vector<std::string>>& switchTable() {
  static const std::map<std::string, std::vector<std::string>> table = {
      {"ls", {"-d", "-R", "-h", "-t", "-S", "-r"}},
      {"mkdir", {"-p"}},
      {"put", {"-f"}},
      {"copyFromLocal", {"-f"}},
      {"get", {"-f"}},
      {"copyToLocal", {"-f"}},
      {"cp", {"-f"}},
      {"cat", {}},
      {"head", {}},
      {"tail", {}},
      {"rm", {"-r", "-R", "-f", "-skipTrash"}},
      {"rmdir", {"--ignore-fail-on-non-empty"}},
      {"mv", {}},
      {"test", {"-e", "-d", "-f", "-s", "-z"}},
      {"stat", {}},
      {"du", {"-s", "-h"}},
      {"count", {"-h", "-v"}},
      {"touchz", {}},
      {"appendToFile", {}},
      {"getmerge", {"-nl"}},
  };
  return table;
}

bool splitDefine(const std::string& text, GenericOptions* options, std::string* error) {
  const auto eq = text.find('=');
  if (eq == std::string::npos || eq == 0) {
    *error = "-D expects key=value, got '" + text + "'";
    return false;
  }
  options->defines.emplace_back(text.substr(0, eq), text.substr(eq + 1));
  return true;
}

// Consumes one generic option at argv[*i] when there is one. Returns false
// with *error set on a malformed option; *matched tells whether it was one.
bool takeGenericOption(const std::vector<std::string>& argv, size_t* i, bool afterCommand,
                       GenericOptions* options, bool* matched, std::string* error) {
  const std::string& a = argv[*i];
  *matched = true;
  auto value = [&](const char* name, std::string* into) {
    if (*i + 1 >= argv.size()) {
      *error = std::string(name) + " needs a value";
      return false;
    }
    *into = argv[++*i];
    return true;
  };
  if (a == "-D") {
    std::string kv;
    return value("-D", &kv) && splitDefine(kv, options, error);
  }
  if (a.size() > 2 && a.compare(0, 2, "-D") == 0) return splitDefine(a.substr(2), options, error);
  if (a == "-conf") {
    std::string file;
    if (!value("-conf", &file)) return false;
    if (file.empty()) {
      *error = "-conf needs a file name";
      return false;
    }
    options->confFiles.push_back(file);
    return true;
  }
  if (a == "-fs") {
    // Hadoop's generic option: the default file system of plain paths.
    std::string uri;
    if (!value("-fs", &uri)) return false;
    options->defines.emplace_back("fs.defaultFS", uri);
    return true;
  }
  if (a == "-user") {
    if (!value("-user", &options->user)) return false;
    if (options->user.empty()) {
      *error = "-user needs a name";
      return false;
    }
    return true;
  }
  if (a == "-v" || a == "--verbose") {
    options->verbose = true;
    return true;
  }
  // After a command, -h is that command's (ls -h, du -h: sizes for people).
  if (a == "--help" || a == "-help" || (a == "-h" && !afterCommand)) {
    options->help = true;
    return true;
  }
  *matched = false;
  return true;
}

}  // namespace

const std::vector<std::string>& commandSwitches(const std::string& command) {
  static const std::vector<std::string> none;
  const auto it = switchTable().find(command);
  return it == switchTable().end() ? none : it->second;
}

bool isKnownCommand(const std::string& command) {
  return switchTable().count(command) != 0;
}

bool parseCommandLine(const std::vector<std::string>& argv, CommandLine* out,
                      std::string* error) {
  *out = CommandLine();
  bool optionsEnded = false;
  for (size_t i = 0; i < argv.size(); ++i) {
    const std::string& a = argv[i];
    if (!optionsEnded && a == "--") {
      optionsEnded = true;
      continue;
    }
    if (!optionsEnded && a.size() > 1 && a[0] == '-') {
      const auto& allowed = commandSwitches(out->command);
      // A command's own switch wins over a generic option of the same name
      // (count -v is a header line, not verbose logging).
      const bool ownSwitch = std::find(allowed.begin(), allowed.end(), a) != allowed.end();
      bool matched = false;
      if (!ownSwitch &&
          !takeGenericOption(argv, &i, !out->command.empty(), &out->options, &matched, error))
        return false;
      if (matched) continue;
      if (out->command.empty()) {
        // Hadoop users type "-ls"; both spellings name the command.
        const std::string name = a.substr(1);
        if (!isKnownCommand(name)) {
          *error = "unknown command or option '" + a + "'";
          return false;
        }
        out->command = name;
        continue;
      }
      if (!ownSwitch) {
        *error = out->command + ": unknown option '" + a + "'";
        return false;
      }
      if (std::find(out->flags.begin(), out->flags.end(), a) == out->flags.end())
        out->flags.push_back(a);
      continue;
    }
    if (out->command.empty()) {
      if (!isKnownCommand(a)) {
        *error = "unknown command '" + a + "'";
        return false;
      }
      out->command = a;
      continue;
    }
    out->args.push_back(a);
  }
  if (out->command.empty() && !out->options.help) {
    *error = "no command given";
    return false;
  }
  return true;
}

bool hasFlag(const CommandLine& line, const std::string& flag) {
  return std::find(line.flags.begin(), line.flags.end(), flag) != line.flags.end();
}

}  // namespace zohtool
