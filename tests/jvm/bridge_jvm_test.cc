// What only the JVM bridge has, beyond the contract every bridge keeps: the
// proxy home, Java exceptions, the two ways bytes come back, attached threads
// and the references and memory a call may leave behind. A derived proxy's
// class loader shows in the engine tests' Pig runs, a poll that says stop in
// their stopped jobs, and a creation that throws in the contract suite (here
// only that its own messages come first).
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "contract_harness.h"
#include "end_to_end.h"
#include "zojni_jvm_test.h"

using contract::Creation;
using contract::kClass;
using contract::kJar;
using contract::ResponseOwner;
using V = ScriptedValue;

namespace {

int errorCode(zowlpResponse* response) {
  int code = -1;
  zowlpError_code(response, &code);
  return code;
}

// Bytes of the native heap (malloc) in use.
long nativeHeapInUse() {
  struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

// ---- The proxy home ------------------------------------------------------------------

TEST(ProxyHome, CreationFailuresSayWhatIsMissing) {
  struct Case {
    std::string directory, jar, className, expected;
  };
  const std::vector<Case> cases = {
      {"/nowhere/at/all", kJar, kClass, "'/nowhere/at/all' does not exist"},
      {"contract/../../contract", kJar, kClass, "leaves the proxy home"},
      {"contract", "missing.jar", kClass, "jar 'missing.jar' not found in directory"},
      {"contract", kJar, "com.zorvanta.proxy.test.Nope",
       "class 'com.zorvanta.proxy.test.Nope' not found in jar 'zox-proxy-contract.jar'"},
      {"", kJar, kClass, "JAVA_PROXY/DIRECTORY"},
  };
  for (const Case& c : cases) {
    Creation creation(c.directory);
    EXPECT_EQ(ZOJNI_ERR_CREATE, creation.create(c.className.c_str(), c.jar.c_str()))
        << c.expected;
    EXPECT_EQ(nullptr, creation.proxy);
    const std::string errors = creation.messages.text(2);
    EXPECT_NE(std::string::npos, errors.find(c.expected)) << errors;
  }
  // A constructor that throws has its own messages delivered first.
  Creation failing("contract");
  failing.create("com.zorvanta.proxy.test.ContractFailingJPC");
  EXPECT_EQ(0u, failing.messages.text(2).find("contract proxy about to fail\n"))
      << failing.messages.text(2);
}

TEST(ProxyHome, RelativeDirectoriesAreFoundBeneathTheProxyHomeOfTheEnvironment) {
  const char* fromEnvironment = getenv("ZOH_PROXY_HOME");
  const std::string buildHome = fromEnvironment != nullptr ? fromEnvironment : ZOH_TEST_PROXY_HOME;
  const e2e::ScratchDir home("/tmp/zoh-home-XXXXXX");
  ASSERT_EQ(0, symlink((buildHome + "/contract").c_str(), (home / "elsewhere").c_str()));
  ASSERT_EQ(0, symlink((buildHome + "/lib").c_str(), (home / "lib").c_str()));
  setenv("ZOH_PROXY_HOME", home.path().c_str(), 1);

  Creation moved("elsewhere");
  EXPECT_EQ(ZOJNI_OK, moved.create()) << moved.messages.text(2);
  Creation old("contract");
  EXPECT_EQ(ZOJNI_ERR_CREATE, old.create());
  EXPECT_NE(std::string::npos, old.messages.text(2).find("proxy home '" + home.path() + "'"))
      << old.messages.text(2);

  if (fromEnvironment != nullptr) {
    setenv("ZOH_PROXY_HOME", buildHome.c_str(), 1);
  } else {
    unsetenv("ZOH_PROXY_HOME");
  }
}

// ---- Calls on the contract proxy -----------------------------------------------------

class ContractProxy : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ZOJNI_OK, creation_.create()) << creation_.messages.text(2);
  }

  int call(const char* method, const char* signature, std::vector<ScriptedValue> values,
           ResponseOwner* response) {
    WireRecords inputs(std::move(values));
    return contract::call(creation_.proxy.get(), method, signature, inputs, response);
  }

  Creation creation_;
};

