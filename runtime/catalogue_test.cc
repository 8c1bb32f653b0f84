#include "zob_catalogue.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

std::string message(int id, ...) {
  va_list args;
  va_start(args, id);
  ZobString text = zob_get_messagev("src/test", 7, ZOB_HADOOP_COMPONENT, id, args);
  va_end(args);
  return text.str();
}

// One message of each shape of arguments: none, text then number, and three
// with a '%' in the text; the others come from the same table.
TEST(CatalogueTest, RendersEachMessageWithItsArguments) {
  EXPECT_EQ("[Hadoop Client 444] Out of memory.", message(444));
  EXPECT_EQ("[Hadoop Client 1354] zowlpRowSet_nextRow failed with status 5.",
            message(1354, "zowlpRowSet_nextRow", 5));
  EXPECT_EQ("[Hadoop Client 1725] Proxy method 'HDFSOpenFile' failed on the Java side "
            "with error 2: java.io.FileNotFoundException: /x (100% gone)",
            message(1725, "HDFSOpenFile", 2,
                    "java.io.FileNotFoundException: /x (100% gone)"));
}

TEST(CatalogueTest, ArgumentTextIsNotReinterpretedAsAFormat) {
  // A Java error text with conversion specifiers must come out verbatim.
  EXPECT_EQ("[Hadoop Client 29] Could not create or read %s%d%n.", message(29, "%s%d%n"));
  EXPECT_EQ("[Hadoop Client 29] Could not create or read (null).",
            message(29, static_cast<const char*>(nullptr)));
}

TEST(CatalogueTest, UnknownIdOrComponentSaysSo) {
  EXPECT_EQ("[Hadoop Client 9999] Unknown message.", message(9999, "ignored"));
  ZobString other = zob_get_message("src/test", 1, "Other Thing", 29, "(x)");
  EXPECT_STREQ("[Other Thing 29] Unknown message.", other.asCstr());
  EXPECT_FALSE(other.isNull());
}

TEST(CatalogueTest, LastSourceIsKeptPerThread) {
  zob_get_message("src/hadoopcfg", 120, ZOB_HADOOP_COMPONENT, 444);
  std::thread other([] {
    zob_get_message("src/hadooppig", 9, ZOB_HADOOP_COMPONENT, 444);
    const char* file = nullptr;
    int line = 0;
    zobLastMessageSource(&file, &line);
    EXPECT_STREQ("src/hadooppig", file);
    EXPECT_EQ(9, line);
  });
  other.join();
  const char* file = nullptr;
  int line = 0;
  zobLastMessageSource(&file, &line);
  EXPECT_STREQ("src/hadoopcfg", file);
  EXPECT_EQ(120, line);
}

}  // namespace
