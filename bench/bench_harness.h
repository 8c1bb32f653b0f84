// What the benchmark programs share: alternating timed rounds of the library
// against a reference, the table and JSON lines they print, owners of the
// library's objects, and the Java-client reference hosted in the library's JVM.
//
// Every figure is a ratio taken round by round (library and reference back to
// back, their order swapped each round), because the machines these run on are
// shared: absolute times wander with the other load, a ratio of neighbours
// much less.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZOHadoopIO.h"
#include "zojni.h"
#include "zowlp.h"

namespace bench {

inline void check(bool ok, const std::string& what) {
  if (ok) return;
  std::fprintf(stderr, "bench: %s\n", what.c_str());
  std::exit(1);
}

inline double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// CPU time of the calling thread: on a remote file system, what a call costs
// the caller as work, apart from the time it waits for the server.
inline double threadCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9;
}

// What a figure is held to: a least throughput ratio, a most cost ratio, or a
// most absolute extra time per unit over the reference (µs).
struct Goal {
  enum Kind { kNone, kAtLeast, kAtMost, kExtraMicros, kLibraryAtMost } kind = kNone;
  double value = 0;
  std::string text() const {
    char out[48];
    switch (kind) {
      case kAtLeast: std::snprintf(out, sizeof out, ">= %.2f", value); break;
      case kAtMost: std::snprintf(out, sizeof out, "<= %.2fx", value); break;
      case kExtraMicros: std::snprintf(out, sizeof out, "<= +%.1f us", value); break;
      case kLibraryAtMost: std::snprintf(out, sizeof out, "<= %.0f", value); break;
      default: return "-";
    }
    return out;
  }
};
inline Goal atLeast(double v) { return {Goal::kAtLeast, v}; }
inline Goal atMost(double v) { return {Goal::kAtMost, v}; }
inline Goal extraMicros(double v) { return {Goal::kExtraMicros, v}; }
// The library's own figure, in the figure's unit.
inline Goal libraryAtMost(double v) { return {Goal::kLibraryAtMost, v}; }

struct Result {
  std::string table, figure, unit;
  std::string note;  // printed under its table
  // Medians of the rounds, in `unit`.
  double library = 0, reference = 0;
  // Throughput figures: library / reference throughput (higher is better).
  // Time figures: library time / reference time (lower is better).
  double ratio = 0, ratioMin = 0, ratioMax = 0;
  int rounds = 0;
  // Time figures: the median of the rounds' library minus reference time, and
  // the calling thread's CPU time per unit, each side's median (µs).
  double extraMicros = 0, cpuLibrary = 0, cpuReference = 0;
  Goal goal;

  bool met() const {
    switch (goal.kind) {
      case Goal::kAtLeast: return ratio >= goal.value;
      case Goal::kAtMost: return ratio <= goal.value;
      case Goal::kExtraMicros: return extraMicros <= goal.value;
      case Goal::kLibraryAtMost: return library <= goal.value;
      default: return true;
    }
  }
};

inline double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// Collects the figures of one run and prints them as tables and JSON lines.
class Report {
 public:
  explicit Report(std::string program) : program_(std::move(program)) {}

  // Times `rounds` alternating rounds after one warm round of each. `units`
  // is the work of one round: MiB for a throughput, calls or entries else
  // (reported in µs each).
  Result& measure(const std::string& table, const std::string& figure, bool throughput,
                  double units, int rounds, Goal goal, const std::function<void()>& library,
                  const std::function<void()>& reference) {
    library();
    reference();
    std::vector<double> lib, ref, ratio, extra, cpuLib, cpuRef;
    auto timed = [&](const std::function<void()>& work, double* seconds, std::vector<double>* cpu) {
      const double cpuStart = threadCpuSeconds();
      *seconds = secondsOf(work);
      cpu->push_back((threadCpuSeconds() - cpuStart) / units * 1e6);
    };
    for (int r = 0; r < rounds; ++r) {
      double l, f;
      if (r % 2 == 0) {
        timed(library, &l, &cpuLib);
        timed(reference, &f, &cpuRef);
      } else {
        timed(reference, &f, &cpuRef);
        timed(library, &l, &cpuLib);
      }
      lib.push_back(throughput ? units / l : l / units * 1e6);
      ref.push_back(throughput ? units / f : f / units * 1e6);
      ratio.push_back(throughput ? f / l : l / f);
      extra.push_back((l - f) / units * 1e6);
    }
    Result result = fromRounds(table, figure, throughput ? "MiB/s" : "us", lib, ref, ratio, goal);
    if (!throughput) {
      result.extraMicros = median(extra);
      result.cpuLibrary = median(cpuLib);
      result.cpuReference = median(cpuRef);
    }
    return add(result);
  }

