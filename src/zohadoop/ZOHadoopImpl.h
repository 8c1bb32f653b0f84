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
#include "zowlp.h"

// A catalogue message of this library, tagged with the calling source file.
#define ZOH_MESSAGE(tag, id, ...) \
  zob_get_message((tag), __LINE__, ZOB_HADOOP_COMPONENT, (id), ##__VA_ARGS__)

// Names of the main proxy.
#define ZOH_HADOOP_PROXY_JAR "zox-proxy-hadoop.jar"
#define ZOH_HADOOP_PROXY_NAME "HadoopClient"
#define ZOH_HADOOP_PROXY_CLASS "com.zorvanta.proxy.hadoop.HadoopClientJPC"

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
  void buildError(const char* method, int status, zowlpResponse** response,
                  ZobString* err);
  zowlpRowSet* createRowSet(const char* columnTypes, ZobString* err);
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

// Zeroes an array of wire records.
void zohClearParams(zowlpParameter* params, int count);
// Fills one input record.
void zohSetObject(zowlpParameter* p, int64_t handle, bool present = true);
void zohSetString(zowlpParameter* p, const ZobString& text, bool present = true);
// The record keeps a pointer into the text, so a temporary would leave it
// dangling before the call is made.
void zohSetString(zowlpParameter* p, ZobString&& text, bool present = true) = delete;
void zohSetBool(zowlpParameter* p, bool value);
void zohSetInt(zowlpParameter* p, int32_t value);
void zohSetBytes(zowlpParameter* p, const char* data, int length);
void zohSetRowSet(zowlpParameter* p, zowlpRowSet* rows);
