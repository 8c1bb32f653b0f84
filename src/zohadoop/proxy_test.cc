// Acquisition of the main proxy and the option and message callbacks. The
// option answers come from one buffer that grows: the answers of the
// precedence case get longer in turn, so a buffer that stopped growing shows.
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "zob_options.h"
#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;

namespace {

class ProxyTest : public LibraryTest {};

TEST_F(ProxyTest, DirectoryComesFromArgumentElsePropertyElseDefault) {
  // property (any letter case), argument, the directory asked for
  const std::vector<std::array<const char*, 3>> cases = {
      {"", "", "hadoop"}, {"hadoop_java_proxy_dir_name", "", "x"},
      {"HADOOP_JAVA_PROXY_DIR_NAME", "explicit", "explicit"}};
  for (size_t i = 0; i < cases.size(); ++i) {
    const auto& [property, argument, expected] = cases[i];
    InstanceOwner hadoop = makeInstance();
    ZobString err;
    if (*property != '\0') {
      ASSERT_TRUE(hadoop->setProperty(property, "x", &err));
    }
    ASSERT_TRUE(hadoop->getProxy(argument, &err));
    EXPECT_TRUE(err.isNull());
    EXPECT_EQ(bridge().creations().at(i).optionDirectory, expected);
    EXPECT_EQ(hadoop->proxyDirectory().str(), expected);
    EXPECT_FALSE(bridge().creations().at(i).fromProxy);
  }
}

TEST_F(ProxyTest, HeldProxyAcceptsOnlyItsOwnDirectoryCaseSensitively) {
  ASSERT_TRUE(hadoop_->getProxy("hadoop", &err_));
  EXPECT_TRUE(hadoop_->getProxy("hadoop", &err_));
  EXPECT_TRUE(hadoop_->getProxy("", &err_));
  EXPECT_FALSE(hadoop_->getProxy("Hadoop", &err_));
  EXPECT_EQ(err_.str(),
            "Failed to acquire proxy (Hadoop) due to the proxy already being held with "
            "a different proxy directory (hadoop).");
  EXPECT_EQ(bridge().creations().size(), 1u);
}

// Errors are collected in order; information and warnings only reach the log.
TEST_F(ProxyTest, FailedCreationJoinsErrorMessagesAndLogsEveryMessage) {
  bridge().onCreate(ScriptedCreateScript::failing(
      ZOJNI_ERR_CREATE,
      {{2, "first error"}, {0, "just saying"}, {3, "second error"}, {1, "careful"},
       {2, "third error"}}));
  EXPECT_FALSE(hadoop_->getProxy("dir", &err_));
  EXPECT_EQ(err_.str(), "first error\nsecond error\nthird error");
  EXPECT_EQ(hadoop_->mainProxy(), nullptr);
  EXPECT_THAT(log_.of("ZO.Hadoop"),
              ElementsAre("5 first error", "2 just saying", "5 second error",
                          "3 careful", "5 third error"));

  // An error text already there is extended, not replaced; the stored
  // directory is used again by the retry.
  bridge().onCreate(ScriptedCreateScript::failing(ZOJNI_ERR_CREATE, {{7, "again"}}));
  err_ = ZobString("earlier");
  EXPECT_FALSE(hadoop_->getProxy(hadoop_->proxyDirectory(), &err_));
  EXPECT_EQ(err_.str(), "earlier\nagain");
  EXPECT_EQ(bridge().creations().at(1).optionDirectory, "dir");

  // No error message: the text is left as it was.
  bridge().onCreate(ScriptedCreateScript::failing(ZOJNI_ERR_JVM, {{1, "warning"}}));
  err_ = ZobString("untouched");
  EXPECT_FALSE(hadoop_->getProxy("", &err_));
  EXPECT_EQ(err_.str(), "untouched");
}

TEST_F(ProxyTest, OptionAnswersInTheirOrderOfPrecedence) {
  ZobConfigOptions* platform = zobGetConfigOptions("");
  ASSERT_NE(platform, nullptr);
  platform->setOption("core.test.platform", "from platform");
  platform->setOption("core.test.shadowed", "from platform");
  platform->setOption("core.test.both", "from platform");
  bridge().onCreate(ScriptedCreateScript::asking(
      {"JAVA_PROXY/DIRECTORY", "JAVA_PROXY/DIRECTORY", "JAVA_PROXY/HAS_GETVERSION",
       "java_proxy/directory", "CORE.TEST.PROPERTY", "core.test.both",
       "core.test.platform", "core.test.shadowed", "core.test.missing"}));

  ASSERT_TRUE(hadoop_->setProperty("core.test.property", "from property", &err_));
  ASSERT_TRUE(hadoop_->setProperty("core.test.both", "property wins", &err_));
  // An empty property hides the platform option of the same name.
  ASSERT_TRUE(hadoop_->setProperty("core.test.shadowed", "", &err_));
  ASSERT_TRUE(hadoop_->getProxy("the/dir", &err_));
  platform->removeOption("core.test.platform");
  platform->removeOption("core.test.shadowed");
  platform->removeOption("core.test.both");

  std::vector<std::string> answers;
  const ScriptedCreation created = bridge().creations().at(0);
  for (const ScriptedOptionAsk& ask : created.asks) {
    answers.push_back(std::to_string(ask.status) + " " + ask.value);
    if (ask.status == 0) {
      EXPECT_TRUE(ask.terminated) << ask.name;
      EXPECT_EQ(ask.length, static_cast<int>(ask.value.size())) << ask.name;
    }
  }
  EXPECT_THAT(answers, ElementsAre("0 the/dir", "1 ", "0 HadoopClient", "1 ",
                                   "0 from property", "0 property wins",
                                   "0 from platform", "1 ", "1 "));
}

// A thread's scheduler state from /proc: 'S' while it sleeps, here on a lock.
char threadState(pid_t tid) {
  std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/stat");
  const std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const size_t name = stat.rfind(')');
  return name == std::string::npos || name + 2 >= stat.size() ? '?' : stat[name + 2];
}

// Two threads need the proxy at the same time. The creation goes on only once
// the other thread sleeps: on the instance lock, or (were the lock missing) on
// the bridge after it too found no proxy. The gate then holds both calls inside
// the bridge together, so the threads are known to overlap.
TEST_F(ProxyTest, ConcurrentFirstCallsCreateTheMainProxyOnce) {
  std::atomic<pid_t> tids[2] = {{0}, {0}};
  bridge().onCreate(ScriptedCreateScript::from([&tids](ScriptedCreateContext& create) {
    const pid_t self = static_cast<pid_t>(syscall(SYS_gettid));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
      const pid_t other = tids[0] == self ? tids[1] : tids[0];
      if ((other != 0 && threadState(other) == 'S') ||
          std::chrono::steady_clock::now() > deadline) {
        break;
      }
      std::this_thread::yield();
    }
    create.askOption("JAVA_PROXY/DIRECTORY");
    return ZOJNI_OK;
  }));
  std::shared_ptr<ScriptedGate> gate = bridge().gate("Ping");
  bool ok[2] = {false, false};
  auto callOnce = [&](int i) {
    tids[i] = static_cast<pid_t>(syscall(SYS_gettid));
    zowlpResponse* response = nullptr;
    ZobString err;
    ok[i] = hadoop_->callWrapper(nullptr, "HadoopClient", "Ping", JAVA_PROXY_EMPTY_SIG, 0, nullptr,
                                 &response, &err);
    if (response) zowlpResponse_destroy(response);
  };
  std::thread t1(callOnce, 0);
  std::thread t2(callOnce, 1);
  EXPECT_TRUE(gate->waitInside(2, std::chrono::seconds(10)))
      << "the two calls were never inside the bridge together";
  gate->release();
  t1.join();
  t2.join();
  EXPECT_TRUE(ok[0] && ok[1]);
  ASSERT_EQ(bridge().creations().size(), 1u);
  EXPECT_EQ(bridge().callCount("Ping"), 2);
  for (const ScriptedCall& call : bridge().calls()) {
    EXPECT_EQ(call.proxyId, bridge().creations().at(0).proxyId);
  }
}

}  // namespace
