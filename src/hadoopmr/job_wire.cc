#include "hadoopmr/job_wire.h"

#include "zohadoop/hadoop_calls.h"

bool jobAwaitEnd(ZohCalls* owner, zojniProxy* proxy, HadoopPollStatus* poll,
                 const char* proxyName, const char* method, const char* signature,
                 int64_t handle, HadoopTextStatus* text, ZobString* err) {
  zowlpParameter param[1];
  zohClearParams(param, 1);
  zohSetObject(&param[0], handle);
  ZohResponse response;
  const bool called = proxy != nullptr
                          ? owner->callWrapper(proxy, poll, proxyName, method, signature,
                                               1, param, response.slot(), err)
                          : owner->callWrapper(poll, proxyName, method, signature, 1,
                                               param, response.slot(), err);
  if (!called) return false;

  zowlpParameter* out = nullptr;
  if (response.outputs(signature, &out) != 0) return true;
  ZobString joined;
  if (!owner->buildText(out[1].value.rowSet, &joined, err)) return false;
  const bool succeeded = out[0].present != 0 && out[0].value.boolean != 0;
  if (succeeded) {
    if (text != nullptr) text->setFinalText(joined);
    return true;
  }
  if (err != nullptr) *err = joined;
  return false;
}
