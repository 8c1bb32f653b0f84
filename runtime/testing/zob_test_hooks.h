// Hooks of the runtime that only its test build has (ZOH_TEST_HOOKS): failure
// injection and a leak counter. The shipped runtime neither has nor pays for them.
#pragma once

#include "zob_export.h"

struct zowlpRowSet;
struct zowlpResponse;

extern "C" {

// The next `count` calls of zoLockCreate return null.
ZOB_API void zoLockTestFailCreate(int count);

// The next zowlpResponse_parameters on this response fails with `status`.
ZOB_API void zowlpResponse_testFailParameters(zowlpResponse* response, int status);
// zowlpRowSet_nextRow fails with `status` when it would read row `rowIndex`.
ZOB_API void zowlpRowSet_testFailNextRowAt(zowlpRowSet* rowSet, int rowIndex, int status);
// zowlpRowSet_addRow fails with `status` when it would add row `rowIndex`.
ZOB_API void zowlpRowSet_testFailAddRowAt(zowlpRowSet* rowSet, int rowIndex, int status);
// Number of row sets and responses alive in the process (leak checks).
ZOB_API int zowlpTestLiveObjects();

}  // extern "C"
