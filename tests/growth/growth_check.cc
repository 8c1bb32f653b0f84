// Growth check on the JVM bridge and Hadoop's local file system: a thousand
// cycles of every child kind must leave the bridge's global references and the
// live wire objects where one warm-up cycle left them. Two ways to end a cycle:
// children released one by one before their instance, and an instance that holds
// its main proxy released with its children still registered (it ends them).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "directory_walk.h"
#include "zojni_jvm_test.h"
#include "zowlp.h"

namespace {

constexpr int kCycles = 1000;
std::string g_dir;
int g_failures = 0;

bool check(bool ok, const char* what, const ZobString& err) {
  if (!ok && ++g_failures <= 5) std::fprintf(stderr, "%s failed: %s\n", what, err.asCstr());
  return ok;
}

// One cycle; `releaseChildren` false leaves the registered children to the
// instance. Files and directory listings are never registered, so they are
// always released first.
void cycle(bool releaseChildren) {
  ZobString err;
  ZOHadoop* h = zoHadoopCreate(&err);
  if (!check(h != nullptr, "zoHadoopCreate", err)) return;
  ZOHadoopCfg* cfg = h->createConfiguration(&err);
  if (check(cfg != nullptr, "createConfiguration", err)) {
    check(cfg->setKeyValue("fs.defaultFS", "file:///", &err), "setKeyValue", err);
    ZOHadoopHDFS* fs = h->createHDFS(cfg, &err);
    if (check(fs != nullptr, "createHDFS", err)) {
      if (ZOHadoopDirectory* dir = fs->openDir(nullptr, g_dir.c_str(), &err)) {
        check(zohsweep::walkDirectory(dir, &err), "next", err);
        dir->release();
      } else {
        check(false, "openDir", err);
      }
      const std::string path = g_dir + "/f.txt";
      if (ZOHadoopFile* file =
              fs->openFile(nullptr, path.c_str(), ZOB_TXTFILE_READ, 0, 0, &err)) {
        const char* data = nullptr;
        check(file->read(nullptr, &data, 16, &err) > 0, "read", err);
        file->release();  // without close: the file's end is the destructor's
      } else {
        check(false, "openFile", err);
      }
    }
    ZOHadoopMapReduce* job = h->createMapReduce(cfg, &err);
    if (check(job != nullptr, "createMapReduce", err)) {
      ZobStringCursor* props = job->getPropertyList(&err);
      if (check(props != nullptr, "getPropertyList", err)) props->release();
    }
    ZOHadoopPig* pig = h->createPig(cfg, "", &err);
    check(pig != nullptr, "createPig", err);
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
  char pattern[] = "/tmp/zoh-growth-XXXXXX";
  if (mkdtemp(pattern) == nullptr) return 1;
  g_dir = pattern;
  const std::string file = g_dir + "/f.txt";
  if (FILE* f = std::fopen(file.c_str(), "w")) {
    std::fputs("growth check\n", f);
    std::fclose(f);
  }

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
  unlink(file.c_str());
  rmdir(g_dir.c_str());
  if (g_failures > 0) std::printf("%d operations failed\n", g_failures);
  return grew || g_failures > 0 ? 1 : 0;
}
