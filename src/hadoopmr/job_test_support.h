// Shared pieces of the MapReduce and Pig tests: an instance over a fresh scripted
// bridge, configurations with known Java handles, and recording caller objects.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "ZOHadoopCfg.h"
#include "hadoop_status.h"
#include "scripted_bridge.h"
#include "zohadoop/core_test_support.h"

using StringTable = std::vector<std::vector<std::optional<std::string>>>;

// Remembers the texts a run hands over, in order, as "start: ..." and "final: ...".
class RecordingText final : public HadoopTextStatus {
 public:
  void setFinalText(const ZobString& text) override {
    texts.push_back("final: " + text.str());
  }
  void setStartText(const ZobString& text) override {
    texts.push_back("start: " + text.str());
  }
  std::vector<std::string> texts;
};

// A poll status whose interval shows up in the bridge's record of a call.
class FixedPoll final : public HadoopPollStatus {
 public:
  int pollInterval() override { return 250; }
  bool poll(int64_t, int64_t, const char*) override { return true; }
};

class JobTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    hadoop_ = makeInstance();
  }
  void TearDown() override { hadoop_.reset(); }

  // A configuration whose Java object is `handle`.
  ZOHadoopCfg* makeConfiguration(int64_t handle) {
    bridge().answerNth("CreateConfig", bridge().callCount("CreateConfig") + 1,
                       ScriptedAnswer::outputs({ScriptedValue::ofObject(handle)}));
    ZobString err;
    ZOHadoopCfg* cfg = hadoop_->createConfiguration(&err);
    EXPECT_NE(cfg, nullptr) << err.str();
    return cfg;
  }

  static ScriptedAnswer textRows(const std::vector<std::string>& lines) {
    return ScriptedAnswer::outputs({rows(lines)});
  }
  static ScriptedValue rows(const std::vector<std::string>& lines) {
    StringTable table;
    for (const std::string& line : lines) table.push_back({line});
    return ScriptedValue::ofStringRows(table, 1);
  }
  // The answer of a wait call: the success flag and the job's text lines.
  static ScriptedAnswer waitAnswer(bool success, const std::vector<std::string>& lines) {
    return ScriptedAnswer::outputs({ScriptedValue::ofBool(success), rows(lines)});
  }

  InstanceOwner hadoop_;
};
