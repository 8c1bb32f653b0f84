// Caller objects that travel with long operations.
#pragma once

#include <cstdint>

#include "zob_string.h"

// Progress and cancellation of one proxy call. The bridge asks pollInterval()
// once per call and then calls poll() on the calling thread about that often
// while the Java method runs.
class HadoopPollStatus {
 public:
  // Milliseconds wanted between polls; 0 or less: the bridge's default (100 ms).
  virtual int pollInterval() = 0;
  // `done` and `total` count the method's units of work (bytes, tasks; -1 when
  // unknown); `phase` names what runs (may be null). False asks the Java side to
  // stop: the method then ends as soon as it can with a Java error.
  virtual bool poll(int64_t done, int64_t total, const char* phase) = 0;

 protected:
  ~HadoopPollStatus() = default;
};

// Text sink of a job or command run.
class HadoopTextStatus {
 public:
  virtual void setFinalText(const ZobString& text) = 0;
  virtual void setStartText(const ZobString& text) = 0;

 protected:
  ~HadoopTextStatus() = default;
};
