// The JVM bridge on its own, against the contract proxy: creation and its
// failures, every value type both ways, Java failures, bridge faults, polling,
// threads and reference hygiene.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bridge_harness.h"
#include "hadoop_status.h"
#include "zojni_jvm_test.h"

using jvmtest::CreateHost;
using jvmtest::Inputs;
using jvmtest::Response;
using jvmtest::RowSet;

namespace {

constexpr const char* kJar = "zox-proxy-contract.jar";
constexpr const char* kClass = "com.zorvanta.proxy.test.ContractJPC";

class ContractProxy : public ::testing::Test {
 protected:
  void SetUp() override {
    host_.setOption("CONTRACT/GREETING", "the tests");
    ASSERT_EQ(ZOJNI_OK, host_.create(kJar, kClass, &proxy_)) << host_.messagesOfType(2);
  }
  void TearDown() override { zojniProxyDestroy(proxy_); }

  int call(const char* method, const char* signature, Inputs& in, Response* out,
           ZoJniPollRecord* poll = nullptr) {
    zowlpResponse* r = nullptr;
    int status = zojniProxyCall(proxy_, poll, "Contract", method, signature, in.count(),
                                in.data(), &r);
    out->reset(r);
    return status;
  }

  CreateHost host_{"contract"};
  zojniProxy* proxy_ = nullptr;
};

TEST_F(ContractProxy, CreationAsksForItsOptionsAndPassesJavaMessagesOn) {
  const auto& asked = host_.asked();
  ASSERT_GE(asked.size(), 4u);
  EXPECT_EQ("JAVA_PROXY/DIRECTORY", asked[0]);
  EXPECT_EQ("JAVA_PROXY/HAS_GETVERSION", asked[1]);
  EXPECT_EQ("CONTRACT/FAIL", asked[2]);
  EXPECT_EQ("CONTRACT/GREETING", asked[3]);
  std::string info = host_.messagesOfType(0);
  EXPECT_NE(std::string::npos, info.find("contract proxy greets the tests")) << info;
  EXPECT_NE(std::string::npos, info.find("version contract-1")) << info;
  EXPECT_EQ("", host_.messagesOfType(2));

  CreateHost warned("contract");
  warned.setOption("CONTRACT/WARN", "careful");
  zojniProxy* other = nullptr;
  ASSERT_EQ(ZOJNI_OK, warned.create(kJar, kClass, &other));
  EXPECT_EQ("careful\n", warned.messagesOfType(1));
  zojniProxyDestroy(other);
}

TEST(ProxyCreation, FailuresSayWhatIsMissing) {
  struct Case {
    std::string directory, jar, className, expected;
  };
  const std::vector<Case> cases = {
      {"no-such-dir", kJar, kClass, "no-such-dir' does not exist"},
      {"/nowhere/at/all", kJar, kClass, "'/nowhere/at/all' does not exist"},
      {"contract/../../contract", kJar, kClass, "leaves the proxy home"},
      {"contract", "missing.jar", kClass, "jar 'missing.jar' not found in directory"},
      {"contract", kJar, "com.zorvanta.proxy.test.Nope",
       "class 'com.zorvanta.proxy.test.Nope' not found in jar 'zox-proxy-contract.jar'"},
      {"contract", kJar, "com.zorvanta.proxy.test.ContractFailingJPC",
       "refuses to start without a cluster"},
  };
  for (const Case& c : cases) {
    CreateHost host(c.directory);
    zojniProxy* proxy = reinterpret_cast<zojniProxy*>(0x1);
    EXPECT_EQ(ZOJNI_ERR_CREATE, host.create(c.jar.c_str(), c.className.c_str(), &proxy))
        << c.expected;
    EXPECT_EQ(nullptr, proxy);
    std::string errors = host.messagesOfType(2);
    EXPECT_NE(std::string::npos, errors.find(c.expected)) << errors;
  }
  CreateHost noDirectory("x");
  noDirectory.dropOption("JAVA_PROXY/DIRECTORY");
  zojniProxy* proxy = nullptr;
  EXPECT_EQ(ZOJNI_ERR_CREATE, noDirectory.create(kJar, kClass, &proxy));
  EXPECT_NE(std::string::npos, noDirectory.messagesOfType(2).find("JAVA_PROXY/DIRECTORY"));
}

TEST(ProxyCreation, RelativeDirectoriesAreFoundBeneathTheProxyHomeOfTheEnvironment) {
  const char* fromEnvironment = getenv("ZOH_PROXY_HOME");
  const std::string buildHome = fromEnvironment != nullptr ? fromEnvironment : ZOH_TEST_PROXY_HOME;
  char pattern[] = "/tmp/zoh-home-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(pattern));
  const std::string home = pattern;
  ASSERT_EQ(0, symlink((buildHome + "/contract").c_str(), (home + "/elsewhere").c_str()));
  ASSERT_EQ(0, symlink((buildHome + "/lib").c_str(), (home + "/lib").c_str()));
  setenv("ZOH_PROXY_HOME", home.c_str(), 1);

  CreateHost moved("elsewhere");
  zojniProxy* proxy = nullptr;
  EXPECT_EQ(ZOJNI_OK, moved.create(kJar, kClass, &proxy)) << moved.messagesOfType(2);
  zojniProxyDestroy(proxy);
  CreateHost old("contract");
  EXPECT_EQ(ZOJNI_ERR_CREATE, old.create(kJar, kClass, &proxy));
  EXPECT_NE(std::string::npos, old.messagesOfType(2).find("proxy home '" + home + "'"))
      << old.messagesOfType(2);

  if (fromEnvironment != nullptr) {
    setenv("ZOH_PROXY_HOME", buildHome.c_str(), 1);
  } else {
    unsetenv("ZOH_PROXY_HOME");
  }
  unlink((home + "/elsewhere").c_str());
  unlink((home + "/lib").c_str());
  rmdir(home.c_str());
}

TEST(HandleTable, UnknownReleasedAndMistypedHandlesAreJavaErrors) {
  CreateHost host("hadoop", "HadoopClient");
  zojniProxy* proxy = nullptr;
  ASSERT_EQ(ZOJNI_OK, host.create("zox-proxy-hadoop.jar",
                                  "com.zorvanta.proxy.hadoop.HadoopClientJPC", &proxy));
  auto call = [proxy](const char* method, const char* signature, Inputs& in, Response* out) {
    zowlpResponse* r = nullptr;
    int status = zojniProxyCall(proxy, nullptr, "HadoopClient", method, signature, in.count(),
                                in.data(), &r);
    out->reset(r);
    return status;
  };
  Inputs none;
  Response response;
  ASSERT_EQ(ZOJNI_OK, call("CreateConfig", "\x07", none, &response));
  const int64_t cfg = jvmtest::outputs(response.get())[0].value.object;
  Inputs release;
  release.object(cfg);
  ASSERT_EQ(ZOJNI_OK, call("CfgRelease", "", release, &response));
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("CfgRelease", "", release, &response));
  EXPECT_EQ("Unknown or released configuration handle " + std::to_string(cfg),
            jvmtest::errorText(response.get()));
  EXPECT_EQ(6, jvmtest::errorCode(response.get()));

