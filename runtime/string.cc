#include "zob_string.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace {

bool isAsciiSpace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// One unit of a text as seen by the case-insensitive comparison. A malformed
// byte keeps its own value but is flagged, so that it never compares equal to
// the code point of the same number (a stray 0xE3 is not "ã").
struct FoldUnit {
  uint32_t value;
  bool invalid;
};

// Decodes the code point at `p`, rejecting overlong forms, surrogates and values
// beyond U+10FFFF; anything else is one invalid byte.
FoldUnit decodeOne(const unsigned char* p, const unsigned char* end, int* used) {
  unsigned char lead = p[0];
  if (lead < 0x80) {
    *used = 1;
    return {lead, false};
  }
  int extra;
  uint32_t cp;
  uint32_t minimum;
  if (lead >= 0xC2 && lead <= 0xDF) {
    extra = 1;
    cp = lead & 0x1F;
    minimum = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    extra = 2;
    cp = lead & 0x0F;
    minimum = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    extra = 3;
    cp = lead & 0x07;
    minimum = 0x10000;
  } else {
    *used = 1;
    return {lead, true};
  }
  if (end - p <= extra) {
    *used = 1;
    return {lead, true};
  }
  for (int i = 1; i <= extra; ++i) {
    if ((p[i] & 0xC0) != 0x80) {
      *used = 1;
      return {lead, true};
    }
    cp = (cp << 6) | (p[i] & 0x3F);
  }
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    *used = 1;
    return {lead, true};
  }
  *used = extra + 1;
  return {cp, false};
}

// Within [first, last], letters come in upper/lower pairs with the upper case at
// the even (evenUpper) or odd position.
bool pairedFold(uint32_t cp, uint32_t first, uint32_t last, bool evenUpper,
                uint32_t* folded) {
  if (cp < first || cp > last) return false;
  bool even = (cp % 2) == 0;
  if (even == evenUpper) *folded = cp + 1;
  else *folded = cp;
  return true;
}

// Simple (one-to-one) case folding for the scripts that option names, property
// keys and Pig parameters are written in. Multi-character foldings (such as
// German sharp s) are deliberately left out: the result must stay one code point.
uint32_t simpleFold(uint32_t cp) {
  if (cp < 0x80) {
    return (cp >= 'A' && cp <= 'Z') ? cp + 0x20 : cp;
  }
  if (cp < 0x100) {
    if (cp == 0xB5) return 0x3BC;  // micro sign folds to Greek mu
    if (cp >= 0xC0 && cp <= 0xDE && cp != 0xD7) return cp + 0x20;
    return cp;
  }
  if (cp == 0x345) return 0x3B9;  // combining iota subscript
  uint32_t folded = cp;
  if (cp < 0x180) {
    if (cp == 0x130 || cp == 0x131 || cp == 0x138 || cp == 0x149) return cp;
    if (cp == 0x178) return 0xFF;
    if (cp == 0x17F) return 's';
    if (pairedFold(cp, 0x100, 0x137, true, &folded)) return folded;
    if (pairedFold(cp, 0x139, 0x148, false, &folded)) return folded;
    if (pairedFold(cp, 0x14A, 0x177, true, &folded)) return folded;
    if (pairedFold(cp, 0x179, 0x17E, false, &folded)) return folded;
    return cp;
  }
  if (cp >= 0x370 && cp < 0x400) {
    switch (cp) {
      case 0x386: return 0x3AC;
      case 0x38C: return 0x3CC;
      case 0x38E: return 0x3CD;
      case 0x38F: return 0x3CE;
      case 0x3C2: return 0x3C3;  // final sigma
      case 0x3D0: return 0x3B2;
      case 0x3D1: return 0x3B8;
      case 0x3D5: return 0x3C6;
      case 0x3D6: return 0x3C0;
      case 0x3F0: return 0x3BA;
      case 0x3F1: return 0x3C1;
      case 0x3F4: return 0x3B8;
      case 0x3F5: return 0x3B5;
      default: break;
    }
    if (cp >= 0x388 && cp <= 0x38A) return cp + 0x25;
    if (cp >= 0x391 && cp <= 0x3AB && cp != 0x3A2) return cp + 0x20;
    if (pairedFold(cp, 0x3D8, 0x3EF, true, &folded)) return folded;
    return cp;
  }
  if (cp >= 0x400 && cp < 0x530) {
    if (cp < 0x410) return cp + 0x50;
    if (cp < 0x430) return cp + 0x20;
    if (cp == 0x4C0) return 0x4CF;
    if (pairedFold(cp, 0x460, 0x481, true, &folded)) return folded;
    if (pairedFold(cp, 0x48A, 0x4BF, true, &folded)) return folded;
    if (pairedFold(cp, 0x4C1, 0x4CE, false, &folded)) return folded;
    if (pairedFold(cp, 0x4D0, 0x52F, true, &folded)) return folded;
    return cp;
  }
  return cp;
}

