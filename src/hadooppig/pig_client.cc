// Life cycle of a Pig client: its own proxy, jars and parameters, stop and clear.
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "hadooppig/ZOHadoopPigImpl.h"
#include "zob_uniq.h"
#include "zohadoop/hadoop_calls.h"

ZOHadoopPigImpl::ZOHadoopPigImpl(ZohCalls* owner)
    : owner_(owner), logger_(zologGetLogger("ZO.Hadoop.Pig")) {
  char buffer[32];
  name_ = ZobString(np_uniq_s64(buffer));
  logger_->logEvent(ZOLOG_INFO, ZOH_PIG_TAG, __LINE__, "Created Hadoop Pig instance %s.",
                    name_.asCstr());
}

ZOHadoopPigImpl::~ZOHadoopPigImpl() {
  logger_->logEvent(ZOLOG_INFO, ZOH_PIG_TAG, __LINE__,
                    "Destroying Hadoop Pig instance %s.", name_.asCstr());
  clear();
  if (proxy_ != nullptr) zojniProxyDestroy(proxy_);
  proxy_ = nullptr;
  logger_->logEvent(ZOLOG_INFO, ZOH_PIG_TAG, __LINE__,
                    "Completed destruction of Hadoop Pig instance %s.", name_.asCstr());
}

bool ZOHadoopPigImpl::init(ZOHadoopCfg* cfg, const ZobString& proxyDir, ZobString* err) {
  ZobString directory(proxyDir);
  if (directory.length() == 0 &&
      !owner_->getProperty(ZobString("PIG_JAVA_PROXY_DIR_NAME", true), &directory)) {
    directory = ZobString("pig", true);
  }
  proxy_ = owner_->getProxy(true, ZOH_PIG_PROXY_JAR, ZOH_PIG_PROXY_NAME,
                            ZOH_PIG_PROXY_CLASS, directory.asCstr(), err);
  if (proxy_ == nullptr) return false;
  if (cfg != nullptr) configObject_ = static_cast<ZOHadoopCfgImpl*>(cfg)->getObject();
  logger_->logEvent(ZOLOG_INFO, ZOH_PIG_TAG, __LINE__,
                    "Pig instance %s acquired proxy 0x%p", name_.asCstr(),
                    static_cast<void*>(proxy_));
  return true;
}

bool ZOHadoopPigImpl::registerJar(const ZobString& jar, ZobString* err) {
  jars_.push_back(jar);
  return true;
}

bool ZOHadoopPigImpl::setParameter(const ZobString& name, const ZobString& value,
                                   ZobString* err) {
  // operator[] finds a name of any letter case and keeps its first spelling.
  parameters_[name] = value;
  return true;
}

bool ZOHadoopPigImpl::stop(HadoopPollStatus* poll, ZobString* err) {
  // Unlike a MapReduce job, the Java side is asked even before the first run
  // (with handle 0): it may know of a run that this object has not heard back of.
  return owner_->callOnObject(proxy_, poll, ZOH_PIG_PROXY_NAME, "Stop", runObject_, err);
}

void ZOHadoopPigImpl::clear() {
  jars_.clear();
  parameters_.clear();
  if (runObject_ == 0) return;
  owner_->releaseObject(proxy_, ZOH_PIG_PROXY_NAME, "Release", runObject_, logger_,
                        ZOH_PIG_TAG, __LINE__);
  // The handle is forgotten whether or not the release worked. A cleared client
  // should look like a fresh one: a later clear or the destructor must not
  // release the same run a second time, and a later stop must not reach a run
  // that the caller has already let go of. A release that failed would most
  // likely fail again, so keeping the handle for a retry buys nothing.
  runObject_ = 0;
}

void ZOHadoopPigImpl::release() { release(true); }

void ZOHadoopPigImpl::release(bool removeFromOwner) {
  if (removeFromOwner) owner_->removeObject(static_cast<ZOHadoopObj*>(this));
  delete this;
}

void ZOHadoopPigImpl::destroyMe() { release(false); }
