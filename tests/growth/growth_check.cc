// Growth check on the JVM bridge and Hadoop's local file system: a thousand
// cycles of every child kind must leave the bridge's global references and the
// live wire objects where one warm-up cycle left them. Two ways to end a cycle:
// children released one by one before their instance, and an instance that holds
// its main proxy released with its children still registered (it ends them).
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "end_to_end.h"
#include "zojni_jvm_test.h"
#include "zowlp.h"

namespace {

constexpr int kCycles = 1000;
// This program's build directory: a listing and a file to read that are there
// whenever the program is.
const char kDir[] = ZOH_GROWTH_DIR;
using e2e::check;
using e2e::g_failures;

// One cycle; `releaseChildren` false leaves the registered children to the
// instance. Files and directory listings are never registered, so they are
// always released first.
void cycle(bool releaseChildren) {
  ZobString err;
  ZOHadoop* h = check(zoHadoopCreate(&err), "zoHadoopCreate", err);
  if (h == nullptr) return;
  if (ZOHadoopCfg* cfg = check(h->createConfiguration(&err), "createConfiguration", err)) {
    check(cfg->setKeyValue("fs.defaultFS", "file:///", &err), "setKeyValue", err);
    ZOHadoopHDFS* fs = check(h->createHDFS(cfg, &err), "createHDFS", err);
    if (fs != nullptr) {
      if (ZOHadoopDirectory* dir = check(fs->openDir(nullptr, kDir, &err), "openDir", err)) {
        check(e2e::walk(dir, &err), "next", err);
        dir->release();
      }
      const std::string path = std::string(kDir) + "/CTestTestfile.cmake";
      if (ZOHadoopFile* file = check(fs->openFile(nullptr, path.c_str(), ZOB_TXTFILE_READ, 0, 0, &err),
                                     "openFile", err)) {
        const char* data = nullptr;
        check(file->read(nullptr, &data, 16, &err) > 0, "read", err);
        file->release();  // without close: the file's end is the destructor's
      }
    }
    ZOHadoopMapReduce* job = check(h->createMapReduce(cfg, &err), "createMapReduce", err);
    if (job != nullptr) {
      if (ZobStringCursor* props = check(job->getPropertyList(&err), "getPropertyList", err)) {
        props->release();
      }
    }
    ZOHadoopPig* pig = check(h->createPig(cfg, "", &err), "createPig", err);
    if (releaseChildren) {
      if (pig) pig->release();
      if (job) job->release();
      if (fs) fs->release();
      cfg->release();
    }
  }
  h->release();
}

}  // namespace

int main() {
  bool grew = false;
  for (bool releaseChildren : {true, false}) {
    cycle(releaseChildren);  // loads classes and fills the bridge's caches once
    const int refs = zojniJvmTestGlobalRefs();
    const int wire = zowlpTestLiveObjects();
    for (int i = 0; i < kCycles; ++i) cycle(releaseChildren);
    std::printf("growth, %s: %d cycles; JNI global references %d -> %d, wire objects %d -> %d\n",
                releaseChildren ? "children released first" : "instance ends its children",
                kCycles, refs, zojniJvmTestGlobalRefs(), wire, zowlpTestLiveObjects());
    grew = grew || zojniJvmTestGlobalRefs() != refs || zowlpTestLiveObjects() != wire;
  }
  if (g_failures > 0) std::printf("%d operations failed\n", g_failures.load());
  return grew || g_failures > 0 ? 1 : 0;
}
