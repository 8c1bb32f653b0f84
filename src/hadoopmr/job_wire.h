// Owners of the wire objects that a MapReduce job or a Pig run holds across its
// proxy calls, and the end of a started run that both share.
#pragma once

#include <cstdint>
#include <memory>

#include "hadoop_status.h"
#include "zob_string.h"
#include "zojni.h"
#include "zowlp.h"

class ZOHadoopImpl;

using JobRowSetPtr = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;

// The response slot of one proxy call. Whatever lands in it is destroyed when
// the slot is reused or goes out of scope, so no return path leaks a response.
class JobResponse {
 public:
  JobResponse() = default;
  JobResponse(const JobResponse&) = delete;
  JobResponse& operator=(const JobResponse&) = delete;
  ~JobResponse() { reset(); }

  // Where the next call writes its response.
  zowlpResponse** slot() {
    reset();
    return &response_;
  }
  bool held() const { return response_ != nullptr; }
  void reset() {
    if (response_ != nullptr) zowlpResponse_destroy(response_);
    response_ = nullptr;
  }
  // The output records in signature order; null when there is no response or
  // its records cannot be read.
  zowlpParameter* outputs() {
    if (response_ == nullptr) return nullptr;
    int count = 0;
    zowlpParameter* records = nullptr;
    if (zowlpResponse_parameters(response_, &count, &records) != 0) return nullptr;
    return records;
  }

 private:
  zowlpResponse* response_ = nullptr;
};

// Appends one text row to a row set: `first` always present, `second` (when the
// row set has two columns) present only when it has text, since the Java side
// reads an empty value and a missing one alike. Returns the status of
// zowlpRowSet_addRow.
int jobAddTextRow(zowlpRowSet* rows, const ZobString& first);
int jobAddTextRow(zowlpRowSet* rows, const ZobString& first, const ZobString& second);

// Waits for a started job or run (`method` with the handle alone) and hands its
// text on: to the sink's setFinalText when the job succeeded, into `err` when it
// did not. `proxy` null calls through the instance's main proxy. A wait that
// answers nothing readable counts as success.
bool jobAwaitEnd(ZOHadoopImpl* owner, zojniProxy* proxy, HadoopPollStatus* poll,
                 const char* proxyName, const char* method, const char* signature,
                 int64_t handle, HadoopTextStatus* text, ZobString* err);
