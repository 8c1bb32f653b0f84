// A Java side that says yes to everything: each call answers outputs of its own
// signature, so any public operation runs its whole path through the library.
// Shared by the fault sweep and the thread stress program.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "scripted_bridge.h"

namespace zohsweep {

// The stats rows of one entry, as the listing and the opening of a file carry them.
inline void appendEntry(std::vector<std::vector<std::optional<std::string>>>* rows,
                        const std::string& name) {
  rows->push_back({std::nullopt, name});
  rows->push_back({"Size", "5"});
  rows->push_back({"Permissions", "420"});
  rows->push_back({"ModDate", "2026-11-22T08:15:30.250Z"});
}

inline ScriptedValue rowsFor(const std::string& method) {
  std::vector<std::vector<std::optional<std::string>>> rows;
  if (method == "HDFSOpenFile" || method == "HDFSListDir") {
    appendEntry(&rows, "a.txt");
    if (method == "HDFSListDir") appendEntry(&rows, "b.txt");
    return ScriptedValue::ofStringRows(rows, 2);
  }
  rows = {{"first line"}, {"second line"}};
  return ScriptedValue::ofStringRows(rows, 1);
}

// The outputs a healthy Java side gives `method` for `signature`; object handles
// are fresh for every answer, as the Java side's own would be.
inline std::vector<ScriptedValue> healthyOutputs(const std::string& method,
                                                 const std::string& signature) {
  static std::atomic<int64_t> nextHandle{1000};
  std::vector<ScriptedValue> out;
  for (char code : signature) {
    switch (code) {
      case WLP_TYPE_OBJECT: out.push_back(ScriptedValue::ofObject(nextHandle++)); break;
      case WLP_TYPE_BOOL: out.push_back(ScriptedValue::ofBool(true)); break;
      case WLP_TYPE_BYTES: out.push_back(ScriptedValue::ofBytes("sweep")); break;
      case WLP_TYPE_INT: out.push_back(ScriptedValue::ofInt(1)); break;
      case WLP_TYPE_STRING: out.push_back(ScriptedValue::ofString("s")); break;
      case WLP_TYPE_ROWSET: out.push_back(rowsFor(method)); break;
      default: out.push_back(ScriptedValue::none()); break;
    }
  }
  return out;
}

inline ScriptedAnswer healthyAnswer(ScriptedCallContext& call) {
  return ScriptedAnswer::outputs(healthyOutputs(call.call().method, call.call().signature));
}

}  // namespace zohsweep
