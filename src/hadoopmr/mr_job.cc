// Life cycle and description of a MapReduce job, and the Java job object behind it.
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "zob_uniq.h"
#include "zohadoop/hadoop_calls.h"

namespace {
const char kProxyName[] = ZOH_HADOOP_PROXY_NAME;
}  // namespace

ZOHadoopMRImpl::ZOHadoopMRImpl(ZohCalls* instance)
    : instance_(instance), logger_(zologGetLogger("ZO.Hadoop.MapReduce")) {
  char buffer[32];
  id_ = ZobString(np_uniq_s64(buffer));
  logger_->logEvent(ZOLOG_INFO, ZOH_MR_TAG, __LINE__,
                    "Created Hadoop MapReduce instance %s.", id_.asCstr());
}

ZOHadoopMRImpl::~ZOHadoopMRImpl() {
  logger_->logEvent(ZOLOG_INFO, ZOH_MR_TAG, __LINE__,
                    "Destroying Hadoop MapReduce instance %s.", id_.asCstr());
  jars_.clear();
  properties_.clear();
  // Nobody is left to hear about a failed release: it is logged and the object
  // goes anyway.
  if (jobHandle_ != 0) {
    instance_->releaseObject(nullptr, kProxyName, "MapReduceRelease", jobHandle_, logger_,
                             ZOH_MR_TAG, __LINE__);
  }
  logger_->logEvent(ZOLOG_INFO, ZOH_MR_TAG, __LINE__,
                    "Completed destruction of Hadoop MapReduce instance %s.",
                    id_.asCstr());
}

bool ZOHadoopMRImpl::init(ZOHadoopCfg* cfg, ZobString* err) {
  configuration_ = cfg;
  return true;
}

bool ZOHadoopMRImpl::setProperty(const ZobString& key, const ZobString& value,
                                 ZobString* err) {
  // operator[] finds an entry of any letter case and keeps its first spelling.
  properties_[key] = value;
  if (err != nullptr) err->setNull(false);
  return true;
}

bool ZOHadoopMRImpl::addInputPath(const ZobString& path, ZobString* err) {
  inputPaths_.push_back(path);
  return true;
}

bool ZOHadoopMRImpl::addJar(const ZobString& jar, ZobString* err) {
  jars_.push_back(jar);
  return true;
}

bool ZOHadoopMRImpl::getProxy(ZobString* err) {
  if (jobHandle_ != 0) return true;
  const int64_t cfgObject =
      configuration_ != nullptr ? static_cast<ZOHadoopCfgImpl*>(configuration_)->getObject()
                                : 0;
  return instance_->createObject("CreateMapReduce", configuration_ != nullptr, cfgObject,
                                 &jobHandle_, {ZOH_MR_TAG, "(MapReduce Object)"}, err);
}

bool ZOHadoopMRImpl::stop(HadoopPollStatus* poll, ZobString* err) {
  if (jobHandle_ == 0) return true;
  return instance_->callOnObject(nullptr, poll, kProxyName, "MapReduceStop", jobHandle_,
                                 err);
}

void ZOHadoopMRImpl::release() { release(true); }

void ZOHadoopMRImpl::release(bool removeFromOwner) {
  if (removeFromOwner) instance_->removeObject(static_cast<ZOHadoopObj*>(this));
  delete this;
}

void ZOHadoopMRImpl::destroyMe() { release(false); }
