// Inside the runtime only: renders a catalogue message for a log line. Unlike
// zob_get_messagev it does not replace the thread's last message source, which
// callers read back for the error text they were handed, not for log lines.
#pragma once

#include <cstdarg>

#include "zob_string.h"

ZobString zobRenderCatalogueMessage(const char* component, int id, va_list args);
