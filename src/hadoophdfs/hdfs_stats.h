// The stats row set: how the Java side describes HDFS entries, and the parser
// that turns one entry of it into a ZOHadoopHDFSMember.
#pragma once

#include "ZOHadoopHDFS.h"
#include "zob_string.h"
#include "zowlp.h"

// Consumes one entry of `rows`: its entry row (when the read position stands on
// one) and the property rows after it, stopping at the next entry row, which is
// left in *pendingRow. *rowIndex counts the rows consumed. The record's isDir,
// size and permissions are reset first; name and date only change when the
// entry carries them. False (with message 1354 in err when given) when a row
// cannot be read; *rowIndex then keeps its value.
bool getStats(int* rowIndex, const zowlpRowSet* rows, zowlpParameter** pendingRow,
              ZOHadoopHDFSMember* member, ZobString* err);
