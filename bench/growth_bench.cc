// The embedded default (Hadoop's local file system) as the work grows, against
// the system calls doing the same work on the same files: reads of 1 MiB to
// 1 GiB, walks of 100 to 100,000 entries, 1 to 4 threads each reading a file
// of its own. Then what a fresh process pays: start to first byte with the
// JVM's start, and resident memory after a 1 GiB read, against Hadoop's own
// client in a fresh JVM. With --instructions, the instructions each small
// operation executes, counted by callgrind (stable where times are not).
//
// Usage: growth_bench [--dir DIR] [--rounds N]   (DIR default: new, under /dev/shm)
//        growth_bench --instructions [--dir DIR] (runs itself under valgrind)
//        growth_bench --smoke                    (every figure once, small sizes)
#include <dirent.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "bench_harness.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_DUMP_STATS_AT(name)
#endif

extern char** environ;

namespace {

using bench::check;
constexpr int kChunk = 1 << 20;

struct Options {
  std::string dir, shown;  // shown: the directory as the tables name it
  int rounds = 5;
  bool smoke = false;
};

// One instance with an HDFS service on the embedded default.
struct Hadoop {
  Hadoop() {
    ZobString err;
    hadoop = zoHadoopCreate(&err);
    check(hadoop != nullptr, "zoHadoopCreate: " + err.str());
    cfg = hadoop->createConfiguration(&err);
    check(cfg != nullptr, "createConfiguration: " + err.str());
    hdfs = hadoop->createHDFS(cfg, &err);
    check(hdfs != nullptr, "createHDFS: " + err.str());
  }
  ~Hadoop() {
    hdfs->release();
    cfg->release();
    hadoop->release();
  }
  bool exists(const char* path) {
    ZobString err;
    bool answer = false;
    check(hdfs->exists(nullptr, path, &answer, &err) && answer, "exists: " + err.str());
    return answer;
  }
  void statOne(const char* path) {
    ZobString err;
    ZOHadoopDirectory* one = hdfs->openDir(nullptr, path, &err);
    check(one != nullptr, "openDir: " + err.str());
    ZobString name;
    long size = 0;
    ZobDate date;
    unsigned long millis = 0;
    bool isDir = false, readOnly = false;
    check(one->next(&name, &size, &date, &millis, &isDir, &readOnly, &err), "next: " + err.str());
    one->release();
  }
  ZOHadoop* hadoop;
  ZOHadoopCfg* cfg;
  ZOHadoopHDFS* hdfs;
};

long walkNative(const std::string& dir) {
  DIR* d = opendir(dir.c_str());
  check(d != nullptr, "opendir " + dir);
  long n = 0;
  struct stat st;
  while (dirent* e = readdir(d)) n += e->d_name[0] != '.' && fstatat(dirfd(d), e->d_name, &st, 0) == 0;
  closedir(d);
  return n;
}

std::string makeTree(const std::string& root, int entries) {
  const std::string dir = root + "/walk" + std::to_string(entries);
  mkdir(dir.c_str(), 0755);
  for (int i = 0; i < entries; ++i)
    close(open((dir + "/f" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0644));
  return dir;
}

std::string fileUri(const std::string& path) { return "file://" + path; }

// This program's own path, for running it again in a child.
std::string self() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  check(n > 0, "readlink /proc/self/exe");
  return std::string(path, n);
}

// ---- Fresh processes ---------------------------------------------------------------

// What the child reported: milliseconds from its spawn to its first byte, then
// its bytes read and resident, peak resident KiB after the whole read.
struct ChildRun {
  double firstByteMs = 0;
  long bytes = 0, rssKib = 0, hwmKib = 0;
};

ChildRun runChild(const std::vector<std::string>& args) {
  int out[2];
  check(pipe(out) == 0, "pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  // Their start-up chatter (log4j's warnings) would bury the progress rows.
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  check(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0,
        "cannot start " + args[0]);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  ChildRun run;
  char first = 0;
  check(read(out[0], &first, 1) == 1, "no first byte from " + args[0]);
  run.firstByteMs =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  std::string rest;
  char buffer[256];
  for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) rest.append(buffer, n);
  close(out[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  check(WIFEXITED(status) && WEXITSTATUS(status) == 0, args[0] + " failed");
  std::istringstream(rest) >> run.bytes >> run.rssKib >> run.hwmKib;
  return run;
}

void readStatus(long* rss, long* hwm) {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("VmRSS:", 0) == 0) *rss = std::atol(line.c_str() + 6);
    if (line.rfind("VmHWM:", 0) == 0) *hwm = std::atol(line.c_str() + 6);
  }
}

// The child's side: the first byte through createRawIO to standard output as
// soon as it is here, then the rest of the file, then the figures.
int firstByteChild(const std::string& path) {
  bench::Stream in(fileUri(path), kChunk, ZOB_TXTFILE_READ);
  const char* data = nullptr;
  const int n = in->getBytes(&data, 1, kChunk);
  check(n > 0, "no first byte");
  check(write(1, data, 1) == 1, "write");
  const long bytes = n + in.readAll(kChunk);
  long rss = 0, hwm = 0;
  readStatus(&rss, &hwm);
  std::printf("%ld %ld %ld\n", bytes, rss, hwm);
  return 0;
}

void startAndMemory(bench::Report& report, const Options& o, const std::string& file, long mib,
                    long heapMib) {
  const std::string table = "Start-up and memory: a fresh process reading " + std::to_string(mib) +
                            " MiB, library (embedded default) against Hadoop's Java client in a fresh JVM";
  const std::vector<std::string> library = {self(), "--first-byte", file};
  const std::vector<std::string> java = {
      std::string(ZOH_JAVA_HOME) + "/bin/java", "-cp",
      std::string(ZOH_BENCH_PROXY_DIR) + "/zox-bench.jar:" + ZOH_PROXY_HOME + "/hadoop/lib/*",
      "com.zorvanta.bench.FirstByte", fileUri(file)};
  std::vector<ChildRun> lib, ref;
  if (!o.smoke) {
    runChild(library);  // warm: the libraries' pages, the jars
    runChild(java);
  }
  const int rounds = o.smoke ? 1 : o.rounds;
  for (int r = 0; r < rounds; ++r) {
    if (r % 2 == 0) lib.push_back(runChild(library)), ref.push_back(runChild(java));
    else ref.push_back(runChild(java)), lib.push_back(runChild(library));
    check(lib.back().bytes == mib << 20 && ref.back().bytes == mib << 20, "a child read short");
  }
  auto row = [&](const std::string& figure, const char* unit, bench::Goal goal, auto field) {
    std::vector<double> l, f, ratio;
    for (int r = 0; r < rounds; ++r) {
      l.push_back(field(lib[r]));
      f.push_back(field(ref[r]));
      ratio.push_back(l.back() / f.back());
    }
    return bench::Report::fromRounds(table, figure, unit, l, f, ratio, goal);
  };
  bench::Result first = row("process start to first byte, JVM start included", "ms",
                            bench::libraryAtMost(250), [](const ChildRun& c) { return c.firstByteMs; });
  first.note = "ratio is library time / Java client time (lower is better); goal on the library's own time";
  report.add(first);
  const std::string after = "resident memory after reading " + std::to_string(mib) + " MiB";
  bench::Result rss = row(after, "MiB", bench::libraryAtMost(64),
                          [](const ChildRun& c) { return c.rssKib / 1024.0; });
  const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGE_SIZE);
  const char* options = std::getenv("ZOH_JVM_OPTIONS");
  rss.note = "the JVM heap cap was " + std::to_string(heapMib) + " MiB (" +
             (options != nullptr && *options ? std::string("ZOH_JVM_OPTIONS '") + options + "'"
                                             : std::string("the bridge's default JVM options")) +
             "; this machine has " + std::to_string(pages * pageSize >> 20) +
             " MiB of memory)";
  report.add(rss);
  report.add(row("peak resident memory over that read", "MiB", {},
                 [](const ChildRun& c) { return c.hwmKib / 1024.0; }));
}

