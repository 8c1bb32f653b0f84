// Unique ids: texts unique across the threads and instances of one process.
#pragma once

#include "zob_export.h"

// Writes a NUL-terminated id (at most 31 characters) into `buffer`, which holds
// at least 32 bytes, and returns it.
extern "C" ZOB_API char* np_uniq_s64(char* buffer);
