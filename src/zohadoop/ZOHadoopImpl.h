// The Hadoop instance: lock, main Java proxy, properties and the child
// registry. Children see it through the narrower ZohCalls.
#pragma once

#include <list>
#include <map>

#include "ZOHadoop.h"
#include "zob_lock.h"
#include "zob_string.h"
#include "zohadoop/hadoop_calls.h"

class ZOHadoopImpl : public ZOHadoop, public ZohCalls {
 public:
  ZOHadoopImpl();

  // ZOHadoop, in slot order.
  ZOHadoopCfg* createConfiguration(ZobString* err) override;
  ZOHadoopCfg* createConfiguration(ZoHadoopURI* uri, ZobString* err) override;
  ZOHadoopHDFS* createHDFS(ZOHadoopCfg* cfg, ZobString* err) override;
  ZOHadoopMapReduce* createMapReduce(ZOHadoopCfg* cfg, ZobString* err) override;
  ZOHadoopPig* createPig(ZOHadoopCfg* cfg, const ZobString& proxyDirectory,
                         ZobString* err) override;
  void release() override;
  bool setProperty(const ZobString& name, const ZobString& value,
                   ZobString* err) override;
  virtual ~ZOHadoopImpl();

  bool init(ZobString* err);
  bool getProperty(const ZobString& name, ZobString* value) override;
  void removeObject(ZOHadoopObj* child) override;
  // Enters a child at the front of the registry (newest first).
  void addObject(ZOHadoopObj* child);

  // Proxy acquisition.
  bool getProxy(const ZobString& directory, ZobString* err) override;
  zojniProxy* getProxy(bool fromProxy, const char* jar, const char* proxyName,
                       const char* className, const char* directory,
                       ZobString* err) override;
  bool saveOption(const ZobString& value, char** out, int* length);

 private:
  friend int HadoopOptCB(ZoJniOptionRecord*, const char*, void*, char**, int*);
  friend int HadoopMessageCB(ZoJniMessageRecord*, int, const char*);

  template <class Child, class... InitArgs>
  Child* makeChild(bool acquireProxy, ZobString* err, InitArgs&&... initArgs);

  ZoLockHandle lock_ = nullptr;
  char* optionBuffer_ = nullptr;
  int optionBufferSize_ = 0;
  std::map<ZobString, ZobString, ZobStringLessInsensitive> properties_;
  std::list<ZOHadoopObj*> children_;
};

// Callbacks handed to the bridge while it creates a proxy.
int HadoopOptCB(ZoJniOptionRecord* record, const char* optionName, void* bridgeContext,
                char** value, int* length);
int HadoopMessageCB(ZoJniMessageRecord* record, int messageType, const char* text);