// ---- Callgrind counts ---------------------------------------------------------------

// Under callgrind: each measured stretch runs warm, with collection switched
// on around it only, and is dumped under its name "<side> <figure>/<count>".
int instructionsRun(const std::string& dir) {
  Hadoop h;
  const std::string one = dir + "/one.bin", small = dir + "/small.bin";
  bench::makeLocalFile(one, 0);
  constexpr int kReadChunk = 16 << 10, kSmallMib = 8;
  bench::makeLocalFile(small, kSmallMib << 20);
  const std::string tree = makeTree(dir, 1000);
  constexpr int kWarm = 3000, kCount = 200;
  bench::PageBuffer buffer(kReadChunk);
  struct stat st;
  auto measure = [](const std::string& name, int count, const std::function<void(int)>& op) {
    for (int i = 0; i < 3; ++i) op(kWarm / 3);
    CALLGRIND_TOGGLE_COLLECT;
    op(count);
    CALLGRIND_TOGGLE_COLLECT;
    // Named before the request: the macro reads its argument in a statement of
    // its own, after a temporary would be gone.
    const std::string dumpName = name + "/" + std::to_string(count);
    CALLGRIND_DUMP_STATS_AT(dumpName.c_str());
  };
  measure("library exists", kCount, [&](int n) { for (int i = 0; i < n; ++i) h.exists(one.c_str()); });
  measure("reference exists", kCount, [&](int n) { for (int i = 0; i < n; ++i) stat(one.c_str(), &st); });
  measure("library stat", kCount, [&](int n) { for (int i = 0; i < n; ++i) h.statOne(one.c_str()); });
  measure("reference stat", kCount, [&](int n) { for (int i = 0; i < n; ++i) stat(one.c_str(), &st); });
  // A walk a round: `n` counts rounds while warming, entries when measured.
  measure("library walk", 1000, [&](int n) {
    for (int i = 0; i < std::max(1, n / 1000); ++i) check(bench::walk(fileUri(tree)) == 1000, "walk");
  });
  measure("reference walk", 1000, [&](int n) {
    for (int i = 0; i < std::max(1, n / 1000); ++i) check(walkNative(tree) == 1000, "readdir");
  });
  // Opening a stream costs about as much as a few thousand reads, so reads are
  // counted on a stream opened outside the stretch, and the open on its own.
  auto opens = [&](int n) {
    for (int i = 0; i < n; ++i) bench::Stream(fileUri(one), kReadChunk, ZOB_TXTFILE_READ);
  };
  opens(30);
  CALLGRIND_TOGGLE_COLLECT;
  opens(20);
  CALLGRIND_TOGGLE_COLLECT;
  CALLGRIND_DUMP_STATS_AT("library open/20");
  measure("reference open", 20, [&](int n) {
    for (int i = 0; i < n; ++i) ::close(::open(one.c_str(), O_RDONLY));
  });
  const int reads = (kSmallMib << 20) / kReadChunk;
  for (int i = 0; i < 3; ++i) bench::Stream(fileUri(small), kReadChunk, ZOB_TXTFILE_READ).readAll(kReadChunk);
  {
    bench::Stream stream(fileUri(small), kReadChunk, ZOB_TXTFILE_READ);
    CALLGRIND_TOGGLE_COLLECT;
    stream.readAll(kReadChunk);
    CALLGRIND_TOGGLE_COLLECT;
    const std::string dumpName = "library read/" + std::to_string(reads);
    CALLGRIND_DUMP_STATS_AT(dumpName.c_str());
  }
  measure("reference read", reads, [&](int n) {
    for (int i = 0; i < std::max(1, n / reads); ++i) bench::readFd(small, &buffer);
  });
  return 0;
}

