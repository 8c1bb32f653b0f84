// ScriptedValue: one typed wire value, the single model of parameter records
// that the scripted bridge, the bridge contract suite and the JVM bridge tests
// share. It is what a bridge records of the records a caller sends, what a
// script answers with, and what a test reads back from a response.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zojni.h"
#include "zowlp.h"

// Rows of text cells; std::nullopt is a null cell.
using StringTable = std::vector<std::vector<std::optional<std::string>>>;

struct ScriptedValue {
  int32_t type = 0;      // a WLP_TYPE_* code (any code, when it came from a record)
  bool present = false;  // false: null
  std::string str;       // WLP_TYPE_STRING and WLP_TYPE_BYTES content
  int32_t integer = 0;   // WLP_TYPE_INT
  bool boolean = false;  // WLP_TYPE_BOOL
  int64_t object = 0;    // WLP_TYPE_OBJECT
  int32_t length = 0;    // the record's length field, as sent
  // WLP_TYPE_ROWSET: the column type codes and every row.
  std::string columnTypes;
  std::vector<std::vector<ScriptedValue>> rows;
  // WLP_TYPE_ROWSET read from a record: the row set's address, for identity
  // checks only (it may be gone by the time a test looks).
  const zowlpRowSet* rowSet = nullptr;
  // Built output row sets only: zowlpRowSet_nextRow fails with
  // `failNextRowStatus` when it would read row `failNextRowAt` (-1: never).
  int failNextRowAt = -1;
  int failNextRowStatus = 0;

  static ScriptedValue ofNull(int32_t type);
  static ScriptedValue ofString(std::string text);
  static ScriptedValue ofBytes(std::string data);
  static ScriptedValue ofInt(int32_t value);
  static ScriptedValue ofBool(bool value);
  static ScriptedValue ofObject(int64_t handle);
  // A row set whose columns are all WLP_TYPE_STRING; std::nullopt is a null cell.
  // `columns` < 0 takes the width of the first row (1 when there is no row).
  static ScriptedValue ofStringRows(const StringTable& rows, int columns = -1);
  static ScriptedValue ofRows(std::string columnTypes,
                              std::vector<std::vector<ScriptedValue>> rows);
  ScriptedValue& failingNextRowAt(int rowIndex, int status);

  // The rows as optional strings (null cells -> nullopt); cells that are not
  // strings become their describe().
  StringTable stringTable() const;
  // A short text for failure output, e.g. `string "abc"`, `int 5`, `object null`.
  std::string describe() const;
};

// Equal type, presence and value of that type (rows cell by cell); the length
// field and addresses are not compared: copyRecord refuses a length that
// disagrees with the value.
bool operator==(const ScriptedValue& a, const ScriptedValue& b);
inline bool operator!=(const ScriptedValue& a, const ScriptedValue& b) { return !(a == b); }
void PrintTo(const ScriptedValue& value, std::ostream* os);

// How copyRecord reads the rows of a row set: recording a caller's input must
// leave its read cursor alone; reading an output the way the library does
// moves it.
enum class RowRead { kKeepCursor, kThroughCursor };

// Deep copy of one record into *out. ZOJNI_OK, or the status every bridge gives
// for such a record: ZOJNI_ERR_INPUT_TYPE for an unknown type code,
// ZOJNI_ERR_ARGUMENT for a present value that is malformed (a string with a
// null pointer or a length other than its strlen, bytes with a negative length
// or a null pointer and a length, a row set with a null pointer). *out then
// holds as much as could be read safely.
int copyRecord(const zowlpParameter& record, ScriptedValue* out,
               RowRead rows = RowRead::kKeepCursor);

// A new row set holding `value` (type WLP_TYPE_ROWSET) into *out; ZOJNI_OK,
// ZOJNI_ERR_MEMORY, or ZOJNI_ERR_OUTPUT_TYPE for a value that cannot be one.
int buildRowSet(const ScriptedValue& value, zowlpRowSet** out);

// Records made from values, for a call or a row. Texts and bytes point into
// the values kept here, row sets are built and owned here; they stay put until
// the WireRecords die.
class WireRecords {
 public:
  WireRecords() = default;
  explicit WireRecords(std::vector<ScriptedValue> values);
  WireRecords(const WireRecords&) = delete;
  WireRecords& operator=(const WireRecords&) = delete;

  int count() const { return static_cast<int>(records_.size()); }
  zowlpParameter* data() { return records_.empty() ? nullptr : records_.data(); }
  // A record to spoil on purpose.
  zowlpParameter& operator[](int index) { return records_[static_cast<size_t>(index)]; }
  const std::vector<ScriptedValue>& values() const { return values_; }
  // The records' type codes: the signature under which an echo returns them.
  std::string signature() const;

 private:
  std::vector<ScriptedValue> values_;
  std::vector<zowlpParameter> records_;
  std::vector<std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>> rowSets_;
};
