// A Hadoop configuration held on the Java side.
#pragma once

#include "zob_string.h"

class ZOHadoopCfg {
 public:
  virtual bool addResourceFile(const ZobString& file, ZobString* err) = 0;
  virtual bool addResourceFiles(int count, const ZobString* files, ZobString* err) = 0;
  virtual void release() = 0;
  virtual bool setKeyValue(const ZobString& key, const ZobString& value,
                           ZobString* err) = 0;
  virtual bool setKeyValues(int count, const ZobString* keys, const ZobString* values,
                            ZobString* err) = 0;
  // An empty password is sent as none.
  virtual bool setUserPass(const ZobString& user, const ZobString& password,
                           ZobString* err) = 0;
};