// Reads the main thread's dumps ("<out>.<n>-01") of an instructionsRun.
void instructionTable(bench::Report& report, const std::string& out) {
  std::map<std::string, std::pair<double, double>> counts;  // figure: library, reference
  for (int part = 1;; ++part) {
    std::ifstream in(out + "." + std::to_string(part) + "-01");
    if (!in) break;
    std::string name;
    double total = -1;
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("desc: Trigger: Client Request: ", 0) == 0) name = line.substr(31);
      if (line.rfind("totals: ", 0) == 0) total = std::atof(line.c_str() + 8);
      if (line.rfind("summary: ", 0) == 0 && total < 0) total = std::atof(line.c_str() + 9);
    }
    const auto space = name.find(' '), slash = name.rfind('/');
    check(total >= 0 && space != std::string::npos && slash != std::string::npos,
          "unreadable callgrind dump " + out + "." + std::to_string(part));
    const double each = total / std::atof(name.c_str() + slash + 1);
    auto& pair = counts[name.substr(space + 1, slash - space - 1)];
    (name.compare(0, space, "library") == 0 ? pair.first : pair.second) = each;
  }
  const std::map<std::string, std::string> figures = {
      {"exists", "exists on a file / stat(2)"},
      {"stat", "stat of one file (listing, one next) / stat(2)"},
      {"walk", "walk, an entry / readdir + fstatat"},
      {"read", "read 16 KiB (the default buffer) / read(2)"},
      {"open", "open and close a stream / open(2) + close(2)"}};
  check(counts.size() == figures.size(), "callgrind dumps missing: found " + std::to_string(counts.size()));
  for (const auto& [key, figure] : figures) {
    bench::Result r;
    r.table = "Instructions per operation on the calling thread (callgrind; embedded default, warm, JVM at -XX:TieredStopAtLevel=1 -Xbatch)";
    r.figure = figure;
    r.unit = "instr";
    r.library = counts[key].first;
    r.reference = counts[key].second;
    r.ratio = r.ratioMin = r.ratioMax = r.library / r.reference;
    r.rounds = 1;
    report.add(r);
  }
}

