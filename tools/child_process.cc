#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace zohtool {

namespace {

std::vector<char*> argvOf(const std::string& program, const std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  return argv;
}

// In the child, after the descriptors are in place; never returns.
[[noreturn]] void execChild(const std::string& program, const std::vector<std::string>& args,
                            const ChildOptions& options) {
  if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(126);
  for (const auto& name : options.unset) unsetenv(name.c_str());
  for (const auto& kv : options.env) setenv(kv.first.c_str(), kv.second.c_str(), 1);
  std::vector<char*> argv = argvOf(program, args);
  execv(program.c_str(), argv.data());
  _exit(127);
}

int waitFor(pid_t pid) {
  int raw = 0;
  while (waitpid(pid, &raw, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  if (WIFEXITED(raw)) return WEXITSTATUS(raw);
  if (WIFSIGNALED(raw)) return 128 + WTERMSIG(raw);
  return -1;
}

struct Pipe {
  int fds[2] = {-1, -1};
  bool open() { return pipe2(fds, O_CLOEXEC) == 0; }
  void closeEnd(int i) {
    if (fds[i] >= 0) close(fds[i]);
    fds[i] = -1;
  }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
};

}  // namespace

ChildResult runChild(const std::string& program, const std::vector<std::string>& args,
                     const ChildOptions& options) {
  ChildResult result;
  Pipe in, out, err;
  if (!in.open() || !out.open() || !err.open()) return result;
  const pid_t pid = fork();
  if (pid < 0) return result;
  if (pid == 0) {
    dup2(in.fds[0], STDIN_FILENO);
    dup2(out.fds[1], STDOUT_FILENO);
    dup2(err.fds[1], STDERR_FILENO);
    execChild(program, args, options);
  }
  in.closeEnd(0);
  out.closeEnd(1);
  err.closeEnd(1);
  // A child that stops reading must not block us.
  signal(SIGPIPE, SIG_IGN);
  size_t written = 0;
  const bool interrupt = !options.interruptOnceExists.empty();
  bool interrupted = false;
  if (options.input.empty() && !interrupt) {
    in.closeEnd(1);
  } else {
    // Partial writes, so that a child busy writing its output is still read.
    fcntl(in.fds[1], F_SETFL, fcntl(in.fds[1], F_GETFL) | O_NONBLOCK);
  }
  while (out.fds[0] >= 0 || err.fds[0] >= 0) {
    const int feed = written < options.input.size() ? in.fds[1] : -1;
    pollfd fds[3] = {{out.fds[0], POLLIN, 0}, {err.fds[0], POLLIN, 0}, {feed, POLLOUT, 0}};
    if (poll(fds, 3, interrupt ? 20 : -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    // Standard input stays open: the child must act on the signal, not on
    // an end of input.
    struct stat info {};
    if (interrupt && !interrupted && written == options.input.size() &&
        stat(options.interruptOnceExists.c_str(), &info) == 0)
      interrupted = kill(pid, SIGINT) == 0;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      char buffer[65536];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      Pipe& p = i == 0 ? out : err;
      if (n <= 0) {
        p.closeEnd(0);
      } else {
        (i == 0 ? result.out : result.err).append(buffer, static_cast<size_t>(n));
      }
    }
    if (fds[2].fd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = write(in.fds[1], options.input.data() + written,
                              options.input.size() - written);
      if (n < 0 && errno == EAGAIN) {
        // Full after all; poll again.
      } else if (n <= 0) {
        in.closeEnd(1);
      } else if ((written += static_cast<size_t>(n)) == options.input.size() && !interrupt) {
        in.closeEnd(1);
      }
    }
  }
  in.closeEnd(1);
  result.status = waitFor(pid);
  return result;
}

ChildResult runChildOnTerminal(const std::string& program,
                               const std::vector<std::string>& args,
                               const ChildOptions& options) {
  ChildResult result;
  int master = -1;
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 100;
  const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
  if (pid < 0) return result;
  if (pid == 0) execChild(program, args, options);
  char buffer[65536];
  for (;;) {
    const ssize_t n = read(master, buffer, sizeof buffer);
    if (n > 0) {
      result.err.append(buffer, static_cast<size_t>(n));
      continue;
    }
    // EIO: the child closed its side of the terminal.
    if (n < 0 && errno == EINTR) continue;
    break;
  }
  close(master);
  result.status = waitFor(pid);
  return result;
}

}  // namespace zohtool
