// The one call path of every service: a named method on a Java proxy, its
// poll adapter, and the turning of a failed call into error text.
#include "zohadoop/hadoop_calls.h"

namespace {
const char kTag[] = "src/zohadoop";
}  // namespace

namespace {

// Runs one call on an already held proxy; the lock is not taken, so calls from
// several threads reach the bridge in parallel.
bool invokeProxy(ZohCalls* self, zojniProxy* proxy, HadoopPollStatus* poll,
                 const char* proxyName, const char* method, const char* signature,
                 int count, zowlpParameter* params, zowlpResponse** response,
                 ZobString* err) {
  ZoJniPollRecord pollRecord{};
  ZoJniPollRecord* pollArgument = nullptr;
  if (poll != nullptr) {
    pollRecord.value = poll->pollInterval();
    pollRecord.callback = HadoopPollCBStatus;
    pollRecord.instance = self;
    pollRecord.pollStatus = poll;
    pollArgument = &pollRecord;
  }
  const int status = zojniProxyCall(proxy, pollArgument, proxyName, method, signature,
                                    count, params, response);
  if (status == 0) return true;
  self->buildError(method, status, response, err);
  return false;
}

}  // namespace

bool ZohCalls::callWrapper(zojniProxy* proxy, HadoopPollStatus* poll,
                               const char* proxyName, const char* method,
                               const char* signature, int count,
                               zowlpParameter* params, zowlpResponse** response,
                               ZobString* err) {
  *response = nullptr;
  // A derived proxy needs its base alive, so the main proxy is made sure of even
  // when the caller brings its own.
  if (!getProxy(proxyDirectory_, err)) return false;
  return invokeProxy(this, proxy, poll, proxyName, method, signature, count, params,
                     response, err);
}

bool ZohCalls::callWrapper(HadoopPollStatus* poll, const char* proxyName,
                               const char* method, const char* signature, int count,
                               zowlpParameter* params, zowlpResponse** response,
                               ZobString* err) {
  *response = nullptr;
  if (!getProxy(proxyDirectory_, err)) return false;
  // Written once under the lock that getProxy just released, never changed after.
  return invokeProxy(this, proxy_, poll, proxyName, method, signature, count, params,
                     response, err);
}

bool ZohCalls::callOutputs(zojniProxy* proxy, HadoopPollStatus* poll,
                               const char* proxyName, const char* method,
                               const char* signature, int count, zowlpParameter* params,
                               ZohResponse* response, zowlpParameter** outputs,
                               const ZohUnreadable& unreadable, ZobString* err) {
  *outputs = nullptr;
  const bool called =
      proxy != nullptr
          ? callWrapper(proxy, poll, proxyName, method, signature, count, params,
                        response->slot(), err)
          : callWrapper(poll, proxyName, method, signature, count, params,
                        response->slot(), err);
  return called && response->read(signature, outputs, unreadable, err);
}

bool ZohCalls::callOnObject(zojniProxy* proxy, HadoopPollStatus* poll,
                                const char* proxyName, const char* method,
                                int64_t handle, ZobString* err) {
  zowlpParameter param[1];
  zohClearParams(param, 1);
  zohSetObject(&param[0], handle);
  ZohResponse response;
  return proxy != nullptr
             ? callWrapper(proxy, poll, proxyName, method, JAVA_PROXY_EMPTY_SIG, 1, param,
                           response.slot(), err)
             : callWrapper(poll, proxyName, method, JAVA_PROXY_EMPTY_SIG, 1, param,
                           response.slot(), err);
}

void ZohCalls::releaseObject(zojniProxy* proxy, const char* proxyName,
                                 const char* method, int64_t handle, ZoLogger_* logger,
                                 const char* tag, int line) {
  ZobString failure;
  if (!callOnObject(proxy, nullptr, proxyName, method, handle, &failure)) {
    logger->logEvent(ZOLOG_WARNING, tag, line, "%s", failure.asCstr());
  }
}

bool ZohCalls::createObject(const char* method, bool hasCfg, int64_t cfgObject,
                                int64_t* handle, const ZohUnreadable& unreadable,
                                ZobString* err) {
  zowlpParameter param[1];
  zohClearParams(param, 1);
  zohSetObject(&param[0], cfgObject, hasCfg);
  ZohResponse response;
  zowlpParameter* outputs = nullptr;
  if (!callOutputs(nullptr, nullptr, ZOH_HADOOP_PROXY_NAME, method,
                   HADOOP_CREATECONFIG_SIG_OUT, 1, param, &response, &outputs, unreadable,
                   err)) {
    return false;
  }
  *handle = outputs[0].value.object;
  return true;
}

void ZohCalls::buildError(const char* method, int status, zowlpResponse** response,
                              ZobString* err) {
  if (err == nullptr) return;
  if (status == ZOJNI_ERR_JAVA) {
    int code = 0;
    char* text = nullptr;
    int length = 0;
    zowlpError_code(*response, &code);
    ZobString javaText("");
    if (zowlpError_text(*response, &text, &length) == 0 && text != nullptr) {
      javaText.assign(text, static_cast<size_t>(length < 0 ? 0 : length));
    }
    *err = ZOH_MESSAGE(kTag, 1725, method, code, javaText.asCstr());
    zowlpResponse_destroy(*response);
    *response = nullptr;
    return;
  }
  *err = ZOH_MESSAGE(kTag, 1726, method, status);
}

int HadoopPollCBStatus(ZoJniPollRecord* record, int64_t done, int64_t total,
                       const char* phase) {
  return record->pollStatus->poll(done, total, phase) ? 1 : 0;
}

zowlpRowSet* ZohCalls::createRowSet(const char* columnTypes, ZobString* err) {
  zowlpRowSet* rows = zojniProxyRowSetCreate(proxy_, columnTypes);
  if (rows == nullptr && err != nullptr) *err = ZOH_MESSAGE(kTag, 29, "(RowSet)");
  return rows;
}

bool ZohCalls::buildText(const zowlpRowSet* rows, ZobString* text, ZobString* err) {
  const int count = zowlpRowSet_getRows(rows);
  if (count < 1) {
    *text = ZobString("", true);
    return true;
  }
  const char* columns = zowlpRowSet_columnTypes(rows);
  if (columns == nullptr || columns[0] != WLP_TYPE_STRING) {
    if (err) *err = ZOH_MESSAGE(kTag, 1354, "zowlpRowSet_columnTypes", WLP_ERR_TYPE);
    return false;
  }
  ZobString joined("", true);
  for (int i = 0; i < count; ++i) {
    zowlpParameter* row = nullptr;
    const int status = zowlpRowSet_nextRow(rows, &row);
    if (status != 0) {
      if (err) *err = ZOH_MESSAGE(kTag, 1354, "zowlpRowSet_nextRow", status);
      return false;
    }
    bool failed = false;
    if (i > 0) joined.append("\n", &failed);
    if (!failed) {
      const char* line = row[0].value.string;
      joined.append(line != nullptr ? line : "", &failed);
    }
    if (failed) {
      if (err) *err = ZOH_MESSAGE(kTag, 444);
      return false;
    }
  }
  *text = joined;
  return true;
}
