// Reads a fuzzer's bytes as a stream of small decisions and texts. Past the
// end every read gives zero or empty, so a target never runs out of input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return pos_ >= size_; }
  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  int32_t int32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
    return static_cast<int32_t>(v);
  }
  int64_t int64() {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | byte();
    return static_cast<int64_t>(v);
  }
  // Up to `max` bytes, the count taken from the input first.
  std::string text(size_t max = 64) {
    size_t n = byte() % (max + 1);
    if (n > size_ - pos_) n = size_ - pos_;
    std::string out(reinterpret_cast<const char*>(data_ + pos_), n);
    pos_ += n;
    return out;
  }
  std::string rest() {
    std::string out(reinterpret_cast<const char*>(data_ + pos_), size_ - pos_);
    pos_ = size_;
    return out;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// A finding: print what broke and stop, so that libFuzzer keeps the input.
#define FUZZ_CHECK(condition, ...)                                  \
  do {                                                              \
    if (!(condition)) {                                             \
      std::fprintf(stderr, "fuzz check failed: %s: ", #condition); \
      std::fprintf(stderr, __VA_ARGS__);                            \
      std::fprintf(stderr, "\n");                                   \
      std::abort();                                                 \
    }                                                               \
  } while (0)