  Inputs noConfiguration;
  noConfiguration.null(WLP_TYPE_OBJECT);
  ASSERT_EQ(ZOJNI_OK, call("CreateHDFS", "\x07", noConfiguration, &response));
  const int64_t fs = jvmtest::outputs(response.get())[0].value.object;
  Inputs read;
  read.object(fs).integer(10);
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("HDFSFileRead", "\x01", read, &response));
  EXPECT_EQ("Handle " + std::to_string(fs) + " is not a HDFS file handle",
            jvmtest::errorText(response.get()));
  Inputs unknown;
  unknown.object(987654321).integer(10);
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("HDFSFileRead", "\x01", unknown, &response));
  EXPECT_EQ("Unknown or released HDFS file handle 987654321", jvmtest::errorText(response.get()));
  Inputs releaseFs;
  releaseFs.object(fs);
  EXPECT_EQ(ZOJNI_OK, call("HDFSRelease", "", releaseFs, &response));
  zojniProxyDestroy(proxy);
}

TEST(ProxyCreation, ThrowingConstructorStillDeliversItsOwnMessages) {
  CreateHost host("contract");
  zojniProxy* proxy = nullptr;
  ASSERT_EQ(ZOJNI_ERR_CREATE,
            host.create(kJar, "com.zorvanta.proxy.test.ContractFailingJPC", &proxy));
  ASSERT_EQ(2u, host.messages().size());
  EXPECT_EQ("contract proxy about to fail", host.messages()[0].second);
  EXPECT_NE(std::string::npos, host.messages()[1].second.find("failed in its constructor"));
}