  // A figure from its rounds: each side's figure and the ratio, round by round.
  static Result fromRounds(const std::string& table, const std::string& figure,
                           const std::string& unit, const std::vector<double>& lib,
                           const std::vector<double>& ref, const std::vector<double>& ratio,
                           Goal goal) {
    Result result;
    result.table = table;
    result.figure = figure;
    result.unit = unit;
    result.library = median(lib);
    result.reference = median(ref);
    result.ratio = median(ratio);
    result.ratioMin = *std::min_element(ratio.begin(), ratio.end());
    result.ratioMax = *std::max_element(ratio.begin(), ratio.end());
    result.rounds = static_cast<int>(ratio.size());
    result.goal = goal;
    return result;
  }

  // A figure measured some other way (separate processes, instruction counts).
  // Each row also goes to standard error at once, as progress.
  Result& add(const Result& result) {
    results_.push_back(result);
    printRow(stderr, results_.back());
    return results_.back();
  }

  // Every figure again, grouped by table, then one JSON line per figure.
  void printAll() const {
    std::string table, notes;
    for (const Result& r : results_) {
      if (r.table != table) {
        if (!notes.empty()) std::printf("\n%s", notes.c_str());
        notes.clear();
        table = r.table;
        std::printf("\n%s\n", table.c_str());
        header();
      }
      printRow(stdout, r);
      if (!r.note.empty()) notes += "- " + r.figure + ": " + r.note + "\n";
      if (r.goal.kind == Goal::kExtraMicros) {
        char extra[96];
        std::snprintf(extra, sizeof extra, "library minus reference, median of the rounds: %+.2f us",
                      r.extraMicros);
        notes += "- " + r.figure + ": " + extra + "\n";
      }
      if (r.cpuLibrary > 0) {
        char cpu[160];
        std::snprintf(cpu, sizeof cpu,
                      "the calling thread's CPU time: library %.2f us, reference %.2f us (%+.2f)",
                      r.cpuLibrary, r.cpuReference, r.cpuLibrary - r.cpuReference);
        notes += "- " + r.figure + ": " + cpu + "\n";
      }
    }
    if (!notes.empty()) std::printf("\n%s", notes.c_str());
    std::printf("\n");
    for (const Result& r : results_) {
      std::printf(
          "{\"program\":\"%s\",\"table\":\"%s\",\"figure\":\"%s\",\"unit\":\"%s\","
          "\"library\":%.3f,\"reference\":%.3f,\"ratio\":%.4f,\"ratio_min\":%.4f,"
          "\"ratio_max\":%.4f,\"rounds\":%d,\"extra_us\":%s,\"goal\":\"%s\",\"met\":%s,\"note\":\"%s\"}\n",
          program_.c_str(), r.table.c_str(), r.figure.c_str(), r.unit.c_str(), r.library,
          r.reference, r.ratio, r.ratioMin, r.ratioMax, r.rounds,
          r.unit == "us" ? std::to_string(r.extraMicros).c_str() : "null", r.goal.text().c_str(),
          r.goal.kind == Goal::kNone ? "null" : r.met() ? "true" : "false", r.note.c_str());
    }
    std::fflush(stdout);
  }

  static void header() {
    std::printf("| %-50s | %12s | %12s | %-6s | %-27s | %-12s | met |\n", "figure", "library",
                "reference", "unit", "ratio median (min..max)", "goal");
    std::printf("|%s|%s|%s|%s|%s|%s|-----|\n", std::string(52, '-').c_str(),
                std::string(14, '-').c_str(), std::string(14, '-').c_str(),
                std::string(8, '-').c_str(), std::string(29, '-').c_str(),
                std::string(14, '-').c_str());
  }

 private:
  static void printRow(FILE* out, const Result& r) {
    char ratio[64];
    std::snprintf(ratio, sizeof ratio, "%.2f (%.2f..%.2f)", r.ratio, r.ratioMin, r.ratioMax);
    std::fprintf(out, "| %-50s | %12.2f | %12.2f | %-6s | %-27s | %-12s | %-3s |\n",
                 r.figure.c_str(), r.library, r.reference, r.unit.c_str(), ratio,
                 r.goal.text().c_str(), r.goal.kind == Goal::kNone ? "-" : r.met() ? "yes" : "no");
    std::fflush(out);
  }

  std::string program_;
  std::deque<Result> results_;  // references handed out stay valid
};

// 100000 as "100,000".
inline std::string thousands(long n) {
  std::string digits = std::to_string(n);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(at, ",");
  return digits;
}

