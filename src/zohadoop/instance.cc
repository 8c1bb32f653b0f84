// The instance itself: factory, life cycle, properties and the child registry.
#include <cstdlib>
#include <new>

#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zohadoop/ZOHadoopImpl.h"

namespace {
const char kTag[] = "src/zohadoop";
}  // namespace

ZOHADOOP_API ZOHadoop* zoHadoopCreate(ZobString* err) {
  ZOHadoopImpl* instance = new (std::nothrow) ZOHadoopImpl();
  if (instance == nullptr) {
    if (err) *err = ZOH_MESSAGE(kTag, 444);
    return nullptr;
  }
  if (!instance->init(err)) {
    delete instance;
    return nullptr;
  }
  return instance;
}

ZOHadoopImpl::ZOHadoopImpl() : logger_(zologGetLogger("ZO.Hadoop")) {}

bool ZOHadoopImpl::init(ZobString* err) {
  lock_ = zoLockCreate(0, 0);
  if (lock_ == nullptr) {
    if (err) *err = ZOH_MESSAGE(kTag, 29, "(Hadoop lock)");
    return false;
  }
  if (err) err->setNull(false);
  return true;
}

ZOHadoopImpl::~ZOHadoopImpl() {
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__, "Destroying Hadoop instance.");
  // Children still make proxy calls from their destructors (and a Pig proxy
  // hangs off the main one), so they go before the proxy, newest first.
  if (proxy_ != nullptr) {
    while (!children_.empty()) {
      ZOHadoopObj* child = children_.front();
      children_.pop_front();
      child->destroyMe();
    }
    zojniProxyDestroy(proxy_);
    proxy_ = nullptr;
  }
  free(optionBuffer_);
  optionBuffer_ = nullptr;
  optionBufferSize_ = 0;
  if (lock_ != nullptr) zoLockDestroy(lock_);
  lock_ = nullptr;
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__,
                    "Completed destruction of Hadoop instance.");
}

void ZOHadoopImpl::release() { delete this; }

bool ZOHadoopImpl::setProperty(const ZobString& name, const ZobString& value,
                               ZobString* err) {
  ZoLockGuard guard(lock_);
  if (proxy_ != nullptr) {
    if (err) {
      *err = zobStringFormat(
          "Failed to set property '%s' due to the proxy already being held.",
          name.asCstr());
    }
    return false;
  }
  // operator[] keeps the spelling of an existing key and inserts an empty value
  // for a new one.
  properties_[name] = value;
  if (err) err->setNull(false);
  return true;
}

// Unlocked on purpose: it runs inside the locked proxy acquisition (directly and
// from the option callback), and properties no longer change once the proxy is
// held.
bool ZOHadoopImpl::getProperty(const ZobString& name, ZobString* value) {
  auto found = properties_.find(name);
  if (found == properties_.end()) {
    if (value) value->setNull(false);
    return false;
  }
  if (value) *value = found->second;
  return true;
}

void ZOHadoopImpl::removeObject(ZOHadoopObj* child) {
  ZoLockGuard guard(lock_);
  children_.remove(child);
}

void ZOHadoopImpl::addObject(ZOHadoopObj* child) {
  ZoLockGuard guard(lock_);
  children_.push_front(child);
}

ZOHadoopCfg* ZOHadoopImpl::createConfiguration(ZobString* err) {
  return makeChild<ZOHadoopCfgImpl>(true, err);
}
