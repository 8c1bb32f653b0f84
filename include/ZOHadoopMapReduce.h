// MapReduce jobs.
#pragma once

#include "hadoop_status.h"
#include "zob_framework.h"
#include "zob_string.h"

class ZOHadoopMapReduce {
 public:
  virtual bool addInputPath(const ZobString& path, ZobString* err) = 0;
  virtual bool addJar(const ZobString& jar, ZobString* err) = 0;
  // The job properties that setProperty understands, with their descriptions.
  virtual ZobStringCursor* getPropertyList(ZobString* err) = 0;
  virtual void release() = 0;
  // Starts the job and waits for its end.
  virtual bool run(HadoopPollStatus* poll, HadoopTextStatus* text, bool deleteOutput,
                   ZobString* err) = 0;
  virtual bool setProperty(const ZobString& key, const ZobString& value,
                           ZobString* err) = 0;
  virtual bool stop(HadoopPollStatus* poll, ZobString* err) = 0;
};