// ---- The library's objects -----------------------------------------------------

struct RawIODeleter {
  void operator()(ZobIORaw* io) const { io->release(); }
};
using RawIO = std::unique_ptr<ZobIORaw, RawIODeleter>;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

// `uri` with one more URI item.
inline std::string withItem(const std::string& uri, const std::string& item) {
  return uri + (uri.find('?') == std::string::npos ? "?" : "&") + item;
}

// The URI without its items, as Hadoop's own client takes it.
inline std::string plainUri(const std::string& uri) { return uri.substr(0, uri.find('?')); }

// An open stream through the library with the given buffer size.
class Stream {
 public:
  Stream(const std::string& uri, int bufferSize, ZobTxtFileOpenMode mode)
      : uri_(getURIFromURIString(
            ZobString(withItem(uri, "buffer-size=" + std::to_string(bufferSize)).c_str()))) {
    check(uri_ != nullptr, "not a URI: " + uri);
    ZobString err;
    io_.reset(createRawIO(uri_.get(), &err));
    check(io_ != nullptr, "createRawIO: " + err.str());
    int size = bufferSize;
    check(io_->open(mode, 0, &size, nullptr), "open " + uri + ": " + io_->getErrorMessage().str());
  }
  ZobIORaw* operator->() { return io_.get(); }

  // Reads to the end in `chunk`-byte asks; the bytes read.
  long readAll(int chunk) {
    long total = 0;
    for (const char* data = nullptr;;) {
      const int n = io_->getBytes(&data, 1, chunk);
      check(n >= 0, "getBytes: " + io_->getErrorMessage().str());
      if (n == 0) return total;
      total += n;
    }
  }

  void writeAll(const std::vector<char>& block, long bytes) {
    const int chunk = static_cast<int>(block.size());
    for (long at = 0; at < bytes; at += chunk)
      check(io_->putBytes(block.data(), chunk) == chunk, "putBytes: " + io_->getErrorMessage().str());
    check(io_->close(), "close: " + io_->getErrorMessage().str());
  }

 private:
  Uri uri_;
  RawIO io_;
};

// Walks `uri` with createDirectoryListing; the entries seen.
inline long walk(const std::string& uri) {
  Uri dir(getURIFromURIString(ZobString(uri.c_str())));
  ZobString err;
  ZobDirectoryListing* listing = createDirectoryListing(nullptr, dir.get(), 0, &err);
  check(listing != nullptr, "createDirectoryListing: " + err.str());
  long n = 0;
  while (listing->next()) n += listing->getSize() >= 0;
  listing->release();
  return n;
}

// A block of recognisable bytes for writes.
inline std::vector<char> pattern(size_t size) {
  std::vector<char> block(size);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + 7);
  return block;
}

// The reference's read buffer, page-aligned: read(2) into the 16-byte-aligned
// memory that malloc gives a large vector copied 2 to 4 times slower on the
// development machine, which would flatter the library.
class PageBuffer {
 public:
  explicit PageBuffer(size_t size)
      : size_(size), data_(static_cast<char*>(std::aligned_alloc(4096, (size + 4095) / 4096 * 4096))) {
    check(data_ != nullptr, "out of memory");
    std::memset(data_, 0, size_);
  }
  ~PageBuffer() { std::free(data_); }
  PageBuffer(const PageBuffer&) = delete;
  PageBuffer& operator=(const PageBuffer&) = delete;
  char* data() { return data_; }
  size_t size() const { return size_; }

 private:
  size_t size_;
  char* data_;
};

inline long readFd(const std::string& path, PageBuffer* buffer) {
  const int fd = ::open(path.c_str(), O_RDONLY);
  check(fd >= 0, "open " + path);
  long total = 0;
  for (ssize_t n; (n = ::read(fd, buffer->data(), buffer->size())) > 0;) total += n;
  ::close(fd);
  return total;
}

inline void makeLocalFile(const std::string& path, long bytes) {
  const std::vector<char> block = pattern(1 << 20);
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  check(fd >= 0, "cannot create " + path);
  for (long at = 0; at < bytes; at += static_cast<long>(block.size())) {
    const size_t n = std::min<long>(static_cast<long>(block.size()), bytes - at);
    check(::write(fd, block.data(), n) == static_cast<ssize_t>(n), "write " + path);
  }
  ::close(fd);
}

// ---- Hadoop's own Java client, hosted in the library's JVM ------------------------

