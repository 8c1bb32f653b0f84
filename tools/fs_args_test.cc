#include "fs_args.h"

#include <gtest/gtest.h>

namespace zohtool {
namespace {

class ParseCommandLine : public ::testing::Test {
 protected:
  bool parse(std::vector<std::string> argv) { return parseCommandLine(argv, &line, &error); }
  CommandLine line;
  std::string error;
};

TEST_F(ParseCommandLine, GenericOptionsBeforeAndAfterTheCommandInOrder) {
  ASSERT_TRUE(parse({"-D", "a=1", "-Db=x=y", "-conf", "site.xml", "ls", "-user", "alice",
                     "/data", "-v", "-conf", "more.xml"})) << error;
  EXPECT_EQ("ls", line.command);
  ASSERT_EQ(2u, line.options.defines.size());
  EXPECT_EQ(std::make_pair(std::string("a"), std::string("1")), line.options.defines[0]);
  // Only the first '=' splits: values may hold '='.
  EXPECT_EQ(std::make_pair(std::string("b"), std::string("x=y")), line.options.defines[1]);
  EXPECT_EQ((std::vector<std::string>{"site.xml", "more.xml"}), line.options.confFiles);
  EXPECT_EQ("alice", line.options.user);
  EXPECT_TRUE(line.options.verbose);
  EXPECT_EQ(std::vector<std::string>{"/data"}, line.args);
}

TEST_F(ParseCommandLine, DashedCommandNamesAndCommandSwitches) {
  ASSERT_TRUE(parse({"-rm", "-r", "-f", "/a", "-r", "/b"})) << error;
  EXPECT_EQ("rm", line.command);
  EXPECT_EQ((std::vector<std::string>{"-r", "-f"}), line.flags);  // repeated once
  EXPECT_TRUE(hasFlag(line, "-f"));
  EXPECT_FALSE(hasFlag(line, "-R"));
  EXPECT_EQ((std::vector<std::string>{"/a", "/b"}), line.args);

  ASSERT_TRUE(parse({"mkdir", "-p", "/x"}));
  EXPECT_TRUE(hasFlag(line, "-p"));
  ASSERT_TRUE(parse({"test", "-e", "/x"}));
  EXPECT_EQ(std::vector<std::string>{"-e"}, line.flags);
}

TEST_F(ParseCommandLine, DoubleDashAndLoneDashAreOperands) {
  ASSERT_TRUE(parse({"put", "-", "--", "-odd-name"})) << error;
  EXPECT_EQ((std::vector<std::string>{"-", "-odd-name"}), line.args);
  EXPECT_TRUE(line.flags.empty());
}

TEST_F(ParseCommandLine, HelpNeedsNoCommand) {
  ASSERT_TRUE(parse({"--help"}));
  EXPECT_TRUE(line.options.help);
  ASSERT_TRUE(parse({"-h"}));
  EXPECT_TRUE(line.options.help);
  // After a command -h is the command's own: sizes for people.
  ASSERT_TRUE(parse({"ls", "-h", "-fs", "hdfs://nn:8020", "/"}));
  EXPECT_FALSE(line.options.help);
  EXPECT_TRUE(hasFlag(line, "-h"));
  // -fs is Hadoop's name for the default file system.
  ASSERT_EQ(1u, line.options.defines.size());
  EXPECT_EQ("fs.defaultFS", line.options.defines[0].first);
  EXPECT_EQ("hdfs://nn:8020", line.options.defines[0].second);
}

TEST_F(ParseCommandLine, Rejections) {
  struct Case {
    std::vector<std::string> argv;
    const char* errorPart;
  };
  const Case cases[] = {
      {{}, "no command"},
      {{"frobnicate", "/x"}, "unknown command 'frobnicate'"},
      {{"-frobnicate"}, "unknown command or option '-frobnicate'"},
      {{"-D", "novalue", "ls"}, "-D expects key=value, got 'novalue'"},
      {{"-D=1", "ls"}, "-D expects key=value"},
      {{"ls", "-D"}, "-D needs a value"},
      {{"-user", "", "ls"}, "-user needs a name"},
      {{"ls", "-p"}, "ls: unknown option '-p'"},
      {{"mv", "-f", "a", "b"}, "mv: unknown option '-f'"},
  };
  for (const auto& c : cases) {
    line = CommandLine();
    error.clear();
    EXPECT_FALSE(parse(c.argv)) << c.errorPart;
    EXPECT_NE(std::string::npos, error.find(c.errorPart)) << error;
  }
}

TEST(CommandSwitches, NamesAreExact) {
  EXPECT_TRUE(isKnownCommand("appendToFile"));
  EXPECT_FALSE(isKnownCommand("LS"));
  EXPECT_FALSE(isKnownCommand("chmod"));
  EXPECT_TRUE(commandSwitches("chmod").empty());
}

}  // namespace
}  // namespace zohtool
