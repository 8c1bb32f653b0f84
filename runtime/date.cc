#include "zob_date.h"

#include <cstdio>

namespace {

constexpr int64_t kMillisPerDay = 86400000;

bool isLeapYear(int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int64_t year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month == 2 && isLeapYear(year)) return 29;
  return kDays[month - 1];
}

int64_t floorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Dates are computed on a proleptic Gregorian calendar whose years begin in
// March, which puts the leap day at the end of the year and makes the day of
// the year a simple function of the month. No C library time call is used: they
// depend on the process's time zone and on the width of time_t.
int64_t daysFromCivil(int64_t year, int month, int day) {
  if (month <= 2) --year;
  int64_t era = floorDiv(year, 400);
  int64_t yearOfEra = year - era * 400;                      // [0, 399]
  int shiftedMonth = month > 2 ? month - 3 : month + 9;      // March = 0
  int64_t dayOfYear = (153 * shiftedMonth + 2) / 5 + day - 1;  // [0, 365]
  int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  // 719468 days lie between 0000-03-01 and 1970-01-01.
  return era * 146097 + dayOfEra - 719468;
}

void civilFromDays(int64_t days, int64_t* year, int* month, int* day) {
  days += 719468;
  int64_t era = floorDiv(days, 146097);
  int64_t dayOfEra = days - era * 146097;  // [0, 146096]
  int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  int shiftedMonth = static_cast<int>((5 * dayOfYear + 2) / 153);
  *day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  *month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  *year = yearOfEra + era * 400 + (*month <= 2 ? 1 : 0);
}

// Reads exactly `count` digits.
bool readDigits(const char*& p, int count, int* value) {
  int v = 0;
  for (int i = 0; i < count; ++i) {
    if (p[i] < '0' || p[i] > '9') return false;
    v = v * 10 + (p[i] - '0');
  }
  p += count;
  *value = v;
  return true;
}

bool expect(const char*& p, char c) {
  if (*p != c) return false;
  ++p;
  return true;
}

// "YYYY-MM-DDTHH:MM:SS[.f{1,3}]Z", UTC only.
bool parseIsoUtc(const char* text, int64_t* millis) {
  const char* p = text;
  int year, month, day, hour, minute, second;
  if (!readDigits(p, 4, &year) || !expect(p, '-') || !readDigits(p, 2, &month) ||
      !expect(p, '-') || !readDigits(p, 2, &day) || !expect(p, 'T') ||
      !readDigits(p, 2, &hour) || !expect(p, ':') || !readDigits(p, 2, &minute) ||
      !expect(p, ':') || !readDigits(p, 2, &second)) {
    return false;
  }
  int fraction = 0;
  if (*p == '.') {
    ++p;
    int digits = 0;
    while (p[0] >= '0' && p[0] <= '9' && digits < 3) {
      fraction = fraction * 10 + (p[0] - '0');
      ++p;
      ++digits;
    }
    if (digits == 0) return false;
    for (; digits < 3; ++digits) fraction *= 10;
  }
  if (!expect(p, 'Z') || *p != '\0') return false;
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) ||
      hour > 23 || minute > 59 || second > 59) {
    return false;
  }
  int64_t days = daysFromCivil(year, month, day);
  *millis = days * kMillisPerDay +
            (static_cast<int64_t>(hour) * 3600 + minute * 60 + second) * 1000 + fraction;
  return true;
}

}  // namespace

ZobDate::ZobDate() = default;

ZobDate::ZobDate(const ZobDate& other) = default;

ZobDate& ZobDate::operator=(const ZobDate& other) = default;

bool ZobDate::assign(const char* text) {
  if (text == nullptr) return false;
  int64_t millis = 0;
  if (!parseIsoUtc(text, &millis)) return false;
  setMillis(millis);
  return true;
}

double ZobDate::asDouble() const { return static_cast<double>(millis_) / 1000.0; }

void ZobDate::setMillis(int64_t millisSinceEpoch) {
  millis_ = millisSinceEpoch;
  set_ = true;
}

int64_t ZobDate::millis() const { return millis_; }

bool ZobDate::isSet() const { return set_; }

ZobString ZobDate::toString() const {
  // Split without multiplying back: days * kMillisPerDay overflows for the
  // earliest representable dates.
  int64_t days = millis_ / kMillisPerDay;
  int64_t inDay = millis_ % kMillisPerDay;
  if (inDay < 0) {
    inDay += kMillisPerDay;
    --days;
  }
  int64_t year = 0;
  int month = 0;
  int day = 0;
  civilFromDays(days, &year, &month, &day);
  int64_t seconds = inDay / 1000;
  return zobStringFormat("%04lld-%02d-%02dT%02d:%02d:%02d.%03dZ",
                         static_cast<long long>(year), month, day,
                         static_cast<int>(seconds / 3600),
                         static_cast<int>(seconds / 60 % 60),
                         static_cast<int>(seconds % 60),
                         static_cast<int>(inDay % 1000));
}