int instructions(const std::string& dir) {
  const std::string out = dir + "/callgrind.out";
  std::vector<std::string> args = {"/usr/bin/valgrind", "--tool=callgrind", "--quiet",
                                   "--collect-atstart=no", "--separate-threads=yes",
                                   "--smc-check=all", "--callgrind-out-file=" + out,
                                   self(), "--instructions-run", dir};
  std::string command;
  for (const std::string& a : args) command += "'" + a + "' ";
  // Code from the JVM's optimising compiler (C2) crashed under valgrind 3.19
  // here; the counts are of the first-tier compiler's code, so the Java side's
  // share is if anything overstated. -Xbatch compiles on the calling thread,
  // before the code runs: with compiles in the background, whether a measured
  // stretch ran compiled code varied from run to run (exists: 38,000 against
  // 48,600 instructions).
  const char* user = std::getenv("ZOH_JVM_OPTIONS");
  setenv("ZOH_JVM_OPTIONS",
         ("-XX:TieredStopAtLevel=1 -Xbatch " + std::string(user ? user : "")).c_str(), 1);
  check(std::system(command.c_str()) == 0, "the run under callgrind failed: " + command);
  bench::Report report("growth_bench");
  instructionTable(report, out);
  report.printAll();
  return 0;
}

// ---- Growth -------------------------------------------------------------------------

