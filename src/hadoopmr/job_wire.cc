#include "hadoopmr/job_wire.h"

#include "zohadoop/ZOHadoopImpl.h"

int jobAddTextRow(zowlpRowSet* rows, const ZobString& first) {
  zowlpParameter row[1];
  zohClearParams(row, 1);
  zohSetString(&row[0], first);
  return zowlpRowSet_addRow(rows, row);
}

int jobAddTextRow(zowlpRowSet* rows, const ZobString& first, const ZobString& second) {
  zowlpParameter row[2];
  zohClearParams(row, 2);
  zohSetString(&row[0], first);
  zohSetString(&row[1], second, second.length() > 0);
  return zowlpRowSet_addRow(rows, row);
}

bool jobAwaitEnd(ZOHadoopImpl* owner, zojniProxy* proxy, HadoopPollStatus* poll,
                 const char* proxyName, const char* method, const char* signature,
                 int64_t handle, HadoopTextStatus* text, ZobString* err) {
  zowlpParameter param[1];
  zohClearParams(param, 1);
  zohSetObject(&param[0], handle);
  JobResponse response;
  const bool called = proxy != nullptr
                          ? owner->callWrapper(proxy, poll, proxyName, method, signature,
                                               1, param, response.slot(), err)
                          : owner->callWrapper(poll, proxyName, method, signature, 1,
                                               param, response.slot(), err);
  if (!called) return false;

  zowlpParameter* out = response.outputs();
  if (out == nullptr) return true;
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
