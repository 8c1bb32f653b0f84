// The configuration object: its Java object and the calls that fill it.
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zob_uniq.h"
#include "zohadoop/hadoop_calls.h"

namespace {
const char kTag[] = "src/hadoopcfg";
}  // namespace

ZOHadoopCfgImpl::ZOHadoopCfgImpl(ZohCalls* owner)
    : owner_(owner), logger_(zologGetLogger("ZO.Hadoop.Configuration")) {
  char id[32];
  id_ = ZobString(np_uniq_s64(id));
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__, "Created Hadoop instance %s.",
                    id_.asCstr());
}

ZOHadoopCfgImpl::~ZOHadoopCfgImpl() {
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__, "Destroying Hadoop instance %s.",
                    id_.asCstr());
  // A destructor cannot report; the Java object is lost either way.
  if (javaObject_ != 0) {
    owner_->releaseObject(nullptr, ZOH_HADOOP_PROXY_NAME, "CfgRelease", javaObject_,
                          logger_, kTag, __LINE__);
  }
  logger_->logEvent(ZOLOG_INFO, kTag, __LINE__,
                    "Completed destruction of Hadoop instance %s.", id_.asCstr());
}

bool ZOHadoopCfgImpl::init(ZobString* err) {
  ZohResponse response;
  zowlpParameter* outputs = nullptr;
  if (!owner_->callOutputs(nullptr, nullptr, ZOH_HADOOP_PROXY_NAME, "CreateConfig",
                           HADOOP_CREATECONFIG_SIG_OUT, 0, nullptr, &response, &outputs,
                           {kTag, "(Config Object)"}, err)) {
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
  ZohResponse response;
  const bool called = owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, "CfgSetUser",
                                          JAVA_PROXY_EMPTY_SIG, 3, params, response.slot(),
                                          err);
  if (called && err) err->setNull(false);
  return called;
}

bool ZOHadoopCfgImpl::sendRows(const char* method, const char* columnTypes,
                               int columns, const ZobString* const* columnTexts,
                               int count, ZobString* err) {
  if (count <= 0) return true;
  for (int c = 0; c < columns; ++c) {
    if (columnTexts[c] == nullptr) {
      if (err) *err = ZOH_MESSAGE(kTag, 29, "(texts to send: null pointer)");
      return false;
    }
  }
  ZohTextRows rows(owner_->createRowSet(columnTypes, err), kTag);
  if (!rows) return false;
  for (int i = 0; i < count; ++i) {
    const bool added = columns == 1
                           ? rows.add(columnTexts[0][i], err)
                           : rows.add(columnTexts[0][i], columnTexts[1][i], true, err);
    if (!added) return false;
  }
  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], javaObject_);
  zohSetRowSet(&params[1], rows.get());
  ZohResponse response;
  const bool called = owner_->callWrapper(nullptr, ZOH_HADOOP_PROXY_NAME, method,
                                          JAVA_PROXY_EMPTY_SIG, 2, params, response.slot(),
                                          err);
  if (called && err) err->setNull(false);
  return called;
}
