// Filling of the wire records that every service sends to the bridge.
#include <cstring>

#include "zohadoop/ZOHadoopImpl.h"

void zohClearParams(zowlpParameter* params, int count) {
  if (params == nullptr || count <= 0) return;
  std::memset(params, 0, sizeof(zowlpParameter) * static_cast<size_t>(count));
}

// The narrower union members leave the other value bytes as they were; clearing
// the whole value first keeps a reused record from carrying stale bytes.
void zohSetObject(zowlpParameter* p, int64_t handle, bool present) {
  p->type = WLP_TYPE_OBJECT;
  p->present = present ? 1 : 0;
  p->value.raw = 0;
  if (present) p->value.object = handle;
}

void zohSetString(zowlpParameter* p, const ZobString& text, bool present) {
  p->type = WLP_TYPE_STRING;
  p->present = present ? 1 : 0;
  p->value.raw = 0;
  p->length = 0;
  if (present) {
    p->value.string = text.asCstr();
    p->length = text.cStrSize() - 1;
  }
}

void zohSetBool(zowlpParameter* p, bool value) {
  p->type = WLP_TYPE_BOOL;
  p->present = 1;
  p->value.raw = 0;
  p->value.boolean = value ? 1 : 0;
}

void zohSetInt(zowlpParameter* p, int32_t value) {
  p->type = WLP_TYPE_INT;
  p->present = 1;
  p->value.raw = 0;
  p->value.integer = value;
}

void zohSetBytes(zowlpParameter* p, const char* data, int length) {
  p->type = WLP_TYPE_BYTES;
  p->present = 1;
  p->value.raw = 0;
  p->value.bytes = data;
  p->length = length;
}

void zohSetRowSet(zowlpParameter* p, zowlpRowSet* rows) {
  p->type = WLP_TYPE_ROWSET;
  p->present = rows != nullptr ? 1 : 0;
  p->value.raw = 0;
  p->value.rowSet = rows;
}
