#include "jvm_options.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

bool has(const std::vector<std::string>& options, const std::string& option) {
  return std::find(options.begin(), options.end(), option) != options.end();
}

// A JVM given two collectors, or an initial heap above its cap, does not start:
// a user's choice must take the place of the defaults, not sit beside them.
TEST(JvmOptions, UserChoicesReplaceTheMemoryDefaultsOfTheirKind) {
  const std::vector<std::string> plain = zojni::jvmOptions(nullptr, "");
  for (const char* d : {"-XX:+UseSerialGC", "-Xms16m", "-Xmx1g", "-XX:-UsePerfData"})
    EXPECT_TRUE(has(plain, d)) << d;

  const auto capped = zojni::jvmOptions(" -Xmx8m\t-XX:+UseCompressedOops ", "");
  EXPECT_FALSE(has(capped, "-Xms16m"));
  EXPECT_FALSE(has(capped, "-Xmx1g"));
  EXPECT_TRUE(has(capped, "-XX:+UseSerialGC"));  // a -XX:+Use... that names no collector
  EXPECT_EQ(capped.back(), "-XX:+UseCompressedOops");

  const auto g1 = zojni::jvmOptions("-XX:+UseG1GC", "");
  EXPECT_FALSE(has(g1, "-XX:+UseSerialGC"));
  EXPECT_TRUE(has(g1, "-Xmx1g"));
  EXPECT_EQ(g1.back(), "-XX:+UseG1GC");
  EXPECT_EQ(g1.size(), plain.size());

  EXPECT_TRUE(has(zojni::jvmOptions(nullptr, "/a.jsa"), "-XX:SharedArchiveFile=/a.jsa"));
  EXPECT_FALSE(has(zojni::jvmOptions("-Xshare:off", "/a.jsa"), "-XX:SharedArchiveFile=/a.jsa"));
}

}  // namespace
