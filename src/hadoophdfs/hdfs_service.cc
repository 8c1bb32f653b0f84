#include "ZOHadoopHDFSImpl.h"

#include <new>

#include "ZOHadoopDirImpl.h"
#include "ZOHadoopFileImpl.h"
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "hdfs_stats.h"
#include "hdfs_support.h"
#include "zob_uniq.h"
#include "zohadoop/hadoop_calls.h"

#define HDFS_LOG(...) logger_->logEvent(ZOLOG_INFO, ZOH_HDFS_TAG, __LINE__, __VA_ARGS__)

ZOHadoopHDFSImpl::ZOHadoopHDFSImpl(ZohCalls* owner) : owner_(owner) {
  char id[32];
  instanceId_ = ZobString(np_uniq_s64(id));
  logger_ = zologGetLogger("ZO.Hadoop.HDFS");
  HDFS_LOG("Created Hadoop HDFS instance %s.", instanceId_.asCstr());
}

ZOHadoopHDFSImpl::~ZOHadoopHDFSImpl() {
  HDFS_LOG("Destroying Hadoop HDFS instance %s.", instanceId_.asCstr());
  if (javaObject_ != 0) {
    owner_->releaseObject(nullptr, ZOH_HDFS_PROXY, "HDFSRelease", javaObject_, logger_,
                          ZOH_HDFS_TAG, __LINE__);
  }
  HDFS_LOG("Completed destruction of Hadoop HDFS instance %s.", instanceId_.asCstr());
}

void ZOHadoopHDFSImpl::release() { release(true); }

void ZOHadoopHDFSImpl::destroyMe() { release(false); }

void ZOHadoopHDFSImpl::release(bool unregister) {
  if (unregister) owner_->removeObject(static_cast<ZOHadoopObj*>(this));
  delete this;
}

bool ZOHadoopHDFSImpl::init(ZOHadoopCfg* cfg, ZobString* err) {
  const int64_t cfgObject =
      cfg != nullptr ? static_cast<ZOHadoopCfgImpl*>(cfg)->getObject() : 0;
  return owner_->createObject("CreateHDFS", cfg != nullptr, cfgObject, &javaObject_,
                              {ZOH_HDFS_TAG}, err);
}

bool ZOHadoopHDFSImpl::rename(HadoopPollStatus* /*poll*/, const ZobString& from,
                              const ZobString& to, ZobString* err) {
  HDFS_LOG("Rename Hadoop HDFS entity from '%s' to '%s'.", from.asCstr(), to.asCstr());
  zowlpParameter params[3];
  zohClearParams(params, 3);
  zohSetObject(&params[0], javaObject_);
  zohSetString(&params[1], from);
  zohSetString(&params[2], to);
  ZohResponse response;
  // Renames are quick metadata operations; they run without the caller's poll.
  return owner_->callWrapper(nullptr, ZOH_HDFS_PROXY, "HDFSRename", JAVA_PROXY_EMPTY_SIG,
                             3, params, response.slot(), err);
}

bool ZOHadoopHDFSImpl::copyFile(bool direction, const ZobString& source, bool sourceFlag,
                                const ZobString& destination, bool destinationFlag,
                                ZobString* err) {
  zowlpParameter params[6];
  zohClearParams(params, 6);
  zohSetObject(&params[0], javaObject_);
  zohSetBool(&params[1], direction);
  zohSetString(&params[2], source);
  zohSetBool(&params[3], sourceFlag);
  zohSetString(&params[4], destination);
  zohSetBool(&params[5], destinationFlag);
  ZohResponse response;
  return owner_->callWrapper(nullptr, ZOH_HDFS_PROXY, "HDFSCopyFile",
                             JAVA_PROXY_EMPTY_SIG, 6, params, response.slot(), err);
}

bool ZOHadoopHDFSImpl::copyToLocal(HadoopPollStatus* /*poll*/, const ZobString& hdfsSource,
                                   bool sourceFlag, const ZobString& localDestination,
                                   bool destinationFlag, ZobString* err) {
  HDFS_LOG("Copying Hadoop HDFS file '%s' to '%s'.", hdfsSource.asCstr(),
           localDestination.asCstr());
  return copyFile(false, hdfsSource, sourceFlag, localDestination, destinationFlag, err);
}

bool ZOHadoopHDFSImpl::copyFromLocal(HadoopPollStatus* /*poll*/,
                                     const ZobString& localSource, bool sourceFlag,
                                     const ZobString& hdfsDestination,
                                     bool destinationFlag, ZobString* err) {
  HDFS_LOG("Copying local file '%s' to HDFS '%s'.", localSource.asCstr(),
           hdfsDestination.asCstr());
  return copyFile(true, localSource, sourceFlag, hdfsDestination, destinationFlag, err);
}

bool ZOHadoopHDFSImpl::pathQuery(HadoopPollStatus* poll, const char* method,
                                 const char* signature, const ZobString& path,
                                 bool* answer, ZobString* err) {
  *answer = false;
  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetString(&params[1], path);
  ZohResponse response;
  if (!owner_->callWrapper(poll, ZOH_HDFS_PROXY, method, signature, 2, params,
                           response.slot(), err)) {
    return false;
  }
  // An unreadable answer is a "no", not an error: the call itself succeeded.
  zowlpParameter* outputs = nullptr;
  if (response.outputs(signature, &outputs) == 0 && outputs[0].value.boolean != 0) {
    *answer = true;
  }
  return true;
}

