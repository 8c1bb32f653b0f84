// Acquisition of Java proxies and the callbacks that the bridge makes while it
// creates one.
#include <cstdlib>
#include <cstring>

#include "zob_options.h"
#include "zohadoop/ZOHadoopImpl.h"

namespace {
const char kTag[] = "src/zohadoop";
const char kDirectoryProperty[] = "HADOOP_JAVA_PROXY_DIR_NAME";
const char kDefaultDirectory[] = "hadoop";
const char kDirectoryOption[] = "JAVA_PROXY/DIRECTORY";
const char kVersionOption[] = "JAVA_PROXY/HAS_GETVERSION";
}  // namespace

bool ZOHadoopImpl::getProxy(const ZobString& directory, ZobString* err) {
  ZoLockGuard guard(lock_);
  if (proxy_ == nullptr) {
    // Kept even when the creation fails, so that a retry uses the same place.
    proxyDirectory_ = directory;
    if (proxyDirectory_.length() == 0 &&
        !getProperty(ZobString(kDirectoryProperty, true), &proxyDirectory_)) {
      proxyDirectory_ = ZobString(kDefaultDirectory, true);
    }
    proxy_ = getProxy(false, ZOH_HADOOP_PROXY_JAR, ZOH_HADOOP_PROXY_NAME,
                      ZOH_HADOOP_PROXY_CLASS, proxyDirectory_.asCstr(), err);
    return proxy_ != nullptr;
  }
  // Every call comes here with the stored directory itself: nothing to compare.
  if (&directory == &proxyDirectory_ || directory.length() == 0) return true;
  if (directory.compare(proxyDirectory_, true) == 0) return true;
  if (err) {
    *err = zobStringFormat(
        "Failed to acquire proxy (%s) due to the proxy already being held with a "
        "different proxy directory (%s).",
        directory.asCstr(), proxyDirectory_.asCstr());
  }
  return false;
}

zojniProxy* ZOHadoopImpl::getProxy(bool fromProxy, const char* jar,
                                   const char* proxyName, const char* className,
                                   const char* directory, ZobString* err) {
  // Both records live on this stack frame: the bridge uses them only while the
  // create call runs.
  ZoJniOptionRecord options{};
  options.callback = HadoopOptCB;
  options.instance = this;
  options.proxyName = proxyName;
  options.directoryGiven = 0;
  options.directory = directory;

  ZoJniMessageRecord messages{};
  messages.callback = HadoopMessageCB;
  messages.instance = this;
  messages.errorText = err;

  zojniProxy* created = nullptr;
  int status;
  if (fromProxy) {
    status = zojniProxyCreateFromProxy(proxy_, jar, proxyName, className, &options,
                                       &messages, &created);
  } else {
    status = zojniProxyCreate(jar, proxyName, className, &options, &messages,
                              &created);
  }
  return status == 0 ? created : nullptr;
}

bool ZOHadoopImpl::saveOption(const ZobString& value, char** out, int* length) {
  const int needed = value.cStrSize();
  if (needed > optionBufferSize_) {
    void* grown = optionBuffer_ != nullptr ? std::realloc(optionBuffer_, needed)
                                           : std::malloc(needed);
    if (grown == nullptr) {
      std::free(optionBuffer_);
      optionBuffer_ = nullptr;
      optionBufferSize_ = 0;
      logger_->logEvent(ZOLOG_ERROR, kTag, __LINE__, 29, "(Callback option)");
      return false;
    }
    optionBuffer_ = static_cast<char*>(grown);
    optionBufferSize_ = needed;
  }
  std::memcpy(optionBuffer_, value.asCstr(), needed);
  *out = optionBuffer_;
  *length = needed - 1;
  return true;
}

int HadoopOptCB(ZoJniOptionRecord* record, const char* optionName,
                void* /*bridgeContext*/, char** value, int* length) {
  ZOHadoopImpl* self = static_cast<ZOHadoopImpl*>(record->instance);
  if (optionName == nullptr) return 1;

  ZobString answer;
  if (std::strcmp(optionName, kDirectoryOption) == 0) {
    // The bridge may ask more than once; only the first ask is answered.
    if (record->directoryGiven == 0) {
      answer.assign(record->directory);
      record->directoryGiven = 1;
    }
  } else if (std::strcmp(optionName, kVersionOption) == 0) {
    answer.assign(record->proxyName);
  } else if (!self->getProperty(ZobString(optionName), &answer)) {
    ZobConfigOptions* platformOptions = zobGetConfigOptions(ZobString("", true));
    if (platformOptions == nullptr ||
        !platformOptions->getOption(ZobString(optionName), &answer, 0)) {
      answer.setNull(false);
    }
  }

  if (answer.length() == 0) return 1;
  return self->saveOption(answer, value, length) ? 0 : 2;
}

int HadoopMessageCB(ZoJniMessageRecord* record, int messageType, const char* text) {
  ZOHadoopImpl* self = static_cast<ZOHadoopImpl*>(record->instance);
  if (text == nullptr) text = "";

  ZoLoggingLevel level;
  switch (messageType) {
    case 0:
      level = ZOLOG_INFO;
      break;
    case 1:
      level = ZOLOG_WARNING;
      break;
    default:
      level = ZOLOG_ERROR;
      if (record->errorText != nullptr) {
        ZobString* collected = record->errorText;
        bool failed = false;
        if (collected->length() > 0) collected->append("\n", &failed);
        if (!failed) collected->append(text, &failed);
      }
      break;
  }
  return self->logger_->logText(level, kTag, __LINE__, text);
}
