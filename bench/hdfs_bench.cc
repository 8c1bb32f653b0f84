// The library on a real HDFS against Hadoop's own Java client doing the same
// work in the same JVM (the ceiling for any client that goes through Java):
// bulk reads and writes through createRawIO, exists against getFileStatus, a
// walk through createDirectoryListing against listStatusIterator; then the
// same reads and walks at growing sizes.
//
// Usage: hdfs_bench hdfs://host:port [--rounds N] [--mib N] [--large-walk]
//   (works beneath /zoh-bench on that file system and removes it at the end;
//   --large-walk adds a walk of 100,000 entries, whose files take minutes to
//   make on a test cluster)
#include <cstring>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "bench_harness.h"

using bench::check;

int main(int argc, char** argv) {
  check(argc > 1 && std::strstr(argv[1], "://") != nullptr,
        "usage: hdfs_bench hdfs://host:port [--rounds N] [--mib N] [--large-walk]");
  const std::string fsUri = bench::plainUri(argv[1]);
  int rounds = 5;
  long mib = 1024;
  bool largeWalk = false;
  for (int i = 2; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc) rounds = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--mib") && i + 1 < argc) mib = std::atol(argv[++i]);
    else if (!std::strcmp(argv[i], "--large-walk")) largeWalk = true;
    else check(false, std::string("unknown argument ") + argv[i]);
  }
  const std::string root = fsUri + "/zoh-bench";
  const std::string bigName = std::to_string(mib) + " MiB";
  constexpr int kChunk = 1 << 20;

  bench::JavaReference java;
  java.call("Open", "", {fsUri, ""});
  java.call("Delete", "", {root});

  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  check(hadoop != nullptr, "zoHadoopCreate: " + err.str());
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  check(cfg != nullptr && cfg->setKeyValue("fs.defaultFS", fsUri.c_str(), &err),
        "configuration: " + err.str());
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  check(hdfs != nullptr, "createHDFS: " + err.str());

  bench::Report report("hdfs_bench");
  const std::string main = "On the test HDFS (" + fsUri + "), against Hadoop's Java client in the same JVM";
  const std::string growth = "Cost as the work grows, test HDFS, against Hadoop's Java client";

  // Bulk bytes: each side writes its own file; both read the one the Java
  // client wrote.
  const std::vector<char> block = bench::pattern(kChunk);
  const std::string libFile = root + "/library.bin", javaFile = root + "/java.bin";
  report.measure(main, "write " + bigName + " via createRawIO, 1 MiB buffer", true, mib, rounds,
                 bench::atLeast(0.95),
                 [&] { bench::Stream(libFile, kChunk, ZOB_TXTFILE_WRITE).writeAll(block, mib << 20); },
                 [&] { java.call("Write", "", {javaFile, static_cast<int>(mib), kChunk}); });
  auto readFigure = [&](const std::string& table, const std::string& file, long size,
                        bench::Goal goal, const std::string& name) -> bench::Result {
    // Small files are read several times a round, so that a round is long
    // enough to time.
    const int repeats = size >= 64 ? 1 : 64 / static_cast<int>(size);
    return report.measure(table, name, true, static_cast<double>(size) * repeats, rounds, goal, [&] {
      for (int i = 0; i < repeats; ++i)
        check(bench::Stream(file, kChunk, ZOB_TXTFILE_READ).readAll(kChunk) == size << 20, "short read");
    }, [&] {
      for (int i = 0; i < repeats; ++i)
        check(java.call("Read", "\x07", {file, kChunk}) == size << 20, "short Java read");
    });
  };
  const bench::Result bigRead = readFigure(main, javaFile, mib, bench::atLeast(0.95),
                                           "read " + bigName + " via createRawIO, 1 MiB chunks");

  constexpr int kCalls = 2000;
  const std::string one = javaFile;
  auto libraryExists = [&] {
    bool answer = false;
    for (int i = 0; i < kCalls; ++i)
      check(hdfs->exists(nullptr, one.c_str(), &answer, &err) && answer, "exists: " + err.str());
  };
  report.measure(main, "exists on a file / getFileStatus", false, kCalls, rounds + 2,
                 bench::extraMicros(2), libraryExists,
                 [&] { check(java.call("Stat", "\x06", {one, kCalls}) == kCalls, "getFileStatus"); });
  // The same reference entered from native code once per call, as the library
  // is: what remains of the difference above is the price of that entry.
  report.measure(main, "exists / getFileStatus, one bridge call each", false, kCalls, rounds + 2, {},
                 libraryExists, [&] {
    for (int i = 0; i < kCalls; ++i) check(java.call("Stat", "\x06", {one, 1}) == 1, "getFileStatus");
  });

  auto walkFigure = [&](const std::string& table, int entries, bench::Goal goal) -> bench::Result {
    const std::string dir = root + "/walk" + std::to_string(entries);
    java.call("MakeFiles", "", {dir, entries});
    return report.measure(table, "walk of " + bench::thousands(entries) + " entries / listStatusIterator",
                   false, entries, rounds + 2, goal,
                   [&] { check(bench::walk(dir) == entries, "the walk missed entries"); },
                   [&] { check(java.call("Walk", "\x06", {dir}) == entries, "listStatusIterator"); });
  };
  const bench::Result bigWalk = walkFigure(main, 10000, bench::atMost(1.2));

  // Growth: the ratio should hold from small to large. The large read and the
  // 10,000-entry walk above are not taken twice.
  for (long size : {1L, 64L}) {
    const std::string file = root + "/grow" + std::to_string(size) + ".bin";
    java.call("Write", "", {file, static_cast<int>(size), kChunk});
    readFigure(growth, file, size, {}, "read " + std::to_string(size) + " MiB, 1 MiB chunks");
  }
  bench::Result again = bigRead;
  again.table = growth;
  again.goal = {};
  report.add(again);
  walkFigure(growth, 100, {});
  again = bigWalk;
  again.table = growth;
  again.goal = {};
  report.add(again);
  if (largeWalk) walkFigure(growth, 100000, {});

  java.call("Delete", "", {root});
  hdfs->release();
  cfg->release();
  hadoop->release();
  report.printAll();
  return 0;
}
