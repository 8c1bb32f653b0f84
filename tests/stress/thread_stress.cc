// Threads against the library on the scripted bridge, for ThreadSanitizer: eight
// threads share one instance, creating and releasing children (Pig clients among
// them, whose proxies are derived from the instance's) and calling through them,
// while four more threads do the same each on an instance of its own. Every
// operation must succeed, and at the end no proxy or wire object is left.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "java_side.h"
#include "zowlp.h"

namespace {

constexpr int kSharedThreads = 8;
constexpr int kOwnThreads = 4;
constexpr int kRounds = 40;

std::atomic<int> g_operations{0};
std::atomic<int> g_waiting{kSharedThreads + kOwnThreads};

// Holds every thread until all are there, so that their first steps overlap.
void startTogether() {
  g_waiting.fetch_sub(1);
  while (g_waiting.load() > 0) std::this_thread::yield();
}
std::atomic<int> g_failures{0};

void expect(bool ok, const char* what, const ZobString& err) {
  g_operations.fetch_add(1, std::memory_order_relaxed);
  if (ok) return;
  g_failures.fetch_add(1, std::memory_order_relaxed);
  std::fprintf(stderr, "%s failed: %s\n", what, err.asCstr());
}

// One round of every child kind on `h`, each child released before the next
// round, so that the registry changes under the other threads' feet.
void round(ZOHadoop* h, int thread, int n) {
  ZobString err;
  const ZobString path(("/t" + std::to_string(thread) + "/" + std::to_string(n)).c_str());
  ZOHadoopCfg* cfg = h->createConfiguration(&err);
  expect(cfg != nullptr, "createConfiguration", err);
  if (cfg == nullptr) return;
  expect(cfg->setKeyValue("k", path, &err), "setKeyValue", err);

  if (ZOHadoopPig* pig = h->createPig(cfg, "", &err)) {
    expect(pig->setParameter("p", path, &err), "setParameter", err);
    expect(pig->runCommands(nullptr, nullptr, "A = LOAD '$p';", nullptr, &err),
           "runCommands", err);
    pig->release();
  } else {
    expect(false, "createPig", err);
  }

  if (ZOHadoopHDFS* fs = h->createHDFS(cfg, &err)) {
    bool answer = false;
    expect(fs->exists(nullptr, path, &answer, &err), "exists", err);
    expect(fs->rename(nullptr, path, "/moved", &err), "rename", err);
    if (ZOHadoopDirectory* dir = fs->openDir(nullptr, path, &err)) {
      ZobString name;
      ZobDate date;
      long size = 0;
      unsigned long millis = 0;
      bool isDir = false, readOnly = false;
      while (dir->next(&name, &size, &date, &millis, &isDir, &readOnly, &err)) {
      }
      expect(err.isNull(), "next", err);
      dir->release();
    } else {
      expect(false, "openDir", err);
    }
    fs->release();
  } else {
    expect(false, "createHDFS", err);
  }

  if (ZOHadoopMapReduce* job = h->createMapReduce(cfg, &err)) {
    expect(job->addInputPath(path, &err), "addInputPath", err);
    expect(job->run(nullptr, nullptr, false, &err), "run", err);
    job->release();
  } else {
    expect(false, "createMapReduce", err);
  }
  cfg->release();
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
  // No thread acquires the shared proxy before the others: the first creations
  // race for it, the Pig clients for the option buffer.
  for (int t = 0; t < kSharedThreads; ++t) {
    threads.emplace_back([shared, t] {
      startTogether();
      for (int n = 0; n < kRounds; ++n) round(shared, t, n);
    });
  }
  for (int t = 0; t < kOwnThreads; ++t) {
    threads.emplace_back([t] {
      startTogether();
      for (int n = 0; n < kRounds / 4; ++n) {
        ZobString e;
        ZOHadoop* own = zoHadoopCreate(&e);
        expect(own != nullptr, "zoHadoopCreate", e);
        if (own == nullptr) continue;
        for (int i = 0; i < 4; ++i) round(own, kSharedThreads + t, n * 4 + i);
        own->release();
      }
    });
  }
  for (std::thread& t : threads) t.join();
  shared->release();

  const int callCount = static_cast<int>(bridge.calls().size());
  const int creationCount = static_cast<int>(bridge.creations().size());
  std::printf("thread stress: %d threads (%d on one instance, %d on their own), %d "
              "operations, %d proxy calls, %d proxy creations, %d failures\n",
              kSharedThreads + kOwnThreads, kSharedThreads, kOwnThreads,
              g_operations.load(), callCount, creationCount, g_failures.load());
  bool clean = g_failures.load() == 0;
  if (bridge.liveProxies() != proxies) {
    std::printf("%d Java proxies left alive\n", bridge.liveProxies() - proxies);
    clean = false;
  }
  if (zowlpTestLiveObjects() != wire) {
    std::printf("%d wire objects left alive\n", zowlpTestLiveObjects() - wire);
    clean = false;
  }
  return clean ? 0 : 1;
}
