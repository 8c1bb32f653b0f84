// What a test program needs of a test cluster started by the fixtures: the
// keys of its ready file, and its control port (TestCluster --control).
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

namespace clustertest {

// The key=value lines of a file.
inline std::map<std::string, std::string> keyValues(const std::string& path) {
  std::map<std::string, std::string> keys;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    const auto eq = line.find('=');
    if (eq != std::string::npos) keys[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return keys;
}

// The keys of the ready file named by the environment variable `variable`;
// empty when it names none.
inline std::map<std::string, std::string> readyKeys(const char* variable) {
  const char* ready = std::getenv(variable);
  return ready == nullptr || *ready == '\0' ? std::map<std::string, std::string>{}
                                             : keyValues(ready);
}

// One command on the control port; its one-line answer ("ok" once the cluster
// is in the state asked for).
inline std::string control(const std::string& port, const std::string& command) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(std::atoi(port.c_str())));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string answer;
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    const std::string line = command + "\n";
    if (write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
      for (char c; read(fd, &c, 1) == 1 && c != '\n';) answer += c;
    }
  }
  close(fd);
  return answer.empty() ? "no answer on control port " + port : answer;
}

}  // namespace clustertest
