// Filling of the wire records that every service sends to the bridge, and the
// reading of what comes back.
#include "zohadoop/wire_records.h"

#include <cstring>

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

void ZohResponse::reset() {
  if (response_ != nullptr) zowlpResponse_destroy(response_);
  response_ = nullptr;
}

zowlpResponse* ZohResponse::release() {
  zowlpResponse* r = response_;
  response_ = nullptr;
  return r;
}

int ZohResponse::outputs(const char* signature, zowlpParameter** records) {
  *records = nullptr;
  if (response_ == nullptr) return WLP_ERR_ARGUMENT;
  int count = 0;
  zowlpParameter* found = nullptr;
  const int status = zowlpResponse_parameters(response_, &count, &found);
  if (status != 0) return status;
  const int expected = static_cast<int>(std::strlen(signature));
  if (found == nullptr || count < expected) return WLP_ERR_TYPE;
  for (int i = 0; i < expected; ++i) {
    if (found[i].type != static_cast<unsigned char>(signature[i])) return WLP_ERR_TYPE;
  }
  *records = found;
  return 0;
}

bool ZohResponse::read(const char* signature, zowlpParameter** records,
                       const ZohUnreadable& unreadable, ZobString* err) {
  const int status = outputs(signature, records);
  if (status == 0) return true;
  if (err != nullptr) {
    *err = unreadable.label != nullptr
               ? ZOH_MESSAGE(unreadable.tag, 29, unreadable.label)
               : ZOH_MESSAGE(unreadable.tag, 1354, "zowlpResponse_parameters", status);
  }
  return false;
}

bool ZohTextRows::add(const ZobString& first, ZobString* err) {
  return add(first, ZobString(), false, err);
}

bool ZohTextRows::add(const ZobString& first, const ZobString& second, bool secondPresent,
                      ZobString* err) {
  zowlpParameter row[2];
  zohClearParams(row, 2);
  zohSetString(&row[0], first);
  zohSetString(&row[1], second, secondPresent);
  const int status = zowlpRowSet_addRow(rows_.get(), row);
  if (status == 0) return true;
  if (err != nullptr) *err = ZOH_MESSAGE(tag_, 768, status);
  return false;
}
