// A transfer progress bar on standard error. It appears only on a terminal
// and only once a transfer has run for a while, so that short copies and
// pipes stay quiet.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace zohtool {

// One line of the bar, without the carriage return: label, percentage, bar,
// amounts and rate. `total` < 0 means unknown (no percentage, no bar).
std::string renderProgressLine(const std::string& label, int64_t done, int64_t total,
                               double elapsedSeconds, int width);

// "12.3 MiB" style amounts.
std::string humanBytes(double bytes);

class ProgressBar {
 public:
  // `enabled` false makes every call a no-op. The bar shows up after `delay`.
  ProgressBar(std::FILE* out, bool enabled, std::string label, int64_t total,
              std::chrono::milliseconds delay);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void update(int64_t done);
  // Draws the final state (when the bar was shown) and ends its line.
  void finish();

  // Whether standard error is a terminal, and the delay the environment asks
  // for (ZOH_PROGRESS_DELAY_MS, default one second).
  static bool stderrIsTerminal();
  static std::chrono::milliseconds delayFromEnvironment();

 private:
  void draw();

  std::FILE* out_;
  bool enabled_;
  std::string label_;
  int64_t total_;
  int64_t done_ = 0;
  std::chrono::milliseconds delay_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDraw_;
  bool shown_ = false;
  bool finished_ = false;
};

}  // namespace zohtool
