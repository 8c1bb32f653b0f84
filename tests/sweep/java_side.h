// A Java side that says yes to everything: each call answers outputs of its own
// signature, so any public operation runs its whole path through the library.
// Shared by the fault sweep and the thread stress program.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "scripted_bridge.h"

namespace zohsweep {

// Stats rows (of one entry; of two for a listing) or lines of text.
inline ScriptedValue rowsFor(const std::string& method) {
  if (method != "HDFSOpenFile" && method != "HDFSListDir") {
    return ScriptedValue::ofStringRows({{"first line"}, {"second line"}}, 1);
  }
  std::vector<std::vector<std::optional<std::string>>> rows;
  for (const char* name : {"a.txt", "b.txt"}) {
    rows.insert(rows.end(), {{std::nullopt, name}, {"Size", "5"}, {"Permissions", "420"},
                             {"ModDate", "2026-11-22T08:15:30.250Z"}});
    if (method == "HDFSOpenFile") break;
  }
  return ScriptedValue::ofStringRows(rows, 2);
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
      default: out.push_back(ScriptedValue::ofNull(code)); break;
    }
  }
  return out;
}

inline ScriptedAnswer healthyAnswer(ScriptedCallContext& call) {
  return ScriptedAnswer::outputs(healthyOutputs(call.call().method, call.call().signature));
}

}  // namespace zohsweep
