#include "ZOHadoopFileImpl.h"

#include "hdfs_support.h"
#include "zob_uniq.h"
#include "zohadoop/hadoop_calls.h"

ZOHadoopFileImpl::ZOHadoopFileImpl(ZohCalls* owner, long javaObject,
                                   ZOHadoopHDFSMember* member)
    : owner_(owner),
      javaObject_(javaObject),
      entryName_(member->name),
      modDate_(member->modDate),
      isDir_(member->isDir),
      size_(member->size),
      permissions_(member->permissions) {
  char id[32];
  instanceId_ = ZobString(np_uniq_s64(id));
  static ZoLogger_* const logger = zologGetLogger("ZO.Hadoop.HDFS.File");  // as a listing's
  logger_ = logger;
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Created Hadoop HDFS file instance %s.", instanceId_.asCstr());
}

ZOHadoopFileImpl::~ZOHadoopFileImpl() {
  if (javaObject_ != 0) {
    // Nobody is left to hear about a failed close.
    ZobString ignored;
    close(&ignored);
  }
  dropLastRead();
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Completed destruction of Hadoop HDFS file instance %s.",
                    instanceId_.asCstr());
}

void ZOHadoopFileImpl::release(bool unregister) {
  if (unregister) owner_->removeObject(static_cast<ZOHadoopObj*>(this));
  delete this;
}

void ZOHadoopFileImpl::dropLastRead() {
  if (lastRead_ != nullptr) zowlpResponse_destroy(lastRead_);
  lastRead_ = nullptr;
}

bool ZOHadoopFileImpl::close(ZobString* err) {
  if (err) err->setNull(false);
  bool result = true;
  if (javaObject_ != 0) {
    logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                      "Closing Hadoop HDFS file instance %s.", instanceId_.asCstr());
    result = owner_->callOnObject(nullptr, nullptr, ZOH_HDFS_PROXY, "HDFSFileClose",
                                  javaObject_, err);
    // A failed close still forgets the Java object: retrying would not help.
    javaObject_ = 0;
    logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                      "Close Hadoop HDFS file instance %s returned %s.",
                      instanceId_.asCstr(), result ? "true" : "false");
  }
  dropLastRead();
  return result;
}

int ZOHadoopFileImpl::read(HadoopPollStatus* poll, const char** data, int count,
                           ZobString* err) {
  if (err) err->setNull(false);
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Reading from Hadoop HDFS file instance %s.", instanceId_.asCstr());
  dropLastRead();
  if (data == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 29, "(read data: null pointer)");
    return -1;
  }

  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetInt(&params[1], count);
  ZohResponse response;
  const bool called =
      owner_->callWrapper(poll, ZOH_HDFS_PROXY, "HDFSFileRead",
                          HADOOP_HDFS_FILE_READ_SIG_OUT, 2, params, response.slot(), err);
  int result = -1;
  if (!called) {
    *data = nullptr;
  } else {
    zowlpParameter* outputs = nullptr;
    if (response.read(HADOOP_HDFS_FILE_READ_SIG_OUT, &outputs, {ZOH_HDFS_TAG}, err)) {
      *data = static_cast<const char*>(outputs[0].value.bytes);
      result = outputs[0].length;
      // The caller's bytes live in this response until the next read or close.
      lastRead_ = response.release();
    }
  }
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Reading from Hadoop HDFS file instance %s returned %s.",
                    instanceId_.asCstr(), called ? "success" : "failure");
  return result;
}

bool ZOHadoopFileImpl::write(HadoopPollStatus* poll, const char* data, int length,
                             ZobString* err) {
  if (err) err->setNull(false);
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Writing to Hadoop HDFS file instance %s.", instanceId_.asCstr());
  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetBytes(&params[1], data, length);
  ZohResponse response;
  const bool ok = owner_->callWrapper(poll, ZOH_HDFS_PROXY, "HDFSFileWrite",
                                      JAVA_PROXY_EMPTY_SIG, 2, params, response.slot(), err);
  response.reset();
  if (ok) size_ += length;
  logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__,
                    "Write Hadoop HDFS file instance %s returned %s.",
                    instanceId_.asCstr(), ok ? "success" : "failure");
  return ok;
}
