// The configuration object: its Java object and the calls that fill it.
#include <memory>

#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zob_uniq.h"
#include "zohadoop/ZOHadoopImpl.h"

namespace {
const char kTag[] = "src/hadoopcfg";
// The widest row that the configuration sends (key, value).
const int kMaxColumns = 2;

using ResponseOwner = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;
using RowSetOwner = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;
}  // namespace

ZOHadoopCfgImpl::ZOHadoopCfgImpl(ZOHadoopImpl* owner)
    : owner_(owner), logger_(zologGetLogger("ZO.Hadoop.Configuration")) {
  char id[32];
  id_ = ZobString(np_uniq_s64(id));
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__, "Created Hadoop instance %s.",
                    id_.asCstr());
}

ZOHadoopCfgImpl::~ZOHadoopCfgImpl() {
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__, "Destroying Hadoop instance %s.",
                    id_.asCstr());
  if (javaObject_ != 0) {
    zowlpParameter params[1];
    zohClearParams(params, 1);
    zohSetObject(&params[0], javaObject_);
    zowlpResponse* response = nullptr;
    ZobString failure;
    const bool released =
        owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, "CfgRelease",
                            JAVA_PROXY_EMPTY_SIG, 1, params, &response, &failure);
    ResponseOwner owned(response);
    // A destructor cannot report; the Java object is lost either way.
    if (!released) {
      logger_->logEvent(ZOLOG_WARNING, kTag, __LINE__, "%s", failure.asCstr());
    }
  }
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__,
                    "Completed destruction of Hadoop instance %s.", id_.asCstr());
}

bool ZOHadoopCfgImpl::init(ZobString* err) {
  zowlpResponse* response = nullptr;
  const bool called =
      owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, "CreateConfig",
                          HADOOP_CREATECONFIG_SIG_OUT, 0, nullptr, &response, err);
  ResponseOwner owned(response);
  if (!called) return false;
  int count = 0;
  zowlpParameter* outputs = nullptr;
  if (zowlpResponse_parameters(response, &count, &outputs) != 0) {
    if (err) *err = ZOH_MESSAGE(kTag, 29, "(Config Object)");
    return false;
  }
  javaObject_ = outputs[0].value.object;
  return true;
}

void ZOHadoopCfgImpl::release() { release(true); }

void ZOHadoopCfgImpl::destroyMe() { release(false); }

void ZOHadoopCfgImpl::release(bool removeFromOwner) {
  if (removeFromOwner) owner_->removeObject(this);
  delete this;
}

bool ZOHadoopCfgImpl::addResourceFile(const ZobString& file, ZobString* err) {
  return addResourceFiles(1, &file, err);
}

bool ZOHadoopCfgImpl::addResourceFiles(int count, const ZobString* files,
                                       ZobString* err) {
  const ZobString* columns[] = {files};
  return sendRows("CfgAddResourceFiles", HADOOP_CFG_ADDRESOURCEFILES_FILES_COLS, 1,
                  columns, count, err);
}

bool ZOHadoopCfgImpl::setKeyValue(const ZobString& key, const ZobString& value,
                                  ZobString* err) {
  return setKeyValues(1, &key, &value, err);
}

bool ZOHadoopCfgImpl::setKeyValues(int count, const ZobString* keys,
                                   const ZobString* values, ZobString* err) {
  const ZobString* columns[] = {keys, values};
  return sendRows("CfgSetKeyValues", HADOOP_CFG_SETKEYVALUES_OPTIONS_COLS, 2, columns,
                  count, err);
}

bool ZOHadoopCfgImpl::setUserPass(const ZobString& user, const ZobString& password,
                                  ZobString* err) {
  zowlpParameter params[3];
  zohClearParams(params, 3);
  zohSetObject(&params[0], javaObject_);
  zohSetString(&params[1], user);
  // The Java side tells "no password" from an empty one by the null record.
  zohSetString(&params[2], password, password.length() > 0);
  zowlpResponse* response = nullptr;
  const bool called = owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, "CfgSetUser",
                                          JAVA_PROXY_EMPTY_SIG, 3, params, &response,
                                          err);
  ResponseOwner owned(response);
  if (called && err) err->setNull(false);
  return called;
}

bool ZOHadoopCfgImpl::sendRows(const char* method, const char* columnTypes,
                               int columns, const ZobString* const* columnTexts,
                               int count, ZobString* err) {
  if (count <= 0) return true;
  RowSetOwner rows(owner_->createRowSet(columnTypes, err));
  if (!rows) return false;
  for (int i = 0; i < count; ++i) {
    zowlpParameter row[kMaxColumns];
    zohClearParams(row, columns);
    for (int c = 0; c < columns; ++c) zohSetString(&row[c], columnTexts[c][i]);
    const int status = zowlpRowSet_addRow(rows.get(), row);
    if (status != 0) {
      if (err) *err = ZOH_MESSAGE(kTag, 768, status);
      return false;
    }
  }
  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetRowSet(&params[1], rows.get());
  zowlpResponse* response = nullptr;
  const bool called = owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, method,
                                          JAVA_PROXY_EMPTY_SIG, 2, params, &response,
                                          err);
  ResponseOwner owned(response);
  if (called && err) err->setNull(false);
  return called;
}
