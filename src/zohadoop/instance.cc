// The instance itself: factory, life cycle, properties, the child registry and
// the factories of its children.
#include <cstdlib>
#include <new>
#include <utility>

#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "hadoophdfs/ZOHadoopHDFSImpl.h"
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadooppig/ZOHadoopPigImpl.h"
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

ZOHadoopImpl::ZOHadoopImpl() : ZohCalls(zologGetLogger("ZO.Hadoop")) {}

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

// The pattern shared by every factory below: acquire the main proxy when asked,
// allocate without throwing, init(initArgs..., err), and register at the front.
// A child whose init fails is deleted and never registered.
template <class Child, class... InitArgs>
Child* ZOHadoopImpl::makeChild(bool acquireProxy, ZobString* err, InitArgs&&... initArgs) {
  if (acquireProxy && !getProxy(proxyDirectory_, err)) return nullptr;
  Child* child = new (std::nothrow) Child(this);
  if (child == nullptr) {
    if (err) *err = ZOH_MESSAGE(kTag, 444);
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

ZOHadoopCfg* ZOHadoopImpl::createConfiguration(ZobString* err) {
  return makeChild<ZOHadoopCfgImpl>(true, err);
}

ZOHadoopCfg* ZOHadoopImpl::createConfiguration(ZoHadoopURI* uri, ZobString* err) {
  if (uri == nullptr) {
    if (err) *err = ZOH_MESSAGE("src/hadoopcfg", 29, "(Hadoop URI)");
    return nullptr;
  }
  if (!getProxy(uri->getProxyDirectory(), err)) return nullptr;
  return makeChild<ZOHadoopCfgImpl>(false, err, uri);
}

ZOHadoopHDFS* ZOHadoopImpl::createHDFS(ZOHadoopCfg* cfg, ZobString* err) {
  return makeChild<ZOHadoopHDFSImpl>(true, err, cfg);
}

// A job needs no proxy until its first run.
ZOHadoopMapReduce* ZOHadoopImpl::createMapReduce(ZOHadoopCfg* cfg, ZobString* err) {
  return makeChild<ZOHadoopMRImpl>(false, err, cfg);
}

// A Pig client derives its own proxy in init.
ZOHadoopPig* ZOHadoopImpl::createPig(ZOHadoopCfg* cfg, const ZobString& proxyDirectory,
                                     ZobString* err) {
  return makeChild<ZOHadoopPigImpl>(false, err, cfg, proxyDirectory);
}
