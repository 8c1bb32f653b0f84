// The Hadoop client library: the instance and its factory.
//
// Objects are ended with release(); the interfaces declare no destructor.
// Every operation that can fail takes a ZobString* error argument last: on
// success it is put into the null state, on failure it holds the text.
#pragma once

#include "ZOHadoopExport.h"
#include "zob_string.h"
#include "zob_uri.h"

class ZOHadoopCfg;
class ZOHadoopHDFS;
class ZOHadoopMapReduce;
class ZOHadoopPig;

class ZOHadoop {
 public:
  virtual ZOHadoopCfg* createConfiguration(ZobString* err) = 0;
  // A configuration filled from the URI's resource files, key/values and user.
  virtual ZOHadoopCfg* createConfiguration(ZoHadoopURI* uri, ZobString* err) = 0;
  virtual ZOHadoopHDFS* createHDFS(ZOHadoopCfg* cfg, ZobString* err) = 0;
  virtual ZOHadoopMapReduce* createMapReduce(ZOHadoopCfg* cfg, ZobString* err) = 0;
  virtual ZOHadoopPig* createPig(ZOHadoopCfg* cfg, const ZobString& proxyDirectory,
                                 ZobString* err) = 0;
  // Ends the instance and every child still alive (files and directories must
  // be released before). Release the children first: an instance that never
  // came to hold its main Java proxy drops the children it still has without
  // ending them, so their Java objects (a Pig client's own proxy among them)
  // and memory stay behind.
  virtual void release() = 0;
  // Fails once the instance holds its Java proxy.
  virtual bool setProperty(const ZobString& name, const ZobString& value,
                           ZobString* err) = 0;
};

// The base of every child object of an instance.
class ZOHadoopObj {
 public:
  // Ends the object without touching its owner's registry.
  virtual void destroyMe() = 0;
};

// Makes an instance; null with the text in `err` on failure.
ZOHADOOP_API ZOHadoop* zoHadoopCreate(ZobString* err);

// Build identity.
extern "C" {
ZOHADOOP_API extern int zox_build_number;
ZOHADOOP_API extern const char* zox_build_info;
ZOHADOOP_API extern const char* zox_build_version;
}
