// The platform's message catalogue.
//
// A rendered message always starts with the prefix "[<component> <id>] ", e.g.
// "[Hadoop Client 1725] ", so that a person and a test can tell which message it
// is. An unknown id renders "[<component> <id>] Unknown message." followed by
// nothing else. The source tag and line are not part of the text; they are kept
// for the log and for tests (zobLastMessageSource).
#pragma once

#include <cstdarg>

#include "zob_export.h"
#include "zob_string.h"

// The component of every message of the Hadoop client library.
#define ZOB_HADOOP_COMPONENT "Hadoop Client"

// Arguments by id (component "Hadoop Client"):
//   29   const char* label         a resource could not be made or read
//   444  (none)                    memory could not be allocated
//   446  const char* path          no listing row set for the path
//   768  int status                a row could not be added to a row set
//   1354 const char* op, int status  a response or row set could not be read
//   1420 (none)                    an item of a configuration URI could not be read
//   1725 const char* method, int code, const char* text  a Java method failed
//   1726 const char* method, int status  a proxy call failed in the bridge
ZOB_API ZobString zob_get_message(const char* file, int line, const char* component,
                                  int id, ...);
ZOB_API ZobString zob_get_messagev(const char* file, int line, const char* component,
                                   int id, va_list args);

// The source tag and line of the last message rendered on this thread.
ZOB_API void zobLastMessageSource(const char** file, int* line);
