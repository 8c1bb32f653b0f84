#include "zo_logger.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "catalogue_render.h"
#include "zob_catalogue.h"
#include "zob_date.h"
#include "zob_string.h"

namespace {

constexpr int kNoOwnLevel = -1;

const char* const kLevelNames[] = {"trace", "debug",  "info", "warning",
                                   "notice", "error", "fatal"};
const char* const kLevelTags[] = {"TRACE", "DEBUG", "INFO", "WARN",
                                  "NOTICE", "ERROR", "FATAL"};

int clampLevel(int level) { return level < 0 ? 0 : (level > 6 ? 6 : level); }

// ZO_LOG_LEVEL as a number 0-6 or a level name in any case; anything else keeps
// the default rather than silencing or flooding the log.
int levelFromEnvironment() {
  const char* text = std::getenv("ZO_LOG_LEVEL");
  if (text == nullptr || *text == '\0') return ZOLOG_WARNING;
  ZobString value(text);
  value.trim(true, true);
  bool failed = true;
  int number = value.asInt(&failed);
  if (!failed) return (number >= 0 && number <= 6) ? number : ZOLOG_WARNING;
  for (int i = 0; i <= 6; ++i) {
    if (value.compare(ZobString(kLevelNames[i]), false) == 0) return i;
  }
  if (value.compare(ZobString("warn"), false) == 0) return ZOLOG_WARNING;
  return ZOLOG_WARNING;
}

class LoggerImpl;

// Everything the loggers share. Allocated once and never freed: loggers are
// handed out for the life of the process, and code that runs during static
// destruction may still log.
struct LogState {
  std::atomic<int> threshold{ZOLOG_WARNING};

  std::mutex registryMutex;
  std::map<std::string, std::unique_ptr<LoggerImpl>> loggers;

  std::mutex captureMutex;
  ZoLogCapture capture = nullptr;
  void* captureContext = nullptr;
  // Whether a hook is installed, read without the lock: a line that neither
  // the log nor a hook would see costs a few loads and a branch.
  std::atomic<bool> capturing{false};

  // Serialises output so that lines of concurrent threads never interleave.
  std::mutex outputMutex;
  FILE* logFile = nullptr;
};

LogState& state() {
  static LogState* shared = [] {
    LogState* s = new LogState;
    s->threshold.store(levelFromEnvironment());
    const char* path = std::getenv("ZO_LOG_FILE");
    if (path != nullptr && *path != '\0') {
      s->logFile = std::fopen(path, "a");
      if (s->logFile == nullptr) {
        std::fprintf(stderr, "ZO_LOG_FILE '%s' cannot be opened for appending: %s\n",
                     path, std::strerror(errno));
      }
    }
    return s;
  }();
  return *shared;
}

std::string timestampNow() {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  using std::chrono::system_clock;
  ZobDate now;
  now.setMillis(duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
  return now.toString().str();
}

void writeLine(const std::string& line) {
  LogState& s = state();
  std::lock_guard<std::mutex> hold(s.outputMutex);
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
  if (s.logFile != nullptr) {
    std::fwrite(line.data(), 1, line.size(), s.logFile);
    std::fflush(s.logFile);
  }
}

class LoggerImpl final : public ZoLogger_ {
 public:
  explicit LoggerImpl(std::string name) : name_(std::move(name)) {}

  const char* getName() const override { return name_.c_str(); }

  bool isEnabled(ZoLoggingLevel level) const override {
    return static_cast<int>(level) >= static_cast<int>(getLevel());
  }

  int logText(ZoLoggingLevel level, const char* file, int line,
              const char* text) override {
    deliver(level, file, line, text != nullptr ? text : "");
    return 0;
  }

  void setLevel(ZoLoggingLevel level) override { ownLevel_.store(clampLevel(level)); }

  int logFormatV(ZoLoggingLevel level, const char* file, int line, const char* format,
                 va_list args) override {
    if (!wanted(level)) return 0;
    ZobString text = zobStringFormatV(format != nullptr ? format : "", args);
    deliver(level, file, line, text.asCstr());
    return 0;
  }

  ZoLoggingLevel getLevel() const override {
    int own = ownLevel_.load();
    return static_cast<ZoLoggingLevel>(own != kNoOwnLevel ? own
                                                          : state().threshold.load());
  }

  int logMessageV(ZoLoggingLevel level, const char* file, int line, int id,
                  va_list args) override {
    if (!wanted(level)) return 0;
    ZobString text = zobRenderCatalogueMessage(ZOB_HADOOP_COMPONENT, id, args);
    deliver(level, file, line, text.asCstr());
    return 0;
  }

  void followThreshold() { ownLevel_.store(kNoOwnLevel); }

 private:
  // Rendering is skipped only when neither the log nor a capture hook would see
  // the event.
  bool wanted(ZoLoggingLevel level) const {
    const LogState& s = state();
    const int own = ownLevel_.load(std::memory_order_relaxed);
    const int limit = own != kNoOwnLevel ? own : s.threshold.load(std::memory_order_relaxed);
    return static_cast<int>(level) >= limit || s.capturing.load(std::memory_order_acquire);
  }

  void deliver(ZoLoggingLevel level, const char* file, int line, const char* text) {
    LogState& s = state();
    ZoLogCapture capture;
    void* context;
    {
      std::lock_guard<std::mutex> hold(s.captureMutex);
      capture = s.capture;
      context = s.captureContext;
    }
    // Called without any logger lock held, so a hook may itself log.
    if (capture != nullptr) capture(context, level, name_.c_str(), file, line, text);
    if (!isEnabled(level)) return;
    char head[64];
    std::snprintf(head, sizeof head, " %-5s ", kLevelTags[clampLevel(level)]);
    std::string out = timestampNow();
    out += head;
    out += name_;
    out += " [";
    out += file != nullptr ? file : "?";
    out += ':';
    out += std::to_string(line);
    out += "] ";
    out += text;
    out += '\n';
    writeLine(out);
  }

  const std::string name_;
  std::atomic<int> ownLevel_{kNoOwnLevel};
};

}  // namespace

int ZoLogger_::logEvent(ZoLoggingLevel level, const char* file, int line,
                        const char* format, ...) {
  va_list args;
  va_start(args, format);
  int result = logFormatV(level, file, line, format, args);
  va_end(args);
  return result;
}

int ZoLogger_::logEvent(ZoLoggingLevel level, const char* file, int line, int id, ...) {
  va_list args;
  va_start(args, id);
  int result = logMessageV(level, file, line, id, args);
  va_end(args);
  return result;
}

ZoLogger_* zologGetLogger(const char* name) {
  LogState& s = state();
  std::string key = name != nullptr ? name : "";
  std::lock_guard<std::mutex> hold(s.registryMutex);
  std::unique_ptr<LoggerImpl>& slot = s.loggers[key];
  if (!slot) slot.reset(new LoggerImpl(key));
  return slot.get();
}

void zologSetThreshold(ZoLoggingLevel level) {
  LogState& s = state();
  s.threshold.store(clampLevel(level));
  std::lock_guard<std::mutex> hold(s.registryMutex);
  for (auto& entry : s.loggers) entry.second->followThreshold();
}

void zologSetCapture(ZoLogCapture capture, void* context) {
  LogState& s = state();
  std::lock_guard<std::mutex> hold(s.captureMutex);
  s.capture = capture;
  s.captureContext = context;
  s.capturing.store(capture != nullptr, std::memory_order_release);
}