// Beyond the contract's Java failure: the cause and the plain exception's
// own name in the text, and the statuses only a JVM can give.
TEST_F(ContractProxy, JavaSideFaultsAndTheProxysVersion) {
  EXPECT_NE(std::string::npos, creation_.messages.text(0).find("version contract-1"))
      << creation_.messages.text(0);
  // The option record is the caller's only while the creation runs.
  creation_.options.set("CONTRACT/LATE", "too late");
  ResponseOwner response;
  ASSERT_EQ(ZOJNI_OK, call("Option", "\x0b", {V::ofString("CONTRACT/LATE")}, &response));
  EXPECT_EQ(std::vector<V>{V::ofNull(WLP_TYPE_STRING)}, contract::readOutputs(response.get()));

  ASSERT_EQ(ZOJNI_ERR_JAVA, call("Fail", "", {V::ofString("cannot open /data/x"),
                                              V::ofString("disk on fire")},
                                 &response));
  EXPECT_EQ(42, errorCode(response.get()));
  EXPECT_EQ("cannot open /data/x (cause: java.lang.IllegalStateException: disk on fire)",
            contract::errorText(response.get()));
  ASSERT_EQ(ZOJNI_ERR_JAVA, call("FailPlain", "", {V::ofString("bad value")}, &response));
  EXPECT_EQ(6, errorCode(response.get()));
  EXPECT_EQ("java.lang.IllegalArgumentException: bad value", contract::errorText(response.get()));

  EXPECT_EQ(ZOJNI_ERR_NO_METHOD, call("EchoString", "\x0b", {V::ofInt(1)}, &response))
      << "no overload takes these input types";
  EXPECT_EQ(ZOJNI_ERR_MEMORY, call("OutOfMemory", "\x06", {}, &response));
  EXPECT_EQ(nullptr, response);
  EXPECT_EQ(ZOJNI_OK, call("Nothing", "", {}, &response)) << "the proxy works on";

  // Reported progress reaches the poll when its interval is up; a stop ends the method.
  contract::PollScript stopAtTheSecond(2);
  WireRecords spin({V::ofInt(20000)});
  EXPECT_EQ(ZOJNI_ERR_JAVA, contract::call(creation_.proxy.get(), "Spin", "\x06", spin, &response,
                                           stopAtTheSecond.record()));
  EXPECT_EQ(2u, stopAtTheSecond.seen().size());
}

TEST_F(ContractProxy, NativeAndHeapBytesOutputsCarryTheSameBytes) {
  for (const char* method : {"Fill", "HeapFill"}) {
    for (int size : {0, 1, 4096, 3 * 1024 * 1024 + 17}) {
      ResponseOwner response;
      ASSERT_EQ(ZOJNI_OK, call(method, "\x01", {V::ofInt(size), V::ofInt(5)}, &response));
      std::string expected(static_cast<size_t>(size), '\0');
      for (int i = 0; i < size; ++i) expected[i] = static_cast<char>(i * 31 + 5);
      EXPECT_TRUE(contract::readOutputs(response.get()) == std::vector<V>{V::ofBytes(expected)})
          << method << " " << size;
    }
  }
}

TEST_F(ContractProxy, ThreadsAreDetachedWhenTheyEnd) {
  auto liveThreads = [this] {
    ResponseOwner response;
    EXPECT_EQ(ZOJNI_OK, call("LiveThreads", "\x06", {}, &response));
    return response ? contract::readOutputs(response.get()).at(0).integer : -1;
  };
  const int before = liveThreads();
  for (int round = 0; round < 3; ++round) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 10; ++t) {
      threads.emplace_back([this] {
        zowlpResponse* r = nullptr;
        zojniProxyCall(creation_.proxy.get(), nullptr, "Contract", "Nothing", "", 0, nullptr, &r);
        zowlpResponse_destroy(r);
      });
    }
    for (auto& t : threads) t.join();
  }
  // 30 threads came and went; a few JVM threads of its own may start meanwhile.
  EXPECT_LE(liveThreads(), before + 3);
}

TEST_F(ContractProxy, TenThousandCallsLeaveNoReferencesOrMemoryBehind) {
  const std::string payload(4096, 'x');
  auto round = [&](int calls) {
    for (int i = 0; i < calls; ++i) {
      const std::vector<V> all = {
          V::ofObject(i), V::ofBool(i % 2), V::ofInt(i), V::ofString("call \xf0\x9f\x98\x80"),
          V::ofBytes(payload), V::ofStringRows({{"k" + std::to_string(i), "v"}})};
      ResponseOwner response;
      ASSERT_EQ(ZOJNI_OK, call("EchoAll", "\x07\x02\x06\x0b\x01\x0a", all, &response));
      if (i == 0) {
        ASSERT_EQ(contract::readOutputs(response.get()), all);
      }
      ASSERT_EQ(ZOJNI_OK, call("Fill", "\x01", {V::ofInt(8192), V::ofInt(i)}, &response));
      ASSERT_EQ(ZOJNI_ERR_JAVA, call("Fail", "", {V::ofString("x"), V::ofString("y")}, &response));
    }
  };
  round(2000);  // warm up the JIT and the heap
  const int refs = zojniJvmTestGlobalRefs();
  const int wireObjects = zowlpTestLiveObjects();
  const long heap = nativeHeapInUse();
  round(10000);
  EXPECT_EQ(refs, zojniJvmTestGlobalRefs());
  EXPECT_EQ(wireObjects, zowlpTestLiveObjects());
  // Native memory only: the Java heap grows towards its working size on its
  // own. A leak of the 12 KiB that cross in each round would be over 100 MiB;
  // the JVM's own native use still moves by up to about 12 MiB after the
  // tests before this one (seen on a loaded machine).
  EXPECT_LT(nativeHeapInUse() - heap, 32L << 20);
}

}  // namespace
