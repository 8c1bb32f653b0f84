// Shared pieces of the instance and configuration tests: a fresh scripted
// bridge per test, captured log lines and an instance that is always released.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "scripted_bridge.h"
#include "zo_logger.h"
#include "zohadoop/ZOHadoopImpl.h"
#include "zowlp.h"

struct CapturedLine {
  int level;
  std::string logger;
  std::string file;
  std::string text;
};

// Every log event while alive, whatever the threshold.
class LogCapture {
 public:
  LogCapture() { zologSetCapture(&LogCapture::record, this); }
  ~LogCapture() { zologSetCapture(nullptr, nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<CapturedLine> lines() const {
    std::lock_guard<std::mutex> hold(mutex_);
    return lines_;
  }
  // The lines of one logger as "<level> <text>".
  std::vector<std::string> of(const std::string& logger) const {
    std::vector<std::string> out;
    for (const CapturedLine& line : lines()) {
      if (line.logger == logger) out.push_back(std::to_string(line.level) + " " + line.text);
    }
    return out;
  }
  void clear() {
    std::lock_guard<std::mutex> hold(mutex_);
    lines_.clear();
  }

 private:
  static void record(void* context, ZoLoggingLevel level, const char* logger,
                     const char* file, int /*line*/, const char* text) {
    auto* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> hold(self->mutex_);
    self->lines_.push_back({static_cast<int>(level), logger ? logger : "",
                            file ? file : "", text ? text : ""});
  }

  mutable std::mutex mutex_;
  std::vector<CapturedLine> lines_;
};

struct InstanceReleaser {
  void operator()(ZOHadoopImpl* instance) const {
    if (instance) instance->release();
  }
};
using InstanceOwner = std::unique_ptr<ZOHadoopImpl, InstanceReleaser>;

// A fresh bridge script, a log capture, and wire objects counted so that a test
// can tell that every response and row set it caused was destroyed.
class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge().reset();
    liveWireObjects_ = zowlpTestLiveObjects();
  }

  static ScriptedBridge& bridge() { return ScriptedBridge::instance(); }

  static InstanceOwner makeInstance() {
    ZobString err("not cleared");
    ZOHadoop* made = zoHadoopCreate(&err);
    EXPECT_NE(made, nullptr);
    EXPECT_TRUE(err.isNull());
    return InstanceOwner(static_cast<ZOHadoopImpl*>(made));
  }

  int wireObjectsLeft() const { return zowlpTestLiveObjects() - liveWireObjects_; }

  LogCapture log_;

 private:
  int liveWireObjects_ = 0;
};

// True when `text` is catalogue message `id` of this library.
inline bool isMessage(const ZobString& text, int id) {
  const std::string prefix = "[Hadoop Client " + std::to_string(id) + "]";
  return text.str().compare(0, prefix.size(), prefix) == 0;
}
