#include "hadoop_path.h"

#include <gtest/gtest.h>

namespace zohtool {
namespace {

TEST(HasScheme, OnlySchemeThenDoubleSlash) {
  EXPECT_TRUE(hasScheme("hdfs://nn/x"));
  EXPECT_TRUE(hasScheme("file:///tmp"));
  EXPECT_TRUE(hasScheme("s3a+x.y-z://b/k"));
  EXPECT_FALSE(hasScheme("/tmp/a://b"));
  EXPECT_FALSE(hasScheme("://x"));
  EXPECT_FALSE(hasScheme("1fs://x"));
  EXPECT_FALSE(hasScheme("file:/tmp"));
  EXPECT_FALSE(hasScheme("relative/path"));
}

TEST(EscapeUnsafe, EncodesWhatNoUriMayHoldAndKeepsSyntax) {
  EXPECT_EQ("/a%20b/c%23d", escapeUnsafe("/a b/c#d"));
  EXPECT_EQ("/x%C3%A9", escapeUnsafe("/x\xC3\xA9"));
  // Typed escapes and items survive; a stray '%' does not start one.
  EXPECT_EQ("/a%20b?dfs.replication=2&buffer-size=10", escapeUnsafe("/a%20b?dfs.replication=2&buffer-size=10"));
  EXPECT_EQ("/100%25/x%25", escapeUnsafe("/100%/x%"));
  EXPECT_EQ("/a%25zz", escapeUnsafe("/a%zz"));
}

TEST(EncodeComponent, ProtectsItemSeparators) {
  EXPECT_EQ("a%3Db%26c", encodeComponent("a=b&c"));
  EXPECT_EQ("hdfs://nn:8020/x,y", encodeComponent("hdfs://nn:8020/x,y"));
  EXPECT_EQ("%20%3F%25", encodeComponent(" ?%"));
}

TEST(BuildUriText, OptionsBecomeItemsInOrder) {
  GenericOptions options;
  options.confFiles = {"/etc/a site.xml"};
  options.defines = {{"dfs.replication", "2"}, {"x", "a&b=c"}};
  bool userApplied = true;
  EXPECT_EQ("/data/in?resource=/etc/a%20site.xml&dfs.replication=2&x=a%26b%3Dc",
            buildUriText("/data/in", options, &userApplied));
  EXPECT_FALSE(userApplied);
  // Items already typed stay first; ours join with '&'.
  EXPECT_EQ("/d?buffer-size=8&resource=/etc/a%20site.xml&dfs.replication=2&x=a%26b%3Dc",
            buildUriText("/d?buffer-size=8", options, &userApplied));
}

TEST(BuildUriText, UserGoesIntoTheAuthorityOfAUriOnly) {
  GenericOptions options;
  options.user = "bob smith";
  bool userApplied = false;
  EXPECT_EQ("hdfs://bob%20smith@nn:8020/x", buildUriText("hdfs://nn:8020/x", options, &userApplied));
  EXPECT_TRUE(userApplied);
  EXPECT_EQ("file://bob%20smith@/tmp/x", buildUriText("file:///tmp/x", options, &userApplied));
  EXPECT_EQ("hdfs://bob%20smith@nn?a=1", buildUriText("hdfs://nn?a=1", options, &userApplied));
  // A user written in the URI wins, and counts as applied.
  EXPECT_EQ("hdfs://alice@nn/x", buildUriText("hdfs://alice@nn/x", options, &userApplied));
  EXPECT_TRUE(userApplied);
  EXPECT_EQ("/plain", buildUriText("/plain", options, &userApplied));
  EXPECT_FALSE(userApplied);
}

TEST(PathArithmetic, ParentBaseJoin) {
  EXPECT_EQ("/a", parentPath("/a/b"));
  EXPECT_EQ("/a", parentPath("/a/b/"));
  EXPECT_EQ("/", parentPath("/a"));
  EXPECT_EQ("", parentPath("/"));
  EXPECT_EQ(".", parentPath("a"));
  EXPECT_EQ("a", parentPath("a/b"));

  EXPECT_EQ("b", baseName("/a/b"));
  EXPECT_EQ("b", baseName("/a/b//"));
  EXPECT_EQ("/", baseName("/"));
  EXPECT_EQ("a", baseName("a"));

  EXPECT_EQ("/d/x", joinPath("/d", "x"));
  EXPECT_EQ("/d/x", joinPath("/d/", "x"));
  EXPECT_EQ("x", joinPath("", "x"));
  EXPECT_EQ("/d", joinPath("/d", ""));

  EXPECT_EQ("hdfs://nn/x", withoutItems("hdfs://nn/x?a=1&b=2"));
  EXPECT_EQ("/x", withoutItems("/x"));
}

}  // namespace
}  // namespace zohtool
