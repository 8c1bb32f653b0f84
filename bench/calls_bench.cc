// What the library adds to each operation on the embedded default (Hadoop's
// local file system), measured against the system call that does the same work
// on the same files, in the same process: small calls (exists, the stat of one
// file), a walk of a directory, reads and writes at several chunk sizes.
// Alternating rounds (library, reference, library, ...); each figure is the
// median of its rounds, with min and max, as a table and as JSON lines.
//
// Usage: calls_bench [directory]   (default: a new directory under /dev/shm)
// Under `valgrind --tool=callgrind --collect-atstart=no --separate-threads=yes`
// with CALLS_BENCH_CALLGRIND=<n> set, each figure instead runs n library
// operations after its warm-up with collection on, and dumps them as one part
// named after the figure: the calling thread's instructions per operation.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <valgrind/callgrind.h>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRounds = 7;

double secondsOf(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Spread {
  double min, median, max;
};

Spread spreadOf(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return {v.front(), v[v.size() / 2], v.back()};
}

// One figure: `library` and `reference` each do `units` of work per round;
// reported per unit in `unit` (µs per call, or MiB/s when `throughput`).
void figure(const char* name, const char* unit, bool throughput, double units,
            const std::function<void()>& library, const std::function<void()>& reference) {
  // CALLS_BENCH_ONLY=<text>: only the figures whose names hold the text.
  const char* only = std::getenv("CALLS_BENCH_ONLY");
  if (only != nullptr && std::strstr(name, only) == nullptr) return;
  library();  // warm: page cache, JIT, the first proxy calls
  if (const char* n = std::getenv("CALLS_BENCH_CALLGRIND")) {
    library();
    CALLGRIND_TOGGLE_COLLECT;
    for (int i = std::atoi(n); i > 0; --i) library();
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(name);
    std::printf("%-44s %.0f operations a run\n", name, units);
    return;
  }
  reference();
  std::vector<double> lib, ref, ratio;
  for (int r = 0; r < kRounds; ++r) {
    const double l = secondsOf(library);
    const double f = secondsOf(reference);
    lib.push_back(throughput ? units / l : l / units * 1e6);
    ref.push_back(throughput ? units / f : f / units * 1e6);
    // Always "how many times the reference's cost the library's is".
    ratio.push_back(l / f);
  }
  const Spread L = spreadOf(lib), F = spreadOf(ref), R = spreadOf(ratio);
  std::printf("%-44s %10.2f %10.2f %-7s %6.2f  (%.2f..%.2f)\n", name, L.median, F.median, unit,
              R.median, R.min, R.max);
  std::fprintf(stderr,
               "{\"figure\":\"%s\",\"unit\":\"%s\",\"library\":%.3f,\"reference\":%.3f,"
               "\"cost_ratio\":%.3f,\"cost_ratio_min\":%.3f,\"cost_ratio_max\":%.3f}\n",
               name, unit, L.median, F.median, R.median, R.min, R.max);
}

// Fewer operations a figure under callgrind, where each costs fifty times more.
long scaled(long n) { return std::getenv("CALLS_BENCH_CALLGRIND") != nullptr ? n / 8 : n; }

void check(bool ok, const std::string& what) {
  if (ok) return;
  std::fprintf(stderr, "calls_bench: %s\n", what.c_str());
  std::exit(1);
}

struct RawIODeleter {
  void operator()(ZobIORaw* io) const { io->release(); }
};
using RawIO = std::unique_ptr<ZobIORaw, RawIODeleter>;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

// A stream through the library with the given buffer size.
struct Stream {
  Stream(const std::string& path, int bufferSize, ZobTxtFileOpenMode mode)
      : uri(getURIFromURIString(
            ZobString(("file://" + path + "?buffer-size=" + std::to_string(bufferSize)).c_str()))) {
    ZobString err;
    io.reset(createRawIO(uri.get(), &err));
    check(io != nullptr, "createRawIO: " + err.str());
    int size = bufferSize;
    check(io->open(mode, 0, &size, nullptr), "open: " + io->getErrorMessage().str());
  }
  Uri uri;
  RawIO io;
};

}  // namespace