bool ZOHadoopHDFSImpl::makeDirectory(HadoopPollStatus* poll, const ZobString& path,
                                     ZobString* err) {
  HDFS_LOG("Creating Hadoop HDFS directory %s.", path.asCstr());
  bool created = false;
  const bool ok =
      pathQuery(poll, "HDFSMKDIR", HADOOP_HDFS_MKDIR_SIG_OUT, path, &created, err);
  if (!ok) {
    HDFS_LOG("Failed to create HDFS directory %s.", path.asCstr());
  } else if (created) {
    HDFS_LOG("Created HDFS directory %s.", path.asCstr());
  } else {
    HDFS_LOG("Could not create HDFS directory%s.", path.asCstr());
  }
  return ok;
}

bool ZOHadoopHDFSImpl::exists(HadoopPollStatus* poll, const ZobString& path, bool* answer,
                              ZobString* err) {
  HDFS_LOG("Checking for existence of HDFS entity %s.", path.asCstr());
  if (answer == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 29, "(exists answer: null pointer)");
    return false;
  }
  return pathQuery(poll, "HDFSExists", HADOOP_HDFS_EXISTS_SIG_OUT, path, answer, err);
}

bool ZOHadoopHDFSImpl::deleteFile(HadoopPollStatus* poll, const ZobString& path,
                                  ZobString* err) {
  HDFS_LOG("Deleting Hadoop HDFS file %s.", path.asCstr());
  bool deleted = false;
  const bool ok =
      pathQuery(poll, "HDFSDelete", HADOOP_HDFS_DELETEFILE_SIG_OUT, path, &deleted, err);
  if (!ok) {
    HDFS_LOG("Failed to deleteHadoop HDFS file %s.", path.asCstr());
  } else if (deleted) {
    HDFS_LOG("Deleted Hadoop HDFS file %s.", path.asCstr());
  } else {
    HDFS_LOG("Could not delete non-existent Hadoop HDFS file %s.", path.asCstr());
  }
  return ok;
}

ZOHadoopDirectory* ZOHadoopHDFSImpl::openDir(HadoopPollStatus* poll, const ZobString& path,
                                             ZobString* err) {
  HDFS_LOG("Opening HDFS directory %s.", path.asCstr());
  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetString(&params[1], path);
  ZohResponse response;
  if (!owner_->callWrapper(poll, ZOH_HDFS_PROXY, "HDFSListDir",
                           HADOOP_HDFS_LISTDIR_SIG_OUT, 2, params, response.slot(), err)) {
    HDFS_LOG("Failed to list HDFS directory %s.", path.asCstr());
    return nullptr;
  }
  HDFS_LOG("Listed HDFS directory %s.", path.asCstr());

  zowlpParameter* outputs = nullptr;
  if (!response.read(HADOOP_HDFS_LISTDIR_SIG_OUT, &outputs, {ZOH_HDFS_TAG}, err)) {
    return nullptr;
  }
  zowlpRowSet* rows = outputs[0].value.rowSet;
  if (rows == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 446, path.asCstr());
    return nullptr;
  }
  ZOHadoopDirImpl* dir = new (std::nothrow) ZOHadoopDirImpl(owner_, path, rows);
  if (dir == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 29, "(Directory Object)");
    return nullptr;
  }
  // The listing now belongs to the directory; the response must not free it.
  outputs[0].value.rowSet = nullptr;
  return dir;
}

void ZOHadoopHDFSImpl::closeAbandonedFile(HadoopPollStatus* poll, int64_t fileObject) {
  // The caller's err already explains why the open is given up; keep that text.
  ZobString closeError;
  owner_->callOnObject(nullptr, poll, ZOH_HDFS_PROXY, "HDFSFileClose", fileObject,
                       &closeError);
}

ZOHadoopFile* ZOHadoopHDFSImpl::openFile(HadoopPollStatus* poll, const ZobString& path,
                                         ZobTxtFileOpenMode mode, int openFlags,
                                         int bufferSize, ZobString* err) {
  const int modeCode = mode == 1 ? 0 : (mode == 2 ? 1 : 2);
  const int flag = (openFlags & 0x200000) != 0 ? 1 : 0;
  HDFS_LOG("Opening HDFS file %s.", path.asCstr());
  zowlpParameter params[5];
  zohClearParams(params, 5);
  zohSetObject(&params[0], javaObject_);
  zohSetString(&params[1], path);
  zohSetInt(&params[2], modeCode);
  zohSetInt(&params[3], flag);
  zohSetInt(&params[4], bufferSize);
  ZohResponse response;
  if (!owner_->callWrapper(poll, ZOH_HDFS_PROXY, "HDFSOpenFile",
                           HADOOP_HDFS_OPENFILE_SIG_OUT, 5, params, response.slot(), err)) {
    HDFS_LOG("Failed to open HDFS file %s.", path.asCstr());
    return nullptr;
  }
  HDFS_LOG("Opened HDFS file %s.", path.asCstr());

  zowlpParameter* outputs = nullptr;
  if (!response.read(HADOOP_HDFS_OPENFILE_SIG_OUT, &outputs, {ZOH_HDFS_TAG}, err)) {
    return nullptr;
  }
  const int64_t fileObject = outputs[0].value.object;
  const zowlpRowSet* stats = outputs[1].value.rowSet;

  ZOHadoopHDFSMember entry;
  bool statsRead = true;
  if (stats != nullptr) {
    int rowIndex = 0;
    zowlpParameter* pendingRow = nullptr;
    statsRead = getStats(&rowIndex, stats, &pendingRow, &entry, err);
  }
  if (statsRead) {
    ZOHadoopFileImpl* file = new (std::nothrow) ZOHadoopFileImpl(owner_, fileObject, &entry);
    if (file != nullptr) return file;
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 29, "(File Object)");
  }
  if (fileObject != 0) {
    response.reset();
    closeAbandonedFile(poll, fileObject);
  }
  return nullptr;
}
