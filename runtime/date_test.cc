#include "zob_date.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

TEST(ZobDateTest, DefaultIsUnsetEpoch) {
  ZobDate date;
  EXPECT_FALSE(date.isSet());
  EXPECT_EQ(0, date.millis());
  EXPECT_DOUBLE_EQ(0.0, date.asDouble());
  EXPECT_STREQ("1970-01-01T00:00:00.000Z", date.toString().asCstr());
}

TEST(ZobDateTest, ParsesWireFormWithAndWithoutMilliseconds) {
  struct Case {
    const char* text;
    int64_t millis;
  };
  const Case cases[] = {
      {"2026-11-22T08:15:30.250Z", 1795335330250LL},
      {"2026-11-22T08:15:30Z", 1795335330000LL},
      {"2000-02-29T00:00:00.000Z", 951782400000LL},
      {"1600-03-01T00:00:00Z", -11670912000000LL},
      {"9999-12-31T23:59:59.999Z", 253402300799999LL},
      {"0001-01-01T00:00:00Z", -62135596800000LL},
      {"1969-12-31T23:59:59.999Z", -1},
      {"2026-11-22T08:15:30.5Z", 1795335330500LL},
  };
  for (const Case& c : cases) {
    ZobDate date;
    ASSERT_TRUE(date.assign(c.text)) << c.text;
    EXPECT_TRUE(date.isSet());
    EXPECT_EQ(c.millis, date.millis()) << c.text;
    EXPECT_DOUBLE_EQ(static_cast<double>(c.millis), date.asDouble() * 1000) << c.text;
  }
  ZobDate date;
  date.assign("2026-11-22T08:15:30.250Z");
  EXPECT_DOUBLE_EQ(1795335330.25, date.asDouble());
  EXPECT_STREQ("2026-11-22T08:15:30.250Z", date.toString().asCstr());
}

TEST(ZobDateTest, BadTextLeavesTheDateUnchanged) {
  const char* bad[] = {
      "",
      "2026-11-22T08:15:30",  // no zone: only UTC crosses the wire
      "2026-11-22 08:15:30Z",
      "2026-13-01T00:00:00Z",
      "2026-00-10T00:00:00Z",
      "2026-04-31T00:00:00Z",
      "2023-02-29T00:00:00Z",
      "1900-02-29T00:00:00Z",
      "2026-11-00T00:00:00Z",
      "2026-11-22T24:00:00Z",
      "2026-11-22T08:60:00Z",
      "2026-11-22T08:15:60Z",
      "2026-11-22T08:15:30.Z",
      "2026-11-22T08:15:30.1234Z",
      "2026-11-22T08:15:30.250Zjunk",
      "+026-11-22T08:15:30Z",
  };
  ZobDate date;
  ASSERT_TRUE(date.assign("2026-11-22T08:15:30.250Z"));
  for (const char* text : bad) {
    EXPECT_FALSE(date.assign(text)) << text;
    EXPECT_EQ(1795335330250LL, date.millis()) << text;
  }
  EXPECT_FALSE(date.assign(nullptr));
  ZobDate unset;
  EXPECT_FALSE(unset.assign("garbage"));
  EXPECT_FALSE(unset.isSet());
}

TEST(ZobDateTest, DoesNotDependOnTheProcessTimeZone) {
  const char* old = std::getenv("TZ");
  std::string saved = old ? old : "";
  setenv("TZ", "Pacific/Chatham", 1);
  tzset();
  ZobDate date;
  ASSERT_TRUE(date.assign("2026-06-01T12:00:00Z"));
  EXPECT_EQ(1780315200000LL, date.millis());
  EXPECT_STREQ("2026-06-01T12:00:00.000Z", date.toString().asCstr());
  if (old) setenv("TZ", saved.c_str(), 1);
  else unsetenv("TZ");
  tzset();
}

TEST(ZobDateTest, ExtremeMillisStillFormat) {
  ZobDate date;
  date.setMillis(INT64_MIN);
  EXPECT_STREQ("-292275055-05-16T16:47:04.192Z", date.toString().asCstr());
  date.setMillis(INT64_MAX);
  EXPECT_STREQ("292278994-08-17T07:12:55.807Z", date.toString().asCstr());
}

}  // namespace