int compareInsensitive(const std::string& a, const std::string& b) {
  const unsigned char* pa = reinterpret_cast<const unsigned char*>(a.data());
  const unsigned char* ea = pa + a.size();
  const unsigned char* pb = reinterpret_cast<const unsigned char*>(b.data());
  const unsigned char* eb = pb + b.size();
  while (pa < ea && pb < eb) {
    int usedA = 0;
    int usedB = 0;
    FoldUnit ua = decodeOne(pa, ea, &usedA);
    FoldUnit ub = decodeOne(pb, eb, &usedB);
    uint32_t va = ua.invalid ? ua.value : simpleFold(ua.value);
    uint32_t vb = ub.invalid ? ub.value : simpleFold(ub.value);
    if (va != vb) return va < vb ? -1 : 1;
    if (ua.invalid != ub.invalid) return ua.invalid ? 1 : -1;
    pa += usedA;
    pb += usedB;
  }
  if (pa < ea) return 1;
  if (pb < eb) return -1;
  return 0;
}

// Parses an optionally signed decimal with surrounding white space into the
// range [low, high]; false on anything else.
bool parseDecimal(const std::string& text, int64_t low, int64_t high, int64_t* out) {
  std::size_t i = 0;
  std::size_t n = text.size();
  while (i < n && isAsciiSpace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < n && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  // Accumulate as a negative number so that the lowest value fits.
  int64_t value = 0;
  std::size_t digits = 0;
  while (i < n && text[i] >= '0' && text[i] <= '9') {
    int digit = text[i] - '0';
    if (value < (std::numeric_limits<int64_t>::min() + digit) / 10) return false;
    value = value * 10 - digit;
    ++digits;
    ++i;
  }
  while (i < n && isAsciiSpace(static_cast<unsigned char>(text[i]))) ++i;
  if (digits == 0 || i != n) return false;
  if (!negative) {
    if (value < -high) return false;
    value = -value;
  } else if (value < low) {
    return false;
  }
  *out = value;
  return true;
}

}  // namespace

ZobString::ZobString() = default;

ZobString::ZobString(const char* text, bool /*literal*/) { assign(text); }

ZobString::ZobString(const char* text, std::size_t bytes) { assign(text, bytes); }

ZobString::ZobString(const ZobString& other) = default;

ZobString::ZobString(ZobString&& other) noexcept
    : text_(std::move(other.text_)), null_(other.null_) {
  other.text_.clear();
  other.null_ = true;
}

ZobString& ZobString::operator=(const ZobString& other) = default;

ZobString& ZobString::operator=(ZobString&& other) noexcept {
  if (this != &other) {
    text_ = std::move(other.text_);
    null_ = other.null_;
    other.text_.clear();
    other.null_ = true;
  }
  return *this;
}

ZobString::~ZobString() = default;

void ZobString::assign(const char* text) {
  if (text == nullptr) {
    setNull(true);
    return;
  }
  text_.assign(text);
  null_ = false;
}

void ZobString::assign(const char* text, std::size_t bytes) {
  if (text == nullptr) {
    setNull(true);
    return;
  }
  text_.assign(text, bytes);
  null_ = false;
}

