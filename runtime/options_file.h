// The loader of the platform's options file, apart from the registry that
// calls it once per process, so that it can be driven on its own.
#pragma once

#include "zob_options.h"

// Adds the options of the file at `path` to `set`. A file that cannot be read,
// or is far larger than an options file, adds nothing and logs a warning.
void zobLoadOptionsFile(const char* path, ZobConfigOptions* set);
