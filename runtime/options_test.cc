#include "zob_options.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

struct SetDeleter {
  void operator()(ZobConfigOptions* set) const { set->release(); }
};

TEST(ConfigOptionsTest, NamesIgnoreCaseAndListInNameOrder) {
  std::unique_ptr<ZobConfigOptions, SetDeleter> set(zobCreateConfigOptions());
  ASSERT_NE(nullptr, set);
  set->setOption(ZobString("Zeta"), ZobString("z"));
  set->setOption(ZobString("JAVA_PROXY/Directory"), ZobString("/opt/first"));
  set->setOption(ZobString("alpha"), ZobString("a"));
  set->setOption(ZobString("java_proxy/directory"), ZobString("/opt/second"));
  EXPECT_EQ(3, set->getOptionCount());

  ZobString value("untouched");
  EXPECT_TRUE(set->getOption(ZobString("JAVA_PROXY/DIRECTORY"), &value, 0));
  EXPECT_STREQ("/opt/second", value.asCstr());
  value.assign("untouched");
  EXPECT_FALSE(set->getOption(ZobString("missing"), &value, 0));
  EXPECT_STREQ("untouched", value.asCstr());

  const char* expected[] = {"alpha", "JAVA_PROXY/Directory", "Zeta"};
  for (int i = 0; i < 3; ++i) {
    ZobString name;
    ASSERT_TRUE(set->getOptionAt(i, &name, &value, false));
    EXPECT_STREQ(expected[i], name.asCstr());
  }
  EXPECT_FALSE(set->getOptionAt(3, &value, &value, false));
  EXPECT_FALSE(set->getOptionAt(-1, &value, &value, false));

  EXPECT_TRUE(set->removeOption(ZobString("ZETA")));
  EXPECT_FALSE(set->removeOption(ZobString("zeta")));
  EXPECT_EQ(2, set->getOptionCount());
  set->clear();
  EXPECT_EQ(0, set->getOptionCount());
}

TEST(ConfigOptionsTest, NamedSetsAreSharedAndOutliveRelease) {
  ZobConfigOptions* a = zobGetConfigOptions(ZobString("Pig"));
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(a, zobGetConfigOptions(ZobString("PIG")));
  EXPECT_NE(a, zobGetConfigOptions(ZobString("Other")));
  a->setOption(ZobString("k"), ZobString("v"));
  a->release();  // a no-op for a named set
  ZobString value;
  EXPECT_TRUE(zobGetConfigOptions(ZobString("pig"))->getOption(ZobString("K"), &value, 0));
  EXPECT_STREQ("v", value.asCstr());
  // The general set is the same whether named by an empty or a null string.
  EXPECT_EQ(zobGetConfigOptions(ZobString("")), zobGetConfigOptions(ZobString()));
}

// The general set reads its file once per process, so this runs in a fresh child.
TEST(ConfigOptionsTest, GeneralSetLoadsTheOptionsFileOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const char* inherited = std::getenv("ZOB_OPTIONS_TEST_FILE");
  std::string path = inherited != nullptr ? inherited
                                          : testing::TempDir() + "zob_options_" +
                                                std::to_string(getpid()) + ".txt";
  setenv("ZOB_OPTIONS_TEST_FILE", path.c_str(), 1);
  {
    std::ofstream out(path);
    out << "# platform options\n"
        << "  JAVA_PROXY/HAS_GETVERSION =  true \r\n"
        << "\n"
        << "jvm.options=-Xmx512m -Dx=y\n"
        << "no separator here\n"
        << " = nameless\n"
        << "empty.value=\n";
  }
  EXPECT_EXIT(
      {
        setenv("ZOB_CONFIG_OPTIONS_FILE", path.c_str(), 1);
        ZobConfigOptions* general = zobGetConfigOptions(ZobString(""));
        ZobString value;
        bool ok = general->getOptionCount() == 3;
        ok = ok && general->getOption(ZobString("java_proxy/has_getversion"), &value, 0) &&
             value == ZobString("true");
        ok = ok && general->getOption(ZobString("JVM.OPTIONS"), &value, 0) &&
             value == ZobString("-Xmx512m -Dx=y");
        ok = ok && general->getOption(ZobString("empty.value"), &value, 0) &&
             value.length() == 0;
        // A host's change is not undone by a second lookup re-reading the file.
        general->setOption(ZobString("jvm.options"), ZobString("changed"));
        zobGetConfigOptions(ZobString(""))->getOption(ZobString("jvm.options"), &value, 0);
        ok = ok && value == ZobString("changed");
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  std::remove(path.c_str());
  // A file without end or without a line break is refused at once, not read.
  EXPECT_EXIT(
      {
        setenv("ZOB_CONFIG_OPTIONS_FILE", "/dev/zero", 1);
        std::exit(zobGetConfigOptions(ZobString(""))->getOptionCount());
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
