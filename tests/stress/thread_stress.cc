// Threads against the library on the scripted bridge, for ThreadSanitizer: eight
// threads share one instance, creating and releasing children (Pig clients among
// them, whose proxies are derived from the instance's) and calling through them,
// while four more threads do the same each on instances of their own. Every
// operation must succeed, and at the end no proxy or wire object is left.
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "end_to_end.h"
#include "java_side.h"
#include "zowlp.h"

namespace {

constexpr int kSharedThreads = 8;
constexpr int kOwnThreads = 4;
constexpr int kRounds = 40;

std::atomic<int> g_waiting{kSharedThreads + kOwnThreads};
using e2e::check;
using e2e::g_failures;
using e2e::g_operations;

// One round of every child kind on `h`, each released within the round, so that
// the registry changes under the other threads' feet.
void round(ZOHadoop* h, int thread, int n) {
  ZobString err;
  const ZobString path(("/t" + std::to_string(thread) + "/" + std::to_string(n)).c_str());
  ZOHadoopCfg* cfg = check(h->createConfiguration(&err), "createConfiguration", err);
  if (cfg == nullptr) return;
  check(cfg->setKeyValue("k", path, &err), "setKeyValue", err);
  if (ZOHadoopPig* pig = check(h->createPig(cfg, "", &err), "createPig", err)) {
    check(pig->setParameter("p", path, &err), "setParameter", err);
    check(pig->runCommands(nullptr, nullptr, "A = LOAD '$p';", nullptr, &err), "runCommands", err);
    pig->release();
  }
  if (ZOHadoopHDFS* fs = check(h->createHDFS(cfg, &err), "createHDFS", err)) {
    bool answer = false;
    check(fs->exists(nullptr, path, &answer, &err), "exists", err);
    if (ZOHadoopDirectory* dir = check(fs->openDir(nullptr, path, &err), "openDir", err)) {
      check(e2e::walk(dir, &err), "next", err);
      dir->release();
    }
    fs->release();
  }
  if (ZOHadoopMapReduce* job = check(h->createMapReduce(cfg, &err), "createMapReduce", err)) {
    check(job->addInputPath(path, &err), "addInputPath", err);
    check(job->run(nullptr, nullptr, false, &err), "run", err);
    job->release();
  }
  cfg->release();
}

// Holds every thread until all are there, so that their first steps overlap:
// the first creations on the shared instance race for its main proxy.
void startTogether() {
  g_waiting.fetch_sub(1);
  while (g_waiting.load() > 0) std::this_thread::yield();
}

}  // namespace

int main() {
  ScriptedBridge& bridge = ScriptedBridge::instance();
  bridge.reset();
  bridge.answerUnscripted(ScriptedAnswer::from(zohsweep::healthyAnswer));
  const int proxies = bridge.liveProxies();
  const int wire = zowlpTestLiveObjects();

  ZobString err;
  ZOHadoop* shared = zoHadoopCreate(&err);
  if (shared == nullptr) return 1;
  std::vector<std::thread> threads;
  for (int t = 0; t < kSharedThreads + kOwnThreads; ++t) {
    threads.emplace_back([shared, t] {
      startTogether();
      for (int n = 0; n < kRounds; ++n) {
        if (t < kSharedThreads) {
          round(shared, t, n);
          continue;
        }
        ZobString e;
        if (ZOHadoop* own = check(zoHadoopCreate(&e), "zoHadoopCreate", e)) {
          round(own, t, n);
          own->release();
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  shared->release();

  const bool leftAlive = bridge.liveProxies() != proxies || zowlpTestLiveObjects() != wire;
  std::printf("thread stress: %d threads (%d on one instance, %d on their own), %d operations, "
              "%zu proxy calls, %zu proxy creations, %d failures%s\n",
              kSharedThreads + kOwnThreads, kSharedThreads, kOwnThreads, g_operations.load(),
              bridge.calls().size(), bridge.creations().size(), g_failures.load(),
              leftAlive ? "; proxies or wire objects left alive" : "");
  return g_failures.load() == 0 && !leftAlive ? 0 : 1;
}
