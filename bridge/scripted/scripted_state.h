// The inside of the scripted bridge, shared by the files that implement it.
#pragma once

#include <string>

#include "scripted_bridge.h"

// The proxy handle the scripted bridge hands out.
struct zojniProxy {
  int id = 0;
  std::string proxyName;
};

struct ScriptedBridge::State {
  mutable std::mutex mutex;
  // Bumped by reset(): work that started before it must not write into the
  // fresh records.
  uint64_t generation = 0;

  std::vector<ScriptedCreation> creations;
  std::vector<ScriptedCall> calls;
  std::vector<ScriptedRowSetCreation> rowSets;
  std::vector<ScriptedDestruction> destructions;
  std::vector<std::string> log;  // eventLog()

  std::map<std::string, ScriptedAnswer> answers;
  std::map<std::pair<std::string, int>, ScriptedAnswer> nthAnswers;
  std::optional<ScriptedAnswer> unscripted;
  std::map<std::string, std::shared_ptr<ScriptedGate>> gates;

  std::optional<ScriptedCreateScript> createForAll;
  std::map<std::string, ScriptedCreateScript> createByName;
  std::map<std::pair<std::string, int>, ScriptedCreateScript> createNth;

  std::map<std::string, int> callCounts;
  std::map<std::string, int> createCounts;
  int rowSetCount = 0;
  std::set<int> failingRowSets;
  struct AddRowFailure {
    int nthRowSet;
    int rowIndex;
    int status;
  };
  std::vector<AddRowFailure> addRowFailures;

  // Over the whole process: proxies outlive reset().
  std::map<const zojniProxy*, std::unique_ptr<zojniProxy>> live;
  int nextProxyId = 1;

  int idOf(const zojniProxy* proxy) const {
    auto it = live.find(proxy);
    return it == live.end() ? 0 : it->second->id;
  }

  void clearRecordsAndScripts() {
    ++generation;
    creations.clear();
    calls.clear();
    rowSets.clear();
    destructions.clear();
    log.clear();
    answers.clear();
    nthAnswers.clear();
    unscripted.reset();
    gates.clear();
    createForAll.reset();
    createByName.clear();
    createNth.clear();
    callCounts.clear();
    createCounts.clear();
    rowSetCount = 0;
    failingRowSets.clear();
    addRowFailures.clear();
  }
};

// A copy of a text the library passed; "" for a null pointer.
inline std::string scripted_text(const char* text) {
  return text ? std::string(text) : std::string();
}
