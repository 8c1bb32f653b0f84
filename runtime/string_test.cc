#include "zob_string.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(ZobStringTest, NullAndEmptyAreDistinctButBothReadAsNothing) {
  ZobString null;
  ZobString empty("");
  EXPECT_TRUE(null.isNull());
  EXPECT_FALSE(empty.isNull());
  for (const ZobString* s : {&null, &empty}) {
    EXPECT_EQ(0, s->length());
    EXPECT_EQ(1, s->cStrSize());
    EXPECT_STREQ("", s->asCstr());
  }
  EXPECT_FALSE(null == empty);
  EXPECT_TRUE(null == ZobString());
  EXPECT_TRUE(empty == ZobString("", true));
  EXPECT_TRUE(ZobString(static_cast<const char*>(nullptr)).isNull());

  ZobString s("abc");
  s.setNull(false);
  EXPECT_TRUE(s.isNull());
  EXPECT_EQ(0, s.length());
  s.assign("x");
  s.setNull(true);
  EXPECT_TRUE(s.isNull());
  EXPECT_STREQ("", s.asCstr());
  s.assign(nullptr);
  EXPECT_TRUE(s.isNull());
}

TEST(ZobStringTest, MovedFromStringIsNullAndCopiesAreIndependent) {
  ZobString a("payload");
  ZobString b(a);
  b.append("!", nullptr);
  EXPECT_STREQ("payload", a.asCstr());
  ZobString c(std::move(a));
  EXPECT_STREQ("payload", c.asCstr());
  EXPECT_TRUE(a.isNull());  // NOLINT(bugprone-use-after-move)
  ZobString d;
  d = std::move(b);
  EXPECT_STREQ("payload!", d.asCstr());
}

TEST(ZobStringTest, AppendMakesNullNonNullAndAlwaysWritesTheFlag) {
  ZobString s;
  bool failed = true;
  s.append(ZobString(), &failed);
  EXPECT_FALSE(failed);
  EXPECT_FALSE(s.isNull());
  EXPECT_EQ(0, s.length());
  s.append("ab", &failed);
  s.append(ZobString("cd"), nullptr);
  s.append(s, &failed);
  EXPECT_FALSE(failed);
  EXPECT_STREQ("abcdabcd", s.asCstr());
  EXPECT_EQ(9, s.cStrSize());
}

TEST(ZobStringTest, EmbeddedBytesAndLengthConstructor) {
  ZobString s("abcdef", static_cast<std::size_t>(3));
  EXPECT_EQ("abc", s.str());
  ZobString z(std::string("a\0b", 3).data(), static_cast<std::size_t>(3));
  EXPECT_EQ(3, z.length());
}

TEST(ZobStringTest, CaseSensitiveCompareIsByteOrder) {
  EXPECT_LT(ZobString("B").compare(ZobString("a"), true), 0);
  EXPECT_GT(ZobString("a").compare(ZobString("B"), true), 0);
  EXPECT_EQ(0, ZobString("dir").compare(ZobString("dir"), true));
  EXPECT_NE(0, ZobString("Dir").compare(ZobString("dir"), true));
  // Bytes above 0x7F sort after ASCII, not before (no signed char compare).
  EXPECT_LT(ZobString("z").compare(ZobString("\xC3\xA9"), true), 0);
  // Null sorts as empty.
  EXPECT_EQ(0, ZobString().compare(ZobString(""), true));
  EXPECT_EQ(0, ZobString().compare(ZobString(""), false));
  EXPECT_LT(ZobString().compare(ZobString("a"), false), 0);
}

TEST(ZobStringTest, CaseInsensitiveCompareFoldsSeveralScripts) {
  struct Pair {
    const char* a;
    const char* b;
  };
  const Pair equal[] = {
      {"HADOOP_JAVA_PROXY_DIR_NAME", "hadoop_java_proxy_dir_name"},
      {"\xC3\x89T\xC3\x89", "\xC3\xA9t\xC3\xA9"},              // ÉTÉ / été
      {"\xC3\x98", "\xC3\xB8"},                                // Ø / ø
      {"\xC5\x81\xC3\xB3" "d\xC5\xBA", "\xC5\x82\xC3\x93" "D\xC5\xB9"},  // Łódź / łÓDŹ
      {"\xC5\xB8", "\xC3\xBF"},                                // Ÿ / ÿ
      {"\xCE\xA3\xCE\x9F\xCE\xA6", "\xCF\x83\xCE\xBF\xCF\x86"},  // ΣΟΦ / σοφ
      {"\xCF\x82", "\xCE\xA3"},                                // final sigma
      {"\xCE\x86", "\xCE\xAC"},                                // Ά / ά
      {"\xD0\x9C\xD0\x9E\xD0\xA1\xD0\x9A\xD0\x92\xD0\x90",
       "\xD0\xBC\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0"},     // МОСКВА / москва
      {"\xD0\x81", "\xD1\x91"},                                // Ё / ё
      {"\xD2\x90", "\xD2\x91"},                                // Ґ / ґ
  };
  for (const Pair& p : equal) {
    EXPECT_EQ(0, ZobString(p.a).compare(ZobString(p.b), false)) << p.a << " vs " << p.b;
    EXPECT_EQ(0, ZobString(p.b).compare(ZobString(p.a), false)) << p.b << " vs " << p.a;
  }
  // The multiplication sign is not a letter and must not fold onto ÷.
  EXPECT_NE(0, ZobString("\xC3\x97").compare(ZobString("\xC3\xB7"), false));
  // Dotless i and dotted capital I keep their identity under simple folding.
  EXPECT_NE(0, ZobString("\xC4\xB1").compare(ZobString("i"), false));
  // Order is by folded code point, so letter case does not split the alphabet.
  EXPECT_GT(ZobString("B").compare(ZobString("a"), false), 0);
  EXPECT_LT(ZobString("apple").compare(ZobString("APPLES"), false), 0);
  EXPECT_LT(ZobString("Z").compare(ZobString("\xC3\xA0"), false), 0);
}

