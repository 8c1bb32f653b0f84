#include "zob_uniq.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>

namespace {

constexpr uint64_t kNineBase36Digits = 101559956668416ULL;  // 36^9

std::atomic<uint64_t> counter{0};

// Milliseconds at first use: with the process id it tells this process from an
// earlier one that had the same id, so ids stay distinct across restarts too. A
// function-local static, so that a caller's static initialiser gets it set.
uint64_t startMillis() {
  static const uint64_t millis = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(
          std::chrono::system_clock::now().time_since_epoch())
          .count());
  return millis;
}

// Base 36 keeps the widest id within the 31 characters a caller's buffer allows:
// a pid of at most 6 digits, the start time cut to 9, the counter at most 13,
// and two separators.
char* appendBase36(char* out, uint64_t value) {
  char digits[16];
  int n = 0;
  do {
    digits[n++] = "0123456789abcdefghijklmnopqrstuvwxyz"[value % 36];
    value /= 36;
  } while (value != 0);
  while (n > 0) *out++ = digits[--n];
  return out;
}

}  // namespace

char* np_uniq_s64(char* buffer) {
  uint64_t sequence = counter.fetch_add(1, std::memory_order_relaxed);
  char* p = buffer;
  // The process id is read on every call so that a forked child does not
  // repeat its parent's ids.
  p = appendBase36(p, static_cast<uint64_t>(getpid()));
  *p++ = '-';
  p = appendBase36(p, startMillis() % kNineBase36Digits);
  *p++ = '-';
  p = appendBase36(p, sequence);
  *p = '\0';
  return buffer;
}