TEST(ProxyCreation, DerivedProxySeesTheClassesOfItsBase) {
  CreateHost hadoopHost("hadoop", "HadoopClient");
  zojniProxy* hadoop = nullptr;
  ASSERT_EQ(ZOJNI_OK, hadoopHost.create("zox-proxy-hadoop.jar",
                                        "com.zorvanta.proxy.hadoop.HadoopClientJPC", &hadoop))
      << hadoopHost.messagesOfType(2);
  auto canLoadHadoop = [](zojniProxy* proxy) {
    Inputs in;
    in.string("com.zorvanta.proxy.hadoop.HadoopClientJPC");
    zowlpResponse* r = nullptr;
    EXPECT_EQ(ZOJNI_OK, zojniProxyCall(proxy, nullptr, "Contract", "CanLoad", "\x02",
                                       in.count(), in.data(), &r));
    Response owned(r);
    auto out = jvmtest::outputs(r);
    return out.size() == 1 && out[0].value.boolean == 1;
  };
  CreateHost derivedHost("contract");
  zojniProxy* derived = nullptr;
  ASSERT_EQ(ZOJNI_OK, derivedHost.create(kJar, kClass, &derived, hadoop));
  CreateHost plainHost("contract");
  zojniProxy* plain = nullptr;
  ASSERT_EQ(ZOJNI_OK, plainHost.create(kJar, kClass, &plain));

  EXPECT_TRUE(canLoadHadoop(derived));
  EXPECT_FALSE(canLoadHadoop(plain));
  zojniProxyDestroy(plain);
  zojniProxyDestroy(derived);
  zojniProxyDestroy(hadoop);
}

TEST_F(ContractProxy, EveryValueTypeCrossesBothWays) {
  RowSet rows(zojniProxyRowSetCreate(proxy_, "\x0b\x06"));
  Inputs row;
  row.string("key").integer(7);
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row.data()));
  Inputs row2;
  row2.null(WLP_TYPE_STRING).integer(-1);
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row2.data()));
  const char bytes[] = {'a', '\0', 'b', '\xff'};
  Inputs in;
  in.object(0x123456789ALL).boolean(true).integer(-42).string("text").bytes(bytes, 4).rows(
      rows.get());
  Response response;
  ASSERT_EQ(ZOJNI_OK, call("EchoAll", "\x07\x02\x06\x0b\x01\x0a", in, &response));
  auto out = jvmtest::outputs(response.get());
  ASSERT_EQ(6u, out.size());
  EXPECT_EQ(0x123456789ALL, out[0].value.object);
  EXPECT_EQ(1, out[1].value.boolean);
  EXPECT_EQ(-42, out[2].value.integer);
  EXPECT_EQ("text", std::string(out[3].value.string, out[3].length));
  ASSERT_EQ(4, out[4].length);
  EXPECT_EQ(0, std::memcmp(bytes, out[4].value.bytes, 4));
  zowlpRowSet* back = out[5].value.rowSet;
  ASSERT_EQ(2, zowlpRowSet_getRows(back));
  zowlpParameter* r = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(back, &r));
  EXPECT_EQ("key", std::string(r[0].value.string, r[0].length));
  EXPECT_EQ(7, r[1].value.integer);
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(back, &r));
  EXPECT_EQ(0, r[0].present);
  EXPECT_EQ(-1, r[1].value.integer);
}

