// What a child of the instance (a configuration, an HDFS service, a job, a Pig
// client and the objects they make) sees of it: the one proxy-call path of
// every service, and the little of the instance that a child asks for.
#pragma once

#include <cstdint>

#include "ZOHadoop.h"
#include "hadoop_status.h"
#include "zo_logger.h"
#include "zob_string.h"
#include "zojni.h"
#include "zohadoop/messages.h"
#include "zohadoop/wire_records.h"
#include "zowlp.h"

class ZohCalls {
 public:
  ZohCalls(const ZohCalls&) = delete;
  ZohCalls& operator=(const ZohCalls&) = delete;

  // Acquires the main proxy from `directory` (empty: the configured one).
  virtual bool getProxy(const ZobString& directory, ZobString* err) = 0;
  // A proxy of its own for a child (`fromProxy`: derived from the main one).
  virtual zojniProxy* getProxy(bool fromProxy, const char* jar, const char* proxyName,
                               const char* className, const char* directory,
                               ZobString* err) = 0;
  virtual bool getProperty(const ZobString& name, ZobString* value) = 0;
  // A child going away unlinks itself from the instance's registry.
  virtual void removeObject(ZOHadoopObj* child) = 0;

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

  zojniProxy* mainProxy() const { return proxy_; }
  const ZobString& proxyDirectory() const { return proxyDirectory_; }
  ZoLogger_* logger() const { return logger_; }

 protected:
  explicit ZohCalls(ZoLogger_* logger) : logger_(logger) {}
  virtual ~ZohCalls() = default;

  // Written once, under the instance's lock, when the main proxy is acquired.
  zojniProxy* proxy_ = nullptr;
  ZobString proxyDirectory_{""};
  ZoLogger_* logger_ = nullptr;
};

// The bridge's poll callback of every call.
int HadoopPollCBStatus(ZoJniPollRecord* record, int64_t done, int64_t total,
                       const char* phase);
