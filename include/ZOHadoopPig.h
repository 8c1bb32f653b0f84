// Pig command runs.
#pragma once

#include "hadoop_status.h"
#include "zob_options.h"
#include "zob_string.h"

class ZOHadoopPig {
 public:
  // Forgets jars and parameters and releases the last run on the Java side.
  virtual void clear() = 0;
  virtual bool registerJar(const ZobString& jar, ZobString* err) = 0;
  virtual void release() = 0;
  // Runs the commands with the parameters (overridden by `options`, which may be
  // null) and jars, and waits for their end.
  virtual bool runCommands(HadoopPollStatus* poll, HadoopTextStatus* text,
                           const ZobString& commands, ZobConfigOptions* options,
                           ZobString* err) = 0;
  virtual bool setParameter(const ZobString& name, const ZobString& value,
                            ZobString* err) = 0;
  virtual bool stop(HadoopPollStatus* poll, ZobString* err) = 0;
};