TEST(ZobStringTest, InvalidUtf8BytesCompareAsThemselves) {
  // A lone continuation byte, a truncated sequence and an overlong form.
  ZobString stray("a\x80");
  ZobString truncated("a\xC3");
  ZobString overlong("\xC0\xAF");
  EXPECT_EQ(0, stray.compare(ZobString("A\x80"), false));
  EXPECT_NE(0, stray.compare(truncated, false));
  EXPECT_NE(0, overlong.compare(ZobString("/"), false));
  // A stray 0xE3 is not the letter U+00E3 nor its upper case U+00C3.
  EXPECT_NE(0, ZobString("\xE3").compare(ZobString("\xC3\xA3"), false));
  EXPECT_NE(0, ZobString("\xE3").compare(ZobString("\xC3\x83"), false));
  // Antisymmetric, so a map keyed by such strings stays consistent.
  int ab = ZobString("\xE3").compare(ZobString("\xC3\xA3"), false);
  int ba = ZobString("\xC3\xA3").compare(ZobString("\xE3"), false);
  EXPECT_EQ(ab < 0, ba > 0);
}

TEST(ZobStringTest, NumberParsing) {
  bool failed = true;
  for (const auto& [text, value] : std::vector<std::pair<const char*, int32_t>>{
           {"42", 42}, {"  -17 \t", -17}, {"+5", 5}, {"2147483647", 2147483647},
           {"-2147483648", INT32_MIN}}) {
    EXPECT_EQ(value, ZobString(text).asInt(&failed)) << text;
    EXPECT_FALSE(failed) << text;
  }
  for (const auto& [text, value] : std::vector<std::pair<const char*, int64_t>>{
           {"9223372036854775807", INT64_MAX}, {"-9223372036854775808", INT64_MIN}}) {
    EXPECT_EQ(value, ZobString(text).asInt64(&failed)) << text;
    EXPECT_FALSE(failed) << text;
  }
  EXPECT_EQ(1099511627776LL, ZobString("1099511627776").asInt64(nullptr));

  const char* bad32[] = {"2147483648", "-2147483649", "99999999999999999999",
                         "", "   ", "-", "+", "12a", "a12", "1 2", "--1", "0x10",
                         "1.5"};
  for (const char* text : bad32) {
    failed = false;
    EXPECT_EQ(0, ZobString(text).asInt(&failed)) << text;
    EXPECT_TRUE(failed) << text;
  }
  const char* bad64[] = {"9223372036854775808", "-9223372036854775809",
                         "18446744073709551616", "7x", ""};
  for (const char* text : bad64) {
    failed = false;
    EXPECT_EQ(0, ZobString(text).asInt64(&failed)) << text;
    EXPECT_TRUE(failed) << text;
  }
  failed = false;
  EXPECT_EQ(0, ZobString().asInt(&failed));
  EXPECT_TRUE(failed);
}

TEST(ZobStringTest, TrimStripsOnlyTheChosenEnds) {
  ZobString s(" \t value \r\n");
  ZobString left(s);
  left.trim(true, false);
  EXPECT_EQ("value \r\n", left.str());
  ZobString right(s);
  right.trim(false, true);
  EXPECT_EQ(" \t value", right.str());
  s.trim(true, true);
  EXPECT_EQ("value", s.str());
  ZobString blank("   ");
  blank.trim(true, true);
  EXPECT_EQ(0, blank.length());
  EXPECT_FALSE(blank.isNull());
}

TEST(ZobStringTest, SplitAtLastSeparator) {
  ZobString path("/user/zo/data/part-0001");
  int sep = path.rfind(ZobString("/"));
  ASSERT_EQ(13, sep);
  EXPECT_EQ("/user/zo/data", path.mid(0, sep).str());
  EXPECT_EQ("part-0001", path.mid(sep + 1, -1).str());
  EXPECT_EQ(-1, path.rfind(ZobString("\\")));
  EXPECT_EQ(-1, path.rfind(ZobString("")));
  EXPECT_EQ(0, ZobString("/top").rfind(ZobString("/")));
  EXPECT_EQ(4, ZobString("abcabc").rfind(ZobString("bc")));

  // Clipping: a start at or past the end gives an empty, non-null string.
  ZobString tail = path.mid(100, -1);
  EXPECT_FALSE(tail.isNull());
  EXPECT_EQ(0, tail.length());
  EXPECT_EQ("part-0001", path.mid(sep + 1, 500).str());
  EXPECT_FALSE(ZobString().mid(0, -1).isNull());
}

TEST(ZobStringTest, FormatHandlesShortAndLongResults) {
  ZobString s = zobStringFormat("%s has %d items", "dir", 3);
  EXPECT_EQ("dir has 3 items", s.str());
  EXPECT_FALSE(zobStringFormat("%s", "").isNull());
  std::string longText(5000, 'x');
  ZobString big = zobStringFormat("[%s]", longText.c_str());
  EXPECT_EQ(5002, big.length());
  EXPECT_EQ('[' + longText + ']', big.str());
}

}  // namespace