TEST_F(ContractProxy, AbsentValuesArriveAsNullAndComeBackAbsent) {
  Inputs in;
  in.null(WLP_TYPE_OBJECT).null(WLP_TYPE_BOOL).null(WLP_TYPE_INT).null(WLP_TYPE_STRING)
      .null(WLP_TYPE_BYTES).rows(nullptr);
  Response response;
  ASSERT_EQ(ZOJNI_OK, call("EchoAll", "\x07\x02\x06\x0b\x01\x0a", in, &response));
  auto out = jvmtest::outputs(response.get());
  ASSERT_EQ(6u, out.size());
  for (const auto& record : out) EXPECT_EQ(0, record.present) << record.type;
}

TEST_F(ContractProxy, TextSurvivesNonAsciiAndNonBmpCharacters) {
  const std::vector<std::pair<std::string, int>> texts = {
      {"", 0},
      {"plain", 5},
      {"Gr\xc3\xbc\xc3\x9f" "e", 5},                 // Grüße
      {"\xe4\xb8\xad\xe6\x96\x87", 2},               // 中文
      {"a\xf0\x9f\x98\x80" "b\xf0\x90\x8d\x88", 4},  // a😀b𐍈
      {std::string("nul\0inside", 10), 10},
  };
  for (const auto& t : texts) {
    Inputs in;
    in.string(t.first);
    Response echoed, counted;
    ASSERT_EQ(ZOJNI_OK, call("EchoString", "\x0b", in, &echoed));
    auto out = jvmtest::outputs(echoed.get());
    ASSERT_EQ(1u, out.size());
    EXPECT_EQ(t.first, std::string(out[0].value.string, out[0].length));
    ASSERT_EQ(ZOJNI_OK, call("CodePoints", "\x06", in, &counted));
    EXPECT_EQ(t.second, jvmtest::outputs(counted.get())[0].value.integer) << t.first;
  }
}

TEST_F(ContractProxy, JavaExceptionsBecomeStatusFourWithCodeMessageAndCause) {
  Inputs in;
  in.string("cannot open /data/x").string("disk on fire");
  Response response;
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("Fail", "", in, &response));
  ASSERT_NE(nullptr, response);
  EXPECT_EQ(42, jvmtest::errorCode(response.get()));
  EXPECT_EQ("cannot open /data/x (cause: java.lang.IllegalStateException: disk on fire)",
            jvmtest::errorText(response.get()));

  Inputs plain;
  plain.string("bad value");
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("FailPlain", "", plain, &response));
  EXPECT_EQ(6, jvmtest::errorCode(response.get()));
  EXPECT_EQ("java.lang.IllegalArgumentException: bad value", jvmtest::errorText(response.get()));
}