// A small proxy of the benchmarks' own, created through the bridge operations
// every program links, with its class loader beneath the loader of the Hadoop
// proxy directory: it runs on the very Hadoop classes the library uses.
class JavaReference {
 public:
  JavaReference() {
    // The library's own directory and main class: the loader the bridge keeps
    // for that directory is the one the library's proxy runs in.
    Options hadoopOptions("hadoop");
    Messages messages;
    check(zojniProxyCreate("zox-proxy-hadoop.jar", "HadoopClient",
                           "com.zorvanta.proxy.hadoop.HadoopClientJPC", &hadoopOptions.record,
                           &messages.record, &base_) == ZOJNI_OK,
          "the Hadoop proxy could not be created: " + messages.errors);
    Options benchOptions(ZOH_BENCH_PROXY_DIR);
    check(zojniProxyCreateFromProxy(base_, "zox-bench.jar", kName, "com.zorvanta.bench.JavaClientJPC",
                                    &benchOptions.record, &messages.record, &proxy_) == ZOJNI_OK,
          "the Java client reference could not be created: " + messages.errors);
  }
  ~JavaReference() {
    zojniProxyDestroy(proxy_);
    zojniProxyDestroy(base_);
  }
  JavaReference(const JavaReference&) = delete;
  JavaReference& operator=(const JavaReference&) = delete;

  struct Arg {
    Arg(const std::string& s) : text(s), isText(true) {}  // NOLINT: call sites read better
    Arg(const char* s) : text(s), isText(true) {}         // NOLINT
    Arg(int n) : number(n) {}                             // NOLINT
    std::string text;
    int number = 0;
    bool isText = false;
  };

  // Runs `method`; its one output (an int, a long or a bool) as a long, or 0
  // for a method without outputs (`signature` empty).
  long call(const char* method, const char* signature, std::vector<Arg> args) {
    std::vector<zowlpParameter> params(args.size());
    for (size_t i = 0; i < args.size(); ++i) {
      zowlpParameter& p = params[i];
      std::memset(&p, 0, sizeof p);
      p.present = 1;
      if (args[i].isText) {
        p.type = WLP_TYPE_STRING;
        p.value.string = args[i].text.c_str();
        p.length = static_cast<int32_t>(args[i].text.size());
      } else {
        p.type = WLP_TYPE_INT;
        p.value.integer = args[i].number;
      }
    }
    zowlpResponse* response = nullptr;
    const int status = zojniProxyCall(proxy_, nullptr, kName, method, signature,
                                      static_cast<int>(params.size()), params.data(), &response);
    std::string why;
    if (status == ZOJNI_ERR_JAVA && response != nullptr) {
      char* text = nullptr;
      int length = 0;
      if (zowlpError_text(response, &text, &length) == WLP_OK && text) why.assign(text, length);
    }
    long answer = 0;
    if (status == ZOJNI_OK && response != nullptr) {
      int count = 0;
      zowlpParameter* out = nullptr;
      if (zowlpResponse_parameters(response, &count, &out) == WLP_OK && count > 0) {
        answer = out[0].type == WLP_TYPE_OBJECT ? static_cast<long>(out[0].value.object)
                 : out[0].type == WLP_TYPE_BOOL ? out[0].value.boolean
                                                : out[0].value.integer;
      }
    }
    if (response != nullptr) zowlpResponse_destroy(response);
    check(status == ZOJNI_OK, std::string("Java client reference, ") + method + ": status " +
                                  std::to_string(status) + " " + why);
    return answer;
  }

 private:
  static constexpr const char* kName = "JavaClientBench";

  // Answers the proxy directory once, as the library does; nothing else.
  struct Options {
    explicit Options(const char* directory) {
      record.callback = &answer;
      record.instance = this;
      record.proxyName = kName;
      record.directory = directory;
    }
    static int answer(ZoJniOptionRecord* r, const char* name, void*, char** value, int* length) {
      if (std::strcmp(name, "JAVA_PROXY/DIRECTORY") != 0 || r->directoryGiven) return 1;
      r->directoryGiven = 1;
      auto* self = static_cast<Options*>(r->instance);
      self->held = r->directory;
      *value = &self->held[0];
      *length = static_cast<int>(self->held.size());
      return 0;
    }
    ZoJniOptionRecord record{};
    std::string held;
  };
  struct Messages {
    Messages() {
      record.callback = &report;
      record.instance = this;
      record.errorText = &errorText;
    }
    static int report(ZoJniMessageRecord* r, int type, const char* text) {
      if (type >= 2) static_cast<Messages*>(r->instance)->errors += std::string(text) + "\n";
      return 0;
    }
    ZoJniMessageRecord record{};
    ZobString errorText;
    std::string errors;
  };

  zojniProxy* base_ = nullptr;
  zojniProxy* proxy_ = nullptr;
};

}  // namespace bench
