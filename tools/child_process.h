// Runs a program as a user would: a child process with its own standard
// input, output and error, or on a pseudo-terminal. For the tool's tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zohtool {

struct ChildResult {
  int status = -1;  // exit status; 128 + signal when killed; -1 when not run
  std::string out;
  std::string err;  // on a terminal run: everything the terminal showed
};

struct ChildOptions {
  std::string cwd;
  std::string input;  // fed to standard input, then closed
  std::vector<std::pair<std::string, std::string>> env;  // set in the child
  std::vector<std::string> unset;                         // removed in the child
  // When set: standard input stays open after `input`, and the child gets
  // SIGINT (a Ctrl-C) once this path exists.
  std::string interruptOnceExists;
};

// Standard output and error on separate pipes.
ChildResult runChild(const std::string& program, const std::vector<std::string>& args,
                     const ChildOptions& options);
// Standard input, output and error all on one pseudo-terminal.
ChildResult runChildOnTerminal(const std::string& program,
                               const std::vector<std::string>& args,
                               const ChildOptions& options);

}  // namespace zohtool
