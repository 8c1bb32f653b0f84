// ZobDate: a point in time, UTC, with millisecond precision.
//
// The one text form of a date that crosses the wire is ISO 8601 in UTC with
// milliseconds: "2026-11-22T08:15:30.250Z". assign() also accepts the form
// without milliseconds ("2026-11-22T08:15:30Z"). A default date is the Unix
// epoch and reports isSet() false.
#pragma once

#include <cstdint>

#include "zob_export.h"
#include "zob_string.h"

class ZOB_API ZobDate {
 public:
  ZobDate();
  ZobDate(const ZobDate& other);
  ZobDate& operator=(const ZobDate& other);

  // Parses a date text. A text that cannot be parsed leaves the date as it was
  // and returns false.
  bool assign(const char* text);
  // Seconds since the Unix epoch, with the milliseconds as fraction, so that
  // milliseconds = asDouble() * 1000.
  double asDouble() const;

  void setMillis(int64_t millisSinceEpoch);
  int64_t millis() const;
  bool isSet() const;
  // The wire text form; a default date gives "1970-01-01T00:00:00.000Z".
  ZobString toString() const;

 private:
  int64_t millis_ = 0;
  bool set_ = false;
};
