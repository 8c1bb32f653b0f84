#include "zo_logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "zob_catalogue.h"

namespace {

struct Event {
  ZoLoggingLevel level;
  std::string logger;
  std::string file;
  int line;
  std::string text;
};

struct Recorder {
  std::mutex mutex;
  std::vector<Event> events;

  static void hook(void* context, ZoLoggingLevel level, const char* logger,
                   const char* file, int line, const char* text) {
    Recorder* self = static_cast<Recorder*>(context);
    std::lock_guard<std::mutex> hold(self->mutex);
    self->events.push_back({level, logger, file ? file : "", line, text});
  }
};

class LoggerTest : public ::testing::Test {
 protected:
  void TearDown() override {
    zologSetCapture(nullptr, nullptr);
    zologSetThreshold(ZOLOG_WARNING);
  }
};

TEST_F(LoggerTest, OneLoggerPerNameAcrossThreads) {
  std::vector<ZoLogger_*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&seen, i] { seen[i] = zologGetLogger("ZO.Hadoop.Race"); });
  }
  for (std::thread& t : threads) t.join();
  for (ZoLogger_* logger : seen) EXPECT_EQ(seen[0], logger);
  EXPECT_STREQ("ZO.Hadoop.Race", seen[0]->getName());
  EXPECT_NE(seen[0], zologGetLogger("ZO.Hadoop.race"));
}

TEST_F(LoggerTest, CaptureSeesEveryEventWhateverTheThreshold) {
  Recorder recorder;
  zologSetCapture(&Recorder::hook, &recorder);
  zologSetThreshold(ZOLOG_FATAL);
  ZoLogger_* log = zologGetLogger("ZO.Hadoop.HDFS");
  log->logEvent(ZOLOG_INFO, "src/hadoophdfs", 42, "Opening HDFS file %s.", "/a/b");
  log->logEvent(ZOLOG_WARNING, "src/hadoophdfs", 43, 1726, "HDFSRelease", 3);
  log->logText(ZOLOG_ERROR, "src/hadoophdfs", 44, "plain");
  ASSERT_EQ(3u, recorder.events.size());
  const Event& first = recorder.events[0];
  EXPECT_EQ(ZOLOG_INFO, first.level);
  EXPECT_EQ("ZO.Hadoop.HDFS", first.logger);
  EXPECT_EQ("src/hadoophdfs", first.file);
  EXPECT_EQ(42, first.line);
  EXPECT_EQ("Opening HDFS file /a/b.", first.text);
  EXPECT_EQ("[Hadoop Client 1726] Proxy method 'HDFSRelease' could not be called: "
            "bridge status 3",
            recorder.events[1].text);
  EXPECT_EQ("plain", recorder.events[2].text);

  zologSetCapture(nullptr, nullptr);
  log->logText(ZOLOG_ERROR, "src/hadoophdfs", 45, "not captured");
  EXPECT_EQ(3u, recorder.events.size());
}

TEST_F(LoggerTest, LoggingAMessageDoesNotReplaceTheLastErrorSource) {
  zob_get_message("src/hadoopcfg", 77, ZOB_HADOOP_COMPONENT, 444);
  Recorder recorder;
  zologSetCapture(&Recorder::hook, &recorder);
  zologGetLogger("ZO.Hadoop")->logEvent(ZOLOG_INFO, "src/zohadoop", 5, 444);
  const char* file = nullptr;
  int line = 0;
  zobLastMessageSource(&file, &line);
  EXPECT_STREQ("src/hadoopcfg", file);
  EXPECT_EQ(77, line);
}

