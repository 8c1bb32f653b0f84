// The Hadoop instance: lock, main Java proxy, properties, child registry and the
// one proxy-call path of every service.
#pragma once

#include <list>
#include <map>
#include <new>
#include <utility>

#include "ZOHadoop.h"
#include "hadoop_status.h"
#include "zo_logger.h"
#include "zob_catalogue.h"
#include "zob_lock.h"
#include "zob_string.h"
#include "zojni.h"
#include "zohadoop/messages.h"
#include "zohadoop/wire_records.h"
#include "zowlp.h"

class ZOHadoopImpl : public ZOHadoop {
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
  bool getProperty(const ZobString& name, ZobString* value);
  void removeObject(ZOHadoopObj* child);
  // Enters a child at the front of the registry (newest first).
  void addObject(ZOHadoopObj* child);

  // The child-factory pattern shared by createConfiguration, createHDFS,
  // createMapReduce and createPig: acquire the main proxy when asked, allocate
  // without throwing, init(initArgs..., err), and register at the front. A child
  // whose init fails is deleted and never registered.
  template <class Child, class... InitArgs>
  Child* makeChild(bool acquireProxy, ZobString* err, InitArgs&&... initArgs) {
    if (acquireProxy && !getProxy(proxyDirectory_, err)) return nullptr;
    Child* child = new (std::nothrow) Child(this);
    if (child == nullptr) {
      if (err) *err = ZOH_MESSAGE("src/zohadoop", 444);
      return nullptr;
    }
    if (!child->init(std::forward<InitArgs>(initArgs)..., err)) {
      delete child;
      return nullptr;
    }
    addObject(child);
    if (err) err->setNull(false);
    return child;
  }

  // Proxy acquisition.
  bool getProxy(const ZobString& directory, ZobString* err);
  zojniProxy* getProxy(bool fromProxy, const char* jar, const char* proxyName,
                       const char* className, const char* directory, ZobString* err);
  bool saveOption(const ZobString& value, char** out, int* length);

  // The call path.
  bool callWrapper(zojniProxy* proxy, HadoopPollStatus* poll, const char* proxyName,
                   const char* method, const char* signature, int count,
                   zowlpParameter* params, zowlpResponse** response, ZobString* err);
  bool callWrapper(HadoopPollStatus* poll, const char* proxyName, const char* method,
                   const char* signature, int count, zowlpParameter* params,
                   zowlpResponse** response, ZobString* err);
  // callWrapper, then the outputs checked against `signature`; a response
  // that cannot be read or does not fit becomes `unreadable`'s text. `proxy`
  // null calls through the main proxy.
  bool callOutputs(zojniProxy* proxy, HadoopPollStatus* poll, const char* proxyName,
                   const char* method, const char* signature, int count,
                   zowlpParameter* params, ZohResponse* response, zowlpParameter** outputs,
                   const ZohUnreadable& unreadable, ZobString* err);
  // A call whose one input is a Java object handle and which reads no output.
  bool callOnObject(zojniProxy* proxy, HadoopPollStatus* poll, const char* proxyName,
                    const char* method, int64_t handle, ZobString* err);
  // The same from a destructor: nobody is left to hear of a failure, so it is
  // logged as a warning of the caller's (`tag`, `line`).
  void releaseObject(zojniProxy* proxy, const char* proxyName, const char* method,
                     int64_t handle, ZoLogger_* logger, const char* tag, int line);
  // Makes a Java object on the main proxy from a configuration's Java object
  // (`cfgObject`; sent as null when `hasCfg` is false) and answers its handle.
  bool createObject(const char* method, bool hasCfg, int64_t cfgObject, int64_t* handle,
                    const ZohUnreadable& unreadable, ZobString* err);
  void buildError(const char* method, int status, zowlpResponse** response,
                  ZobString* err);
  zowlpRowSet* createRowSet(const char* columnTypes, ZobString* err);
  // The first column of every row joined by "\n". A row set whose first column
  // is not text is refused (message 1354) rather than read as text.
  bool buildText(const zowlpRowSet* rows, ZobString* text, ZobString* err);

  // Read access for tests and for the Pig client.
  zojniProxy* mainProxy() const { return proxy_; }
  const ZobString& proxyDirectory() const { return proxyDirectory_; }
  ZoLogger_* logger() const { return logger_; }

 private:
  friend int HadoopOptCB(ZoJniOptionRecord*, const char*, void*, char**, int*);
  friend int HadoopMessageCB(ZoJniMessageRecord*, int, const char*);

  ZoLockHandle lock_ = nullptr;
  zojniProxy* proxy_ = nullptr;
  ZobString proxyDirectory_{""};
  char* optionBuffer_ = nullptr;
  int optionBufferSize_ = 0;
  std::map<ZobString, ZobString, ZobStringLessInsensitive> properties_;
  std::list<ZOHadoopObj*> children_;
  ZoLogger_* logger_ = nullptr;
};

// Callbacks handed to the bridge.
int HadoopOptCB(ZoJniOptionRecord* record, const char* optionName, void* bridgeContext,
                char** value, int* length);
int HadoopMessageCB(ZoJniMessageRecord* record, int messageType, const char* text);
int HadoopPollCBStatus(ZoJniPollRecord* record, int64_t done, int64_t total,
                       const char* phase);
