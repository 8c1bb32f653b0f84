// ZobString: the text type of every platform and library interface.
//
// Content is UTF-8. Positions and lengths (length, rfind, mid, truncate) count
// bytes, so that a split at an ASCII separator never lands inside a character.
//
// A string is either null or holds text (possibly empty). The null state is what
// an error argument holds when there is no error. A default-constructed string is
// null; ZobString("") is empty but not null. Both have length() 0 and
// asCstr() "".
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "zob_export.h"

class ZOB_API ZobString {
 public:
  ZobString();
  // `literal` tells that `text` is a string literal of the caller's program; the
  // string copies the text either way, so the flag only documents the origin.
  ZobString(const char* text, bool literal = false);  // NOLINT(runtime/explicit)
  ZobString(const char* text, std::size_t bytes);
  ZobString(const ZobString& other);
  ZobString(ZobString&& other) noexcept;
  ZobString& operator=(const ZobString& other);
  ZobString& operator=(ZobString&& other) noexcept;
  ~ZobString();

  // Replaces the content; a null pointer makes the string null.
  void assign(const char* text);
  void assign(const char* text, std::size_t bytes);

  // Appends; a null string becomes non-null. `failed`, when given, is always
  // written: true when the string could not grow (the content is then unchanged).
  void append(const ZobString& text, bool* failed);
  void append(const char* text, bool* failed);

  // NUL-terminated content, never null; valid until the string changes or dies.
  const char* asCstr() const;
  // Bytes of the content including the terminating NUL (1 for empty and null).
  int cStrSize() const;
  // Bytes of the content; 0 for empty and null strings.
  int length() const;
  bool isNull() const;

  // Negative, zero or positive. With caseSensitive false, both texts are compared
  // code point by code point after simple case folding (ASCII, Latin-1, Latin
  // Extended-A, Greek and Cyrillic letters); a null string sorts as empty.
  int compare(const ZobString& other, bool caseSensitive) const;

  // Puts the string into the null state. `keepStorage` true keeps the allocated
  // buffer for reuse; false frees it.
  void setNull(bool keepStorage);

  // Strips ASCII white space at the chosen ends.
  void trim(bool leading, bool trailing);

  // Decimal number with optional sign and surrounding white space. On any other
  // text, or overflow, the result is 0 and *failed (when given) is true.
  int asInt(bool* failed) const;
  int64_t asInt64(bool* failed) const;

  // Byte position of the last occurrence of `what`, -1 when absent (and for an
  // empty `what`).
  int rfind(const ZobString& what) const;
  // `n` bytes from `start` (-1: to the end); clipped to the content. The result is
  // never null.
  ZobString mid(unsigned int start, int n) const;
  // Keeps the first `n` bytes.
  void truncate(unsigned int n);

  // Exact (byte-wise) equality; null equals only null.
  bool operator==(const ZobString& other) const;
  bool operator!=(const ZobString& other) const { return !(*this == other); }

  std::string str() const;

 private:
  std::string text_;
  bool null_ = true;
};

// Key order of the library's string-keyed maps: keys compare without regard to
// letter case, so an entry keeps the spelling of the key it was first inserted
// with.
struct ZOB_API ZobStringLessInsensitive {
  bool operator()(const ZobString& a, const ZobString& b) const {
    return a.compare(b, false) < 0;
  }
};

// printf-style formatting into a new (non-null) string. Arguments are plain C
// values; pass asCstr() for a ZobString.
ZOB_API ZobString zobStringFormat(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
ZOB_API ZobString zobStringFormatV(const char* format, va_list args);