TEST_F(LoggerTest, ThresholdDecidesWhatReachesStandardError) {
  ZoLogger_* log = zologGetLogger("ZO.Hadoop");
  zologSetThreshold(ZOLOG_INFO);
  EXPECT_TRUE(log->isEnabled(ZOLOG_INFO));
  EXPECT_FALSE(log->isEnabled(ZOLOG_DEBUG));
  testing::internal::CaptureStderr();
  log->logEvent(ZOLOG_INFO, "src/zohadoop", 123, "Created %s.", "it");
  log->logEvent(ZOLOG_DEBUG, "src/zohadoop", 124, "hidden");
  std::string out = testing::internal::GetCapturedStderr();
  EXPECT_THAT(out, testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:"
                                         "[0-9]{2}\\.[0-9]{3}Z INFO  ZO\\.Hadoop "
                                         "\\[src/zohadoop:123\\] Created it\\.\n"));

  // A logger's own level holds until the next global threshold.
  log->setLevel(ZOLOG_ERROR);
  EXPECT_EQ(ZOLOG_ERROR, log->getLevel());
  EXPECT_FALSE(log->isEnabled(ZOLOG_WARNING));
  EXPECT_EQ(ZOLOG_INFO, zologGetLogger("ZO.Hadoop.Pig")->getLevel());
  zologSetThreshold(ZOLOG_WARNING);
  EXPECT_EQ(ZOLOG_WARNING, log->getLevel());
  testing::internal::CaptureStderr();
  log->logText(ZOLOG_INFO, "src/zohadoop", 1, "below");
  log->logText(ZOLOG_ERROR, "src/zohadoop", 2, "above");
  out = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::string::npos, out.find("below"));
  EXPECT_NE(std::string::npos, out.find(" ERROR ZO.Hadoop [src/zohadoop:2] above\n"));
}

TEST_F(LoggerTest, HookMayLogWithoutDeadlock) {
  struct Reentrant {
    int calls = 0;
    static void hook(void* context, ZoLoggingLevel, const char*, const char*, int,
                     const char*) {
      Reentrant* self = static_cast<Reentrant*>(context);
      if (++self->calls == 1) {
        zologGetLogger("ZO.Hadoop.Hook")->logText(ZOLOG_TRACE, "hook", 1, "nested");
      }
    }
  } reentrant;
  zologSetCapture(&Reentrant::hook, &reentrant);
  zologGetLogger("ZO.Hadoop")->logText(ZOLOG_TRACE, "test", 1, "outer");
  EXPECT_EQ(2, reentrant.calls);
}

// The environment is read once per process, so these run in a fresh child.
TEST_F(LoggerTest, EnvironmentSetsThresholdAndLogFile) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // The child re-runs this body, so it must find the parent's file name.
  const char* inherited = std::getenv("ZO_LOGGER_TEST_FILE");
  std::string path = inherited != nullptr ? inherited
                                          : testing::TempDir() + "zo_log_" +
                                                std::to_string(getpid()) + ".txt";
  setenv("ZO_LOGGER_TEST_FILE", path.c_str(), 1);
  std::remove(path.c_str());
  EXPECT_EXIT(
      {
        setenv("ZO_LOG_LEVEL", " Info ", 1);
        setenv("ZO_LOG_FILE", path.c_str(), 1);
        ZoLogger_* log = zologGetLogger("ZO.Hadoop.MapReduce");
        bool ok = log->getLevel() == ZOLOG_INFO;
        log->logEvent(ZOLOG_INFO, "src/hadoopmr", 9, "Job %d started.", 7);
        log->logEvent(ZOLOG_DEBUG, "src/hadoopmr", 10, "dropped");
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  std::ifstream in(path);
  std::stringstream content;
  content << in.rdbuf();
  EXPECT_THAT(content.str(),
              testing::EndsWith(" INFO  ZO.Hadoop.MapReduce [src/hadoopmr:9] Job 7 "
                                "started.\n"));
  EXPECT_EQ(std::string::npos, content.str().find("dropped"));
  std::remove(path.c_str());

  EXPECT_EXIT(
      {
        setenv("ZO_LOG_LEVEL", "5", 1);
        std::exit(zologGetLogger("x")->getLevel() == ZOLOG_ERROR ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        setenv("ZO_LOG_LEVEL", "loud", 1);
        std::exit(zologGetLogger("x")->getLevel() == ZOLOG_WARNING ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