void ZobString::append(const ZobString& text, bool* failed) {
  if (&text == this) {
    // Appending to itself: take a copy first so the source does not move.
    ZobString copy(*this);
    append(copy, failed);
    return;
  }
  append(text.asCstr(), failed);
}

void ZobString::append(const char* text, bool* failed) {
  bool grew = true;
  try {
    if (text != nullptr) text_.append(text);
    null_ = false;
  } catch (const std::bad_alloc&) {
    grew = false;
  } catch (const std::length_error&) {
    grew = false;
  }
  if (failed != nullptr) *failed = !grew;
}

const char* ZobString::asCstr() const { return text_.c_str(); }

int ZobString::cStrSize() const { return static_cast<int>(text_.size()) + 1; }

int ZobString::length() const { return static_cast<int>(text_.size()); }

bool ZobString::isNull() const { return null_; }

int ZobString::compare(const ZobString& other, bool caseSensitive) const {
  if (!caseSensitive) return compareInsensitive(text_, other.text_);
  // std::string compares char_traits<char>, i.e. as unsigned bytes, which is
  // also code point order for valid UTF-8.
  int c = text_.compare(other.text_);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

void ZobString::setNull(bool keepStorage) {
  if (keepStorage) {
    text_.clear();
  } else {
    std::string().swap(text_);
  }
  null_ = true;
}

void ZobString::trim(bool leading, bool trailing) {
  std::size_t begin = 0;
  std::size_t end = text_.size();
  if (trailing) {
    while (end > 0 && isAsciiSpace(static_cast<unsigned char>(text_[end - 1]))) --end;
  }
  if (leading) {
    while (begin < end && isAsciiSpace(static_cast<unsigned char>(text_[begin]))) {
      ++begin;
    }
  }
  text_.erase(end);
  text_.erase(0, begin);
}

int ZobString::asInt(bool* failed) const {
  int64_t value = 0;
  bool ok = parseDecimal(text_, std::numeric_limits<int>::min(),
                         std::numeric_limits<int>::max(), &value);
  if (failed != nullptr) *failed = !ok;
  return ok ? static_cast<int>(value) : 0;
}

int64_t ZobString::asInt64(bool* failed) const {
  int64_t value = 0;
  bool ok = parseDecimal(text_, std::numeric_limits<int64_t>::min(),
                         std::numeric_limits<int64_t>::max(), &value);
  if (failed != nullptr) *failed = !ok;
  return ok ? value : 0;
}

int ZobString::rfind(const ZobString& what) const {
  if (what.text_.empty()) return -1;
  std::size_t pos = text_.rfind(what.text_);
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

ZobString ZobString::mid(unsigned int start, int n) const {
  ZobString result("");
  if (start >= text_.size()) return result;
  std::size_t count = n < 0 ? std::string::npos : static_cast<std::size_t>(n);
  result.text_ = text_.substr(start, count);
  return result;
}

void ZobString::truncate(unsigned int n) {
  if (n < text_.size()) text_.resize(n);
}

bool ZobString::operator==(const ZobString& other) const {
  if (null_ || other.null_) return null_ == other.null_;
  return text_ == other.text_;
}

std::string ZobString::str() const { return text_; }

ZobString zobStringFormatV(const char* format, va_list args) {
  ZobString result("");
  if (format == nullptr) return result;
  char small[256];
  va_list copy;
  va_copy(copy, args);
  int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return result;
  if (static_cast<std::size_t>(needed) < sizeof small) {
    result.assign(small, static_cast<std::size_t>(needed));
    return result;
  }
  std::string big(static_cast<std::size_t>(needed) + 1, '\0');
  va_copy(copy, args);
  std::vsnprintf(&big[0], big.size(), format, copy);
  va_end(copy);
  result.assign(big.data(), static_cast<std::size_t>(needed));
  return result;
}

ZobString zobStringFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  ZobString result = zobStringFormatV(format, args);
  va_end(args);
  return result;
}