TEST_F(ContractProxy, BridgeFaultsHaveTheirOwnStatusesAndNoResponse) {
  Inputs none;
  Response response;
  EXPECT_EQ(ZOJNI_ERR_NO_METHOD, call("NoSuchMethod", "", none, &response));
  EXPECT_EQ(nullptr, response);
  Inputs wrongInputs;
  wrongInputs.integer(1);
  EXPECT_EQ(ZOJNI_ERR_NO_METHOD, call("EchoString", "\x0b", wrongInputs, &response));
  EXPECT_EQ(ZOJNI_ERR_OUTPUT_TYPE, call("Text", "\x06", none, &response));
  EXPECT_EQ(nullptr, response);
  EXPECT_EQ(ZOJNI_ERR_OUTPUT_TYPE, call("TooFew", "\x06", none, &response));
  EXPECT_EQ(ZOJNI_ERR_MEMORY, call("OutOfMemory", "\x06", none, &response));
  EXPECT_EQ(nullptr, response);

  Inputs unknownType;
  unknownType.null(99);
  EXPECT_EQ(ZOJNI_ERR_INPUT_TYPE, call("EchoString", "\x0b", unknownType, &response));
  zowlpResponse* r = nullptr;
  EXPECT_EQ(ZOJNI_ERR_ARGUMENT,
            zojniProxyCall(nullptr, nullptr, "Contract", "Nothing", "", 0, nullptr, &r));
  EXPECT_EQ(ZOJNI_ERR_ARGUMENT,
            zojniProxyCall(proxy_, nullptr, "Contract", "Nothing", "", 1, nullptr, &r));
  // The proxy works on after every fault.
  EXPECT_EQ(ZOJNI_OK, call("Nothing", "", none, &response));
}

TEST_F(ContractProxy, OptionsAreOnlyAnsweredWhileTheProxyIsCreated) {
  Inputs in;
  in.string("CONTRACT/GREETING");
  Response response;
  ASSERT_EQ(ZOJNI_OK, call("Option", "\x0b", in, &response));
  EXPECT_EQ(0, jvmtest::outputs(response.get())[0].present);
}

TEST_F(ContractProxy, NativeAndHeapBytesOutputsCarryTheSameBytes) {
  for (const char* method : {"Fill", "HeapFill"}) {
    for (int size : {0, 1, 4096, 3 * 1024 * 1024 + 17}) {
      Inputs in;
      in.integer(size).integer(5);
      Response response;
      ASSERT_EQ(ZOJNI_OK, call(method, "\x01", in, &response));
      auto out = jvmtest::outputs(response.get());
      ASSERT_EQ(size, out[0].length) << method;
      const unsigned char* data = static_cast<const unsigned char*>(out[0].value.bytes);
      int wrong = 0;
      for (int i = 0; i < size; ++i) wrong += data[i] != static_cast<unsigned char>(i * 31 + 5);
      EXPECT_EQ(0, wrong) << method << " " << size;
    }
  }
}

class CountingPoll : public HadoopPollStatus {
 public:
  CountingPoll(int interval, int stopAfter) : interval_(interval), stopAfter_(stopAfter) {}
  int pollInterval() override { return interval_; }
  bool poll(int64_t done, int64_t total, const char* phase) override {
    ++calls;
    lastPhase = phase != nullptr ? phase : "";
    lastTotal = total;
    return stopAfter_ <= 0 || calls < stopAfter_;
  }
  int calls = 0;
  std::string lastPhase;
  int64_t lastTotal = 0;

 private:
  int interval_;
  int stopAfter_;
};

int pollAdapter(ZoJniPollRecord* record, int64_t done, int64_t total, const char* phase) {
  return record->pollStatus->poll(done, total, phase) ? 1 : 0;
}

ZoJniPollRecord pollRecordFor(CountingPoll* status) {
  ZoJniPollRecord record{};
  record.value = status->pollInterval();
  record.callback = &pollAdapter;
  record.pollStatus = status;
  return record;
}

TEST_F(ContractProxy, LongMethodsReachThePollAndStopWhenItSaysSo) {
  CountingPoll status(20, 0);
  ZoJniPollRecord record = pollRecordFor(&status);
  Inputs in;
  in.integer(400);
  Response response;
  ASSERT_EQ(ZOJNI_OK, call("Spin", "\x06", in, &response, &record));
  EXPECT_GE(status.calls, 5);
  EXPECT_LE(status.calls, 40);
  EXPECT_EQ("spinning", status.lastPhase);
  EXPECT_EQ(400, status.lastTotal);
  EXPECT_EQ(status.calls, zojniJvmTestLastCallPolls());

  CountingPoll stopper(10, 3);
  ZoJniPollRecord stopRecord = pollRecordFor(&stopper);
  Inputs longer;
  longer.integer(60000);
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("Spin", "\x06", longer, &response, &stopRecord));
  EXPECT_EQ(3, stopper.calls);
  EXPECT_EQ(8, jvmtest::errorCode(response.get()));
  EXPECT_EQ("Stopped at the caller's request during spinning",
            jvmtest::errorText(response.get()));

  Inputs quick;
  quick.integer(50);
  ASSERT_EQ(ZOJNI_OK, call("Spin", "\x06", quick, &response, nullptr));
  EXPECT_EQ(0, zojniJvmTestLastCallPolls());
}

