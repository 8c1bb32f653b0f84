#include "progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace zohtool {

namespace {

int terminalWidth(int fd) {
  winsize size{};
  if (ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 20) return size.ws_col;
  return 80;
}

}  // namespace

std::string humanBytes(double bytes) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (bytes >= 1024.0 && unit < 4) {
    bytes /= 1024.0;
    ++unit;
  }
  char text[32];
  if (unit == 0) {
    std::snprintf(text, sizeof text, "%.0f %s", bytes, kUnits[unit]);
  } else {
    std::snprintf(text, sizeof text, "%.1f %s", bytes, kUnits[unit]);
  }
  return text;
}

std::string renderProgressLine(const std::string& label, int64_t done, int64_t total,
                               double elapsedSeconds, int width) {
  const double rate = elapsedSeconds > 0 ? done / elapsedSeconds : 0.0;
  std::string amounts = humanBytes(static_cast<double>(done));
  if (total >= 0) amounts += " / " + humanBytes(static_cast<double>(total));
  amounts += "  " + humanBytes(rate) + "/s";
  if (total < 0) return label + "  " + amounts;

  const int64_t clamped = std::min(std::max<int64_t>(done, 0), total);
  const int percent = total == 0 ? 100 : static_cast<int>(clamped * 100 / total);
  char head[16];
  std::snprintf(head, sizeof head, "%3d%% ", percent);
  // What remains of the width goes to the bar itself, at least 10 cells.
  const int fixed = static_cast<int>(label.size() + 2 + 5 + 2 + 2 + amounts.size());
  const int cells = std::max(10, width - fixed - 1);
  const int filled =
      total == 0 ? cells : static_cast<int>(static_cast<double>(clamped) * cells / total);
  std::string bar(static_cast<size_t>(filled), '=');
  if (filled < cells) bar += '>';
  bar.resize(static_cast<size_t>(cells), ' ');
  return label + "  " + head + "[" + bar + "]  " + amounts;
}

ProgressBar::ProgressBar(std::FILE* out, bool enabled, std::string label, int64_t total,
                         std::chrono::milliseconds delay)
    : out_(out),
      enabled_(enabled),
      label_(std::move(label)),
      total_(total),
      delay_(delay),
      start_(std::chrono::steady_clock::now()),
      lastDraw_(start_) {}

ProgressBar::~ProgressBar() { finish(); }

void ProgressBar::update(int64_t done) {
  done_ = done;
  if (!enabled_ || finished_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - start_ < delay_) return;
  if (shown_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
  lastDraw_ = now;
  draw();
}

void ProgressBar::finish() {
  if (finished_) return;
  finished_ = true;
  if (!enabled_ || !shown_) return;
  draw();
  std::fputc('\n', out_);
  std::fflush(out_);
}

void ProgressBar::draw() {
  shown_ = true;
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const std::string line =
      renderProgressLine(label_, done_, total_, elapsed, terminalWidth(fileno(out_)));
  // "\r" and clear-to-end-of-line redraw in place.
  std::fprintf(out_, "\r%s\x1b[K", line.c_str());
  std::fflush(out_);
}

bool ProgressBar::stderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

std::chrono::milliseconds ProgressBar::delayFromEnvironment() {
  const char* text = std::getenv("ZOH_PROGRESS_DELAY_MS");
  if (text && *text) {
    char* end = nullptr;
    const long ms = std::strtol(text, &end, 10);
    if (end && *end == '\0' && ms >= 0) return std::chrono::milliseconds(ms);
  }
  return std::chrono::milliseconds(1000);
}

}  // namespace zohtool
