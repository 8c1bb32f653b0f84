// Command-line parsing of zohadoop-fs: generic options, the command and its
// own arguments. Pure: no I/O, so that every rule can be tested directly.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zohtool {

// Options that apply to every command, as `hadoop fs` knows them.
struct GenericOptions {
  std::vector<std::pair<std::string, std::string>> defines;  // -D key=value
  std::vector<std::string> confFiles;                        // -conf file.xml
  std::string user;                                          // -user name
  bool verbose = false;                                      // -v, --verbose
  bool help = false;                                         // --help, -h
};

struct CommandLine {
  GenericOptions options;
  std::string command;             // without a leading dash: "ls", "put", ...
  std::vector<std::string> flags;  // the command's own switches: "-p", "-r", ...
  std::vector<std::string> args;   // operands in order
};

// The switches each command accepts; anything else starting with '-' is an
// error for that command (a lone "-" is an operand: standard input/output).
const std::vector<std::string>& commandSwitches(const std::string& command);

// True for the commands this tool knows.
bool isKnownCommand(const std::string& command);

// Parses argv[1..]. Generic options may stand before or after the command;
// "--" ends option parsing. On failure returns false with a text in *error.
bool parseCommandLine(const std::vector<std::string>& argv, CommandLine* out,
                      std::string* error);

bool hasFlag(const CommandLine& line, const std::string& flag);

}  // namespace zohtool
