#include "progress_bar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace zohtool {
namespace {

TEST(HumanBytes, Units) {
  EXPECT_EQ("0 B", humanBytes(0));
  EXPECT_EQ("1023 B", humanBytes(1023));
  EXPECT_EQ("1.0 KiB", humanBytes(1024));
  EXPECT_EQ("1.5 MiB", humanBytes(1.5 * 1024 * 1024));
  EXPECT_EQ("2048.0 TiB", humanBytes(2048.0 * 1024 * 1024 * 1024 * 1024));
}

TEST(RenderProgressLine, FillsTheWidthInProportion) {
  const std::string half = renderProgressLine("f", 512, 1024, 1.0, 60);
  EXPECT_EQ(60u, half.size() + 1);  // one column stays free for the cursor
  EXPECT_NE(std::string::npos, half.find(" 50% ["));
  EXPECT_NE(std::string::npos, half.find("512 B / 1.0 KiB  512 B/s"));
  const auto open = half.find('[');
  const auto close = half.find(']');
  const std::string bar = half.substr(open + 1, close - open - 1);
  EXPECT_EQ(bar.size() / 2, bar.find('>'));

  const std::string full = renderProgressLine("f", 1024, 1024, 2.0, 60);
  EXPECT_NE(std::string::npos, full.find("100% [="));
  EXPECT_EQ(std::string::npos, full.find('>'));
}

TEST(RenderProgressLine, EdgeAmounts) {
  // Past the total (the file grew) stays at 100%; an empty file is done.
  EXPECT_NE(std::string::npos, renderProgressLine("f", 2000, 1000, 1, 80).find("100%"));
  EXPECT_NE(std::string::npos, renderProgressLine("f", 0, 0, 0, 80).find("100%"));
  // Unknown total: amounts and rate only.
  const std::string unknown = renderProgressLine("stdin", 3 * 1024, -1, 1.5, 80);
  EXPECT_EQ("stdin  3.0 KiB  2.0 KiB/s", unknown);
  // A narrow terminal still gets a usable bar.
  const std::string narrow = renderProgressLine("a-rather-long-name", 1, 2, 1, 10);
  EXPECT_GE(narrow.find(']') - narrow.find('['), 11u);
}

// Captures what a bar writes.
class Captured {
 public:
  ~Captured() {
    std::fclose(file_);
    std::free(data_);
  }
  std::FILE* get() { return file_; }
  std::string text() { return std::fflush(file_) == 0 ? std::string(data_, size_) : ""; }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
  std::FILE* file_ = open_memstream(&data_, &size_);
};

TEST(ProgressBar, DisabledOrShortTransfersWriteNothing) {
  Captured out;
  {
    ProgressBar off(out.get(), false, "x", 100, std::chrono::milliseconds(0));
    off.update(50);
    off.finish();
    ProgressBar quick(out.get(), true, "x", 100, std::chrono::hours(1));
    quick.update(100);
  }
  EXPECT_EQ("", out.text());
}

TEST(ProgressBar, ShownTransferEndsWithTheFinalStateOnItsOwnLine) {
  Captured out;
  {
    ProgressBar bar(out.get(), true, "data.bin", 1000, std::chrono::milliseconds(0));
    bar.update(10);
    bar.update(1000);  // within 100 ms of the first draw: not drawn yet
  }
  const std::string text = out.text();
  EXPECT_EQ(0u, text.find("\rdata.bin    1% ["));
  EXPECT_NE(std::string::npos, text.find("\rdata.bin  100% ["));
  EXPECT_EQ('\n', text.back());
  EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n'));
}

}  // namespace
}  // namespace zohtool
