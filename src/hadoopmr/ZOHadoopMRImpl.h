// A MapReduce job: its description (properties, input paths, jars) kept on this
// side, and the Java job object made on the first run. A child of its instance.
#pragma once

#include <cstdint>
#include <list>
#include <map>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopMapReduce.h"
#include "hadoop_status.h"
#include "zo_logger.h"
#include "zob_framework.h"
#include "zob_string.h"
#include "zowlp.h"

class ZohCalls;
class ZohTextRows;

#define ZOH_MR_TAG "src/hadoopmr"

class ZOHadoopMRImpl : public ZOHadoopMapReduce, public ZOHadoopObj {
 public:
  explicit ZOHadoopMRImpl(ZohCalls* instance);

  // ZOHadoopMapReduce, in slot order.
  bool addInputPath(const ZobString& path, ZobString* err) override;
  bool addJar(const ZobString& jar, ZobString* err) override;
  ZobStringCursor* getPropertyList(ZobString* err) override;
  void release() override;
  bool run(HadoopPollStatus* poll, HadoopTextStatus* text, bool deleteOutput,
           ZobString* err) override;
  bool setProperty(const ZobString& key, const ZobString& value, ZobString* err) override;
  bool stop(HadoopPollStatus* poll, ZobString* err) override;
  virtual ~ZOHadoopMRImpl();
  void destroyMe() override;

  // `cfg` may be null; it must live until the first run reads its handle.
  bool init(ZOHadoopCfg* cfg, ZobString* err);
  // `removeFromOwner` false when the instance has already unlinked the object.
  void release(bool removeFromOwner);
  // Makes the Java job object once ("CreateMapReduce").
  bool getProxy(ZobString* err);

  int64_t jobHandle() const { return jobHandle_; }
  const ZobString& id() const { return id_; }

 private:
  // The description as rows of the run's property row set.
  bool fillPropertyRows(ZohTextRows* rows, bool deleteOutput, ZobString* err);

  ZOHadoopCfg* configuration_ = nullptr;
  ZohCalls* instance_;
  ZobString id_;
  int64_t jobHandle_ = 0;
  ZoLogger_* logger_;
  std::list<ZobString> inputPaths_;
  std::list<ZobString> jars_;
  std::map<ZobString, ZobString, ZobStringLessInsensitive> properties_;
};