int main(int argc, char** argv) {
  std::string dir = argc > 1 ? argv[1] : "";
  if (dir.empty()) {
    char pattern[] = "/dev/shm/zoh-calls-bench-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "cannot make a directory under /dev/shm");
    dir = pattern;
  }
  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  check(hadoop != nullptr, "zoHadoopCreate: " + err.str());
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  check(cfg != nullptr, "createConfiguration: " + err.str());
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  check(hdfs != nullptr, "createHDFS: " + err.str());

  std::printf("%-44s %10s %10s %-7s %6s\n", "figure (median of 7 alternating rounds)", "library",
              "reference", "unit", "cost ratio (min..max)");

  const std::string file = dir + "/one.bin";
  close(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  const ZobString fileName(file.c_str());
  const int kCalls = scaled(20000);
  figure("exists on a file / stat(2)", "us", false, kCalls, [&] {
    bool answer = false;
    for (int i = 0; i < kCalls; ++i) check(hdfs->exists(nullptr, fileName, &answer, &err), err.str());
  }, [&] {
    struct stat st;
    for (int i = 0; i < kCalls; ++i) check(stat(file.c_str(), &st) == 0, "stat");
  });
  const int kStats = scaled(5000);
  figure("stat of one file (listing, one next) / stat(2)", "us", false, kStats, [&] {
    for (int i = 0; i < kStats; ++i) {
      ZOHadoopDirectory* one = hdfs->openDir(nullptr, fileName, &err);
      check(one != nullptr, err.str());
      ZobString name;
      long size = 0;
      ZobDate date;
      unsigned long millis = 0;
      bool isDir = false, readOnly = false;
      check(one->next(&name, &size, &date, &millis, &isDir, &readOnly, &err), "next");
      one->release();
    }
  }, [&] {
    struct stat st;
    for (int i = 0; i < kStats; ++i) check(stat(file.c_str(), &st) == 0, "stat");
  });

  const std::string tree = dir + "/walk";
  mkdir(tree.c_str(), 0755);
  constexpr int kEntries = 10000;
  for (int i = 0; i < kEntries; ++i)
    close(open((tree + "/f" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0644));
  Uri treeUri(getURIFromURIString(ZobString(("file://" + tree).c_str())));
  figure("walk of 10,000 files / readdir + fstatat", "us", false, kEntries, [&] {
    ZobDirectoryListing* walk = createDirectoryListing(nullptr, treeUri.get(), 0, &err);
    check(walk != nullptr, "createDirectoryListing: " + err.str());
    long n = 0;
    while (walk->next()) n += walk->getSize() >= 0;
    walk->release();
    check(n == kEntries, "the walk saw " + std::to_string(n) + " entries");
  }, [&] {
    DIR* d = opendir(tree.c_str());
    long n = 0;
    struct stat st;
    while (dirent* e = readdir(d)) n += e->d_name[0] != '.' && fstatat(dirfd(d), e->d_name, &st, 0) == 0;
    closedir(d);
    check(n == kEntries, "readdir saw " + std::to_string(n) + " entries");
  });

  // Bulk bytes: 256 MiB, read in chunks of each size, and written with the
  // adapter's buffer at 1 MiB and at its 16 KiB default.
  const long kBytes = scaled(256L << 20);
  const std::string big = dir + "/big.bin";
  std::vector<char> block(1 << 20);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + 7);
  const double mib = static_cast<double>(kBytes >> 20);
  for (int chunk : {1 << 20, 256 << 10, 64 << 10, 16 << 10}) {
    const std::string name = "write 256 MiB, " + std::to_string(chunk >> 10) + " KiB / write(2)";
    if (chunk == (1 << 20) || chunk == (16 << 10)) {
      figure(name.c_str(), "MiB/s", true, mib, [&] {
        Stream out(big, chunk, ZOB_TXTFILE_WRITE);
        for (long at = 0; at < kBytes; at += chunk)
          check(out.io->putBytes(block.data(), chunk) == chunk, "putBytes");
        check(out.io->close(), "close");
      }, [&] {
        const int fd = open(big.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (long at = 0; at < kBytes; at += chunk)
          check(write(fd, block.data(), chunk) == chunk, "write");
        close(fd);
      });
    }
    const std::string readName = "read 256 MiB, " + std::to_string(chunk >> 10) + " KiB / read(2)";
    figure(readName.c_str(), "MiB/s", true, mib, [&] {
      Stream in(big, chunk, ZOB_TXTFILE_READ);
      long total = 0;
      for (const char* data = nullptr;;) {
        const int n = in.io->getBytes(&data, 1, chunk);
        check(n >= 0, "getBytes");
        if (n == 0) break;
        total += n;
      }
      check(total == kBytes, "short read");
    }, [&] {
      const int fd = open(big.c_str(), O_RDONLY);
      long total = 0;
      for (ssize_t n; (n = read(fd, block.data(), chunk)) > 0;) total += n;
      close(fd);
      check(total == kBytes, "short read(2)");
    });
  }

  hdfs->release();
  cfg->release();
  hadoop->release();
  if (argc <= 1) std::system(("rm -rf '" + dir + "'").c_str());
  return 0;
}
