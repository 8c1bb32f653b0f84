// Shared pieces of the MapReduce and Pig tests: text rows and a text sink that
// records what it is handed.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

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

class JobTest : public LibraryTest {
 protected:
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
};