void growth(bench::Report& report, const Options& o) {
  const std::string table = "Cost as the work grows: embedded default (file: on " + o.shown +
                            ") against the system calls";
  bench::PageBuffer buffer(kChunk);
  const std::vector<long> sizes = o.smoke ? std::vector<long>{1} : std::vector<long>{1, 64, 1024};
  for (long mib : sizes) {
    const std::string file = o.dir + "/read" + std::to_string(mib) + ".bin";
    bench::makeLocalFile(file, mib << 20);
    const int repeats = mib >= 64 ? 1 : 64 / static_cast<int>(mib);
    report.measure(table, "read " + std::to_string(mib) + " MiB, 1 MiB chunks / read(2)", true,
                   static_cast<double>(mib) * repeats, o.rounds, {}, [&] {
      for (int i = 0; i < repeats; ++i)
        check(bench::Stream(fileUri(file), kChunk, ZOB_TXTFILE_READ).readAll(kChunk) == mib << 20, "short read");
    }, [&] {
      for (int i = 0; i < repeats; ++i) check(bench::readFd(file, &buffer) == mib << 20, "short read(2)");
    });
    if (mib != 1024) unlink(file.c_str());
  }
  const std::vector<int> walks = o.smoke ? std::vector<int>{100} : std::vector<int>{100, 10000, 100000};
  for (int entries : walks) {
    const std::string dir = makeTree(o.dir, entries);
    const int repeats = std::max(1, 10000 / entries);
    report.measure(table, "walk of " + bench::thousands(entries) + " entries / readdir + fstatat",
                   false, static_cast<double>(entries) * repeats, o.rounds, {}, [&] {
      for (int i = 0; i < repeats; ++i) check(bench::walk(fileUri(dir)) == entries, "the walk missed entries");
    }, [&] {
      for (int i = 0; i < repeats; ++i) check(walkNative(dir) == entries, "readdir missed entries");
    });
  }
  // Threads: each its own file and stream, aggregate throughput.
  const long perThread = o.smoke ? 4 : 256;
  const int most = o.smoke ? 2 : 4;
  for (int t = 0; t < most; ++t)
    bench::makeLocalFile(o.dir + "/thread" + std::to_string(t) + ".bin", perThread << 20);
  for (int threads = 1; threads <= most; threads *= 2) {
    auto inThreads = [&](bool library) {
      std::vector<std::thread> running;
      for (int t = 0; t < threads; ++t) {
        running.emplace_back([&, t] {
          const std::string file = o.dir + "/thread" + std::to_string(t) + ".bin";
          bench::PageBuffer own(kChunk);
          const long n = library ? bench::Stream(fileUri(file), kChunk, ZOB_TXTFILE_READ).readAll(kChunk)
                                 : bench::readFd(file, &own);
          check(n == perThread << 20, "a thread read short");
        });
      }
      for (std::thread& r : running) r.join();
    };
    report.measure(table,
                   std::to_string(threads) + " thread" + (threads > 1 ? "s" : "") + ", " +
                       std::to_string(perThread) + " MiB each, aggregate / read(2) threads",
                   true, static_cast<double>(perThread * threads), o.rounds, {},
                   [&] { inThreads(true); }, [&] { inThreads(false); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  bool instructionsMode = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--first-byte" && i + 1 < argc) return firstByteChild(argv[i + 1]);
    if (a == "--instructions-run" && i + 1 < argc) return instructionsRun(argv[i + 1]);
    if (a == "--dir" && i + 1 < argc) o.dir = argv[++i];
    else if (a == "--rounds" && i + 1 < argc) o.rounds = std::atoi(argv[++i]);
    else if (a == "--smoke") o.smoke = true, o.rounds = 1;
    else if (a == "--instructions") instructionsMode = true;
    else check(false, "usage: growth_bench [--dir DIR] [--rounds N] [--instructions | --smoke]");
  }
  const bool madeDir = o.dir.empty();
  if (madeDir) {
    char pattern[] = "/dev/shm/zoh-growth-bench-XXXXXX";
    check(mkdtemp(pattern) != nullptr, "cannot make a directory under /dev/shm");
    o.dir = pattern;
  }
  o.shown = madeDir ? "/dev/shm" : o.dir;
  int status = 0;
  if (instructionsMode) {
    status = instructions(o.dir);
  } else {
    bench::Report report("growth_bench");
    growth(report, o);
    const long heap = bench::JavaReference().call("MaxHeapMiB", "\x06", {});
    const long mib = o.smoke ? 1 : 1024;
    const std::string file = o.dir + "/read" + std::to_string(mib) + ".bin";
    if (o.smoke) bench::makeLocalFile(file, mib << 20);
    startAndMemory(report, o, file, mib, heap);
    report.printAll();
  }
  if (madeDir) std::system(("rm -rf '" + o.dir + "'").c_str());
  return status;
}
