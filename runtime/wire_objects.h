// The objects behind the opaque row-set and response handles, shared by the two
// files that implement them.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "zowlp.h"

#ifdef ZOH_TEST_HOOKS
#include <atomic>
#endif

namespace zowlp {

#ifdef ZOH_TEST_HOOKS
// Row sets and responses alive in the process, so that tests can detect leaks.
inline std::atomic<int> g_liveObjects{0};
struct LiveCount {
  LiveCount() { g_liveObjects.fetch_add(1, std::memory_order_relaxed); }
  LiveCount(const LiveCount&) = delete;
  LiveCount& operator=(const LiveCount&) = delete;
  ~LiveCount() { g_liveObjects.fetch_sub(1, std::memory_order_relaxed); }
};
// A status that an operation returns instead of working, once it reaches `at`.
struct InjectedFailure {
  long at = -1;
  int status = 0;
  int statusAt(size_t index) const {
    return at >= 0 && index == static_cast<size_t>(at) ? status : WLP_OK;
  }
};
#else
// Shipped builds count nothing and inject nothing: the checks fold away.
struct LiveCount {};
struct InjectedFailure {
  constexpr int statusAt(size_t) const { return WLP_OK; }
};
#endif

// A valid list of codes, or false. Row sets pass allowRowSet false: a row set
// nested in a row would have no owner that could ever destroy it.
bool isValidTypeList(const char* codes, bool allowRowSet);

inline zowlpParameter nullRecord(int type) {
  zowlpParameter record;
  std::memset(&record, 0, sizeof record);
  record.type = type;
  return record;
}

// A heap copy of `length` bytes, plus a NUL so that a copied text stays a C
// string; null when out of memory.
std::unique_ptr<char[]> copyBuffer(const void* data, int length);

// The records of one row live in one heap array that never moves, so that the
// pointers handed out by nextRow and rowAt stay valid while the row set grows.
struct Row {
  std::unique_ptr<zowlpParameter[]> records;
  std::vector<std::unique_ptr<char[]>> buffers;
};

// One output of a response and what the response owns behind it.
struct Output {
  std::unique_ptr<char[]> buffer;
  void* adopted = nullptr;
  void (*release)(void*) = nullptr;
  zowlpRowSet* rowSet = nullptr;
};

}  // namespace zowlp

struct zowlpRowSet {
  zowlp::LiveCount live;
  std::string columns;
  std::vector<std::unique_ptr<zowlp::Row>> rows;
  // Reading is logically const for the owner of the row set, but moves the cursor.
  mutable size_t cursor = 0;
  zowlp::InjectedFailure failNext;
  zowlp::InjectedFailure failAdd;
};

struct zowlpResponse {
  zowlp::LiveCount live;
  std::vector<zowlpParameter> records;
  std::vector<zowlp::Output> outputs;
  bool hasError = false;
  int errorCode = 0;
  std::string errorText;
  zowlp::InjectedFailure failParameters;

  ~zowlpResponse() {
    for (size_t i = 0; i < outputs.size(); ++i) dropOutput(i);
  }
  // Frees what the response holds behind output `index`.
  void dropOutput(size_t index);
};
