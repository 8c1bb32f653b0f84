// Conversions between wire records and ScriptedValue, used by the scripted
// bridge in both directions: deep copies of what the library hands over, and
// responses built from what a script answers.
#pragma once

#include <string>
#include <vector>

#include "scripted_bridge.h"

namespace scripted_wire {

// Every byte of `codes` is a known type code.
bool isValidTypeList(const std::string& codes);

// Deep copy of one input record into *out. Returns ZOJNI_OK, or the status a
// bridge gives for such a record (ZOJNI_ERR_INPUT_TYPE, ZOJNI_ERR_ARGUMENT);
// *out then holds as much as could be read safely.
int copyRecord(const zowlpParameter& record, ScriptedValue* out);

// A response of `signature` with `values` set in order. ZOJNI_OK, or
// ZOJNI_ERR_OUTPUT_TYPE when a value does not fit its output or there are more
// values than outputs, or ZOJNI_ERR_MEMORY; *response is null on failure.
int buildResponse(const std::string& signature, const std::vector<ScriptedValue>& values,
                  zowlpResponse** response);

// A row set of `value` (type WLP_TYPE_ROWSET), or null with a status as above.
int buildRowSet(const ScriptedValue& value, zowlpRowSet** rowSet);

}  // namespace scripted_wire
