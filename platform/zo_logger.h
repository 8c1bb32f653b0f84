// Named loggers of the platform.
//
// Each logger writes one line per event to standard error:
//   2026-11-22T08:15:30.250Z INFO  ZO.Hadoop [src/zohadoop:123] text
// Lines below the threshold are dropped. Environment:
//   ZO_LOG_LEVEL  threshold, a number 0-6 or a name (trace, debug, info, warning,
//                 notice, error, fatal); default: warning (3)
//   ZO_LOG_FILE   also append every line to this file
// A capture hook sees every event, whatever the threshold (hosts and tests).
#pragma once

#include <cstdarg>

#include "zob_export.h"

enum ZoLoggingLevel {
  ZOLOG_TRACE = 0,
  ZOLOG_DEBUG = 1,
  ZOLOG_INFO = 2,     // life cycle and progress
  ZOLOG_WARNING = 3,  // failures that do not stop an operation
  ZOLOG_NOTICE = 4,
  ZOLOG_ERROR = 5,
  ZOLOG_FATAL = 6,
};

class ZOB_API ZoLogger_ {
 public:
  virtual const char* getName() const = 0;
  virtual bool isEnabled(ZoLoggingLevel level) const = 0;
  // A finished text line. Returns 0.
  virtual int logText(ZoLoggingLevel level, const char* file, int line,
                      const char* text) = 0;
  virtual void setLevel(ZoLoggingLevel level) = 0;
  // A printf format with its arguments. Returns 0.
  virtual int logFormatV(ZoLoggingLevel level, const char* file, int line,
                         const char* format, va_list args) = 0;
  virtual ZoLoggingLevel getLevel() const = 0;
  // A catalogue message of the component "Hadoop Client". Returns 0.
  virtual int logMessageV(ZoLoggingLevel level, const char* file, int line, int id,
                          va_list args) = 0;

  int logEvent(ZoLoggingLevel level, const char* file, int line, const char* format,
               ...) __attribute__((format(printf, 5, 6)));
  int logEvent(ZoLoggingLevel level, const char* file, int line, int id, ...);

 protected:
  ~ZoLogger_() = default;
};

// The logger of that name; loggers live as long as the process and are never
// released.
ZOB_API ZoLogger_* zologGetLogger(const char* name);

// Sets the threshold of every logger (as ZO_LOG_LEVEL does).
ZOB_API void zologSetThreshold(ZoLoggingLevel level);

typedef void (*ZoLogCapture)(void* context, ZoLoggingLevel level, const char* logger,
                             const char* file, int line, const char* text);
// Installs (or, with null, removes) the one capture hook.
ZOB_API void zologSetCapture(ZoLogCapture capture, void* context);
