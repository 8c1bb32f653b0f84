#include "listing_format.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace zohtool {
namespace {

// Dates print in the local zone; pin it for the whole program.
class UtcZone : public ::testing::Environment {
 public:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};
const auto* const kZone = ::testing::AddGlobalTestEnvironment(new UtcZone);

// 2026-11-22T08:15:30.250Z
constexpr int64_t kMillis = 1795335330250;

EntryInfo file(const std::string& path, int64_t size) {
  EntryInfo e;
  e.path = path;
  e.name = path.substr(path.rfind('/') + 1);
  e.size = size;
  e.modMillis = kMillis;
  return e;
}

TEST(PermissionString, FromTheModeOrElseOnlyWhatTheWriteFlagTells) {
  EntryInfo e = file("/a", 0);
  EXPECT_EQ("-?????????", permissionString(e));
  e.readOnly = true;
  EXPECT_EQ("-???????" "-?", permissionString(e));
  e.readOnly = false;
  e.isDir = true;
  EXPECT_EQ("d???????w?", permissionString(e));
  e.mode = 0755;
  EXPECT_EQ("drwxr-xr-x", permissionString(e));
  e.isDir = false;
  e.mode = 0640;
  EXPECT_EQ("-rw-r-----", permissionString(e));
  // Bits above the nine are not shown.
  e.mode = 01751;
  EXPECT_EQ("-rwxr-x--x", permissionString(e));
}

TEST(Dates, ListInLocalZoneToTheMinuteStatInUtcToTheSecond) {
  EXPECT_EQ("2026-11-22 08:15", formatListDate(kMillis));
  EXPECT_EQ("2026-11-22 08:15:30", formatStatDate(kMillis));
  EXPECT_EQ("1970-01-01 00:00:00", formatStatDate(0));
  // Before the epoch the second rounds down, not toward zero.
  EXPECT_EQ("1969-12-31 23:59:59", formatStatDate(-1));
}

TEST(FormatListLines, HadoopsEightColumnsWithDashesForWhatIsUnknown) {
  EntryInfo dir = file("/d/sub", 0);
  dir.isDir = true;
  dir.readOnly = true;
  EntryInfo big = file("/d/big.bin", 1234567);
  big.readOnly = false;
  const auto lines = formatListLines({dir, big});
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("d???????" "-?   - - -       0 2026-11-22 08:15 /d/sub", lines[0]);
  EXPECT_EQ("-???????w?   - - - 1234567 2026-11-22 08:15 /d/big.bin", lines[1]);

  big.owner = "alice";
  big.mode = 0644;
  const auto owned = formatListLines({dir, big}, true);
  EXPECT_EQ("d???????" "-?   - -     -     0 2026-11-22 08:15 /d/sub", owned[0]);
  EXPECT_EQ("-rw-r--r--   - alice - 1.2 M 2026-11-22 08:15 /d/big.bin", owned[1]);

  EntryInfo root = file("/", 0);
  root.isDir = true;
  root.hasDate = false;
  EXPECT_EQ("d?????????   - - - 0 -          -     /", formatListLines({root})[0]);
  EXPECT_EQ("1023", humanSize(1023));
  EXPECT_EQ("1.0 K", humanSize(1024));
  EXPECT_EQ("3.0 G", humanSize(3LL << 30));
}

TEST(FormatStat, HadoopConversions) {
  EntryInfo e = file("/d/part-0", 42);
  std::string out;
  std::string error;
  ASSERT_TRUE(formatStat("%n %b %y %F", e, &out, &error)) << error;
  EXPECT_EQ("part-0 42 2026-11-22 08:15:30 regular file", out);
  ASSERT_TRUE(formatStat("%Y|%a|%u|%g|%r|%o|100%%", e, &out, &error));
  EXPECT_EQ("1795335330250|-|-|-|-|-|100%", out);
  e.isDir = true;
  e.mode = 0750;
  e.owner = "bob";
  ASSERT_TRUE(formatStat("type=%F mode=%a perm=%A owner=%u", e, &out, &error));
  EXPECT_EQ("type=directory mode=750 perm=rwxr-x--- owner=bob", out);
  e.hasDate = false;
  ASSERT_TRUE(formatStat("%y %Y", e, &out, &error));
  EXPECT_EQ("- -", out);
}

TEST(FormatStat, RejectsUnknownAndDanglingConversions) {
  EntryInfo e = file("/x", 1);
  std::string out;
  std::string error;
  EXPECT_FALSE(formatStat("%q", e, &out, &error));
  EXPECT_EQ("unknown format conversion '%q'", error);
  EXPECT_FALSE(formatStat("size %", e, &out, &error));
  EXPECT_EQ("format ends with a lone '%'", error);
}

}  // namespace
}  // namespace zohtool
