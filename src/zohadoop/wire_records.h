// The wire records every service sends and receives: filling input records,
// the one owner of a call's response (which checks the outputs against the
// call's signature before anyone reads them), and the builder of text row sets.
#pragma once

#include <cstdint>
#include <memory>

#include "zob_string.h"
#include "zohadoop/messages.h"
#include "zowlp.h"

// Zeroes an array of wire records.
void zohClearParams(zowlpParameter* params, int count);
// Fills one input record.
void zohSetObject(zowlpParameter* p, int64_t handle, bool present = true);
void zohSetString(zowlpParameter* p, const ZobString& text, bool present = true);
// The record keeps a pointer into the text, so a temporary would leave it
// dangling before the call is made.
void zohSetString(zowlpParameter* p, ZobString&& text, bool present = true) = delete;
void zohSetBool(zowlpParameter* p, bool value);
void zohSetInt(zowlpParameter* p, int32_t value);
void zohSetBytes(zowlpParameter* p, const char* data, int length);
void zohSetRowSet(zowlpParameter* p, zowlpRowSet* rows);

// What a response that cannot be read, or does not fit its signature, becomes
// in `err`: message 29 with `label`, or (label null) message 1354 naming the
// read and its status. `tag` is the source tag of the service.
struct ZohUnreadable {
  const char* tag;
  const char* label = nullptr;
};

// The response slot of one proxy call. Whatever lands in it is destroyed when
// the slot is reused or the owner goes, so no return path leaks a response.
class ZohResponse {
 public:
  ZohResponse() = default;
  ZohResponse(const ZohResponse&) = delete;
  ZohResponse& operator=(const ZohResponse&) = delete;
  ~ZohResponse() { reset(); }

  // Where the next call writes its response.
  zowlpResponse** slot() {
    reset();
    return &response_;
  }
  bool held() const { return response_ != nullptr; }
  void reset();
  // Hands the response to a new owner.
  zowlpResponse* release();

  // The outputs, checked against the call's output `signature`: 0 with at least
  // one record per code, each of that code's type; else the read's status
  // (WLP_ERR_TYPE for too few or mistyped records, WLP_ERR_ARGUMENT for no
  // response). Nothing may index an output that did not pass here.
  int outputs(const char* signature, zowlpParameter** records);
  // The same, turning a failure into `unreadable`'s text.
  bool read(const char* signature, zowlpParameter** records, const ZohUnreadable& unreadable,
            ZobString* err);

 private:
  zowlpResponse* response_ = nullptr;
};

// A row set of text columns being filled for one call. A failed row addition
// becomes message 768 under the builder's tag.
class ZohTextRows {
 public:
  // Adopts `rows` (null: the creation failed; the creator has said why).
  ZohTextRows(zowlpRowSet* rows, const char* tag) : rows_(rows), tag_(tag) {}
  explicit operator bool() const { return rows_ != nullptr; }
  zowlpRowSet* get() const { return rows_.get(); }

  // One row; `second` is sent to a two-column row set only, and as null when
  // `secondPresent` is false.
  bool add(const ZobString& first, ZobString* err);
  bool add(const ZobString& first, const ZobString& second, bool secondPresent,
           ZobString* err);

 private:
  std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter> rows_;
  const char* tag_;
};
