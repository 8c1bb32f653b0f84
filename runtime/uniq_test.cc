#include "zob_uniq.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(UniqTest, IdsAreUniqueAcrossThreadsAndFitTheBuffer) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 20000;
  std::vector<std::vector<std::string>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&made, t] {
      for (int i = 0; i < kPerThread; ++i) {
        char buffer[32];
        std::memset(buffer, 'X', sizeof buffer);
        char* id = np_uniq_s64(buffer);
        EXPECT_EQ(buffer, id);
        ASSERT_LE(std::strlen(buffer), 31u);
        made[t].push_back(buffer);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  std::set<std::string> all;
  for (const auto& list : made) all.insert(list.begin(), list.end());
  EXPECT_EQ(static_cast<std::size_t>(kThreads * kPerThread), all.size());
}

TEST(UniqTest, ForkedChildDoesNotRepeatParentIds) {
  char parent[32];
  np_uniq_s64(parent);
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    char id[32];
    np_uniq_s64(id);
    ssize_t written = write(fds[1], id, sizeof id);
    _exit(written == static_cast<ssize_t>(sizeof id) ? 0 : 1);
  }
  char fromChild[32] = {};
  ASSERT_EQ(static_cast<ssize_t>(sizeof fromChild), read(fds[0], fromChild, sizeof fromChild));
  int status = 0;
  waitpid(child, &status, 0);
  close(fds[0]);
  close(fds[1]);
  char next[32];
  np_uniq_s64(next);
  // The child's counter continues from the parent's; only the pid tells them apart.
  EXPECT_STRNE(next, fromChild);
  EXPECT_STRNE(parent, fromChild);
}

}  // namespace