TEST_F(ContractProxy, ThreadsCallOneProxyAtOnce) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t, &failures] {
      for (int i = 0; i < 200; ++i) {
        std::string text = "thread " + std::to_string(t) + " call " + std::to_string(i);
        Inputs in;
        in.string(text);
        zowlpResponse* r = nullptr;
        int status =
            zojniProxyCall(proxy_, nullptr, "Contract", "EchoString", "\x0b", 1, in.data(), &r);
        Response owned(r);
        auto out = jvmtest::outputs(r);
        if (status != ZOJNI_OK || out.size() != 1 ||
            text != std::string(out[0].value.string, out[0].length)) {
          ++failures;
        }
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(0, failures.load());
}

TEST_F(ContractProxy, ThreadsAreDetachedWhenTheyEnd) {
  auto liveThreads = [this] {
    Inputs none;
    Response response;
    EXPECT_EQ(ZOJNI_OK, call("LiveThreads", "\x06", none, &response));
    return jvmtest::outputs(response.get())[0].value.integer;
  };
  const int before = liveThreads();
  for (int round = 0; round < 3; ++round) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 10; ++t) {
      threads.emplace_back([this] {
        Inputs none;
        zowlpResponse* r = nullptr;
        zojniProxyCall(proxy_, nullptr, "Contract", "Nothing", "", 0, none.data(), &r);
        zowlpResponse_destroy(r);
      });
    }
    for (auto& t : threads) t.join();
  }
  // 30 threads came and went; a few JVM threads of its own may start meanwhile.
  EXPECT_LE(liveThreads(), before + 3);
}

TEST_F(ContractProxy, TenThousandCallsLeaveNoReferencesOrMemoryBehind) {
  auto round = [this](int calls) {
    std::vector<char> payload(4096, 'x');
    for (int i = 0; i < calls; ++i) {
      RowSet rows(zojniProxyRowSetCreate(proxy_, "\x0b\x0b"));
      Inputs row;
      row.string("k" + std::to_string(i)).string("v");
      zowlpRowSet_addRow(rows.get(), row.data());
      Inputs in;
      in.object(i).boolean(i % 2).integer(i).string("call \xf0\x9f\x98\x80").bytes(
          payload.data(), 4096).rows(rows.get());
      Response response;
      ASSERT_EQ(ZOJNI_OK, call("EchoAll", "\x07\x02\x06\x0b\x01\x0a", in, &response));
      Inputs fill;
      fill.integer(8192).integer(i);
      ASSERT_EQ(ZOJNI_OK, call("Fill", "\x01", fill, &response));
      Inputs fail;
      fail.string("x").string("y");
      ASSERT_EQ(ZOJNI_ERR_JAVA, call("Fail", "", fail, &response));
    }
  };
  round(2000);  // warm up the JIT and the heap
  const int refs = zojniJvmTestGlobalRefs();
  const int wireObjects = zowlpTestLiveObjects();
  const long heap = jvmtest::nativeHeapInUse();
  round(10000);
  EXPECT_EQ(refs, zojniJvmTestGlobalRefs());
  EXPECT_EQ(wireObjects, zowlpTestLiveObjects());
  // Native memory only: the Java heap grows towards its working size on its
  // own. A leak of the 12 KiB that cross in each round would be over 100 MiB.
  EXPECT_LT(jvmtest::nativeHeapInUse() - heap, 8L << 20);
}

}  // namespace
