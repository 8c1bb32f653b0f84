// A host's view of the library: load it with dlopen, find the two entry points
// by their plain names and the factory by its decorated one, then walk a
// directory of an in-memory HDFS and read an entry through the runtime. The
// streams' own behaviour is the adapter tests'.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"
#include "hadoopbaseio/memory_hdfs.h"
#include "scripted_bridge.h"
#include "zob_uri.h"
#include "zowlp.h"

using ::testing::ElementsAre;

namespace {

using RawFactory = decltype(&createRawIO);
using ListingFactory = decltype(&createDirectoryListing);
using InstanceFactory = ZOHadoop* (*)(ZobString*);

// The Itanium C++ name of zoHadoopCreate(ZobString*).
const char kDecoratedFactory[] = "_Z14zoHadoopCreateP9ZobString";

class HostTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { library_ = dlopen(ZOH_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL); }
  static void TearDownTestSuite() {
    if (library_) dlclose(library_);
  }

  void SetUp() override {
    ASSERT_NE(library_, nullptr) << dlerror();
    bridge().reset();
    fs_.install(bridge());
    liveProxies_ = bridge().liveProxies();
    liveWire_ = zowlpTestLiveObjects();
    createRaw_ = find<RawFactory>("createRawIO");
    createListing_ = find<ListingFactory>("createDirectoryListing");
    ASSERT_NE(createRaw_, nullptr);
    ASSERT_NE(createListing_, nullptr);
  }
  void TearDown() override {
    EXPECT_EQ(bridge().liveProxies(), liveProxies_);
    EXPECT_EQ(zowlpTestLiveObjects(), liveWire_);
  }

  template <class F>
  static F find(const char* name) {
    return reinterpret_cast<F>(dlsym(library_, name));
  }
  static ScriptedBridge& bridge() { return ScriptedBridge::instance(); }

  static ZoHadoopURI* parse(const char* text) {
    ZoHadoopURI* uri = getURIFromURIString(ZobString(text));
    EXPECT_NE(uri, nullptr) << text;
    return uri;
  }

  static void* library_;
  MemoryHdfs fs_;
  RawFactory createRaw_ = nullptr;
  ListingFactory createListing_ = nullptr;

 private:
  int liveProxies_ = 0;
  int liveWire_ = 0;
};

void* HostTest::library_ = nullptr;

// The entry points answer to their plain names, the factory to its decorated
// one only, and the instance it makes works.
TEST_F(HostTest, EntryPointsArePlainNamesAndTheFactoryIsDecorated) {
  EXPECT_EQ(find<void*>("zoHadoopCreate"), nullptr);
  EXPECT_NE(find<void*>("zox_build_version"), nullptr);
  auto create = find<InstanceFactory>(kDecoratedFactory);
  ASSERT_NE(create, nullptr);
  bridge().answer("HDFSExists", ScriptedAnswer::outputs({ScriptedValue::ofBool(true)}));
  ZobString err;
  ZOHadoop* hadoop = create(&err);
  ASSERT_NE(hadoop, nullptr) << err.str();
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(cfg, nullptr) << err.str();
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  ASSERT_NE(hdfs, nullptr) << err.str();
  bool answer = false;
  EXPECT_TRUE(hdfs->exists(nullptr, "/user", &answer, &err));
  EXPECT_TRUE(answer);
  hadoop->release();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 1);
  EXPECT_EQ(bridge().callCount("CfgRelease"), 1);
}

TEST_F(HostTest, ADirectoryWalkSeesEntriesAndOpensThemAsTextFiles) {
  fs_.directories = {"/user/host", "/user/host/sub"};
  fs_.files["/user/host/a.txt"] = "12345";
  fs_.files["/user/host/b.txt"] = "";
  ZoHadoopURI* uri = parse("hdfs://nn:8020/user/host");
  ZobString err;
  ZobDirectoryListing* listing = createListing_(nullptr, uri, 0, &err);
  uri->destroy();
  ASSERT_NE(listing, nullptr) << err.str();
  std::vector<std::string> seen;
  while (listing->next()) {
    seen.push_back(listing->getFullPathName().str() + (listing->isDir() ? "/" : "") + " " +
                   std::to_string(listing->getSize()));
  }
  listing->release();
  EXPECT_THAT(seen,
              ElementsAre("/user/host/sub/ 0", "/user/host/a.txt 5", "/user/host/b.txt 0"));

  // An entry opens as a text file through the runtime, which reaches a library
  // loaded RTLD_LOCAL only through the factory that the library registered.
  uri = parse("hdfs://nn:8020/user/host");
  listing = createListing_(nullptr, uri, static_cast<int>(ZOB_LISTING_FILES_ONLY), &err);
  uri->destroy();
  ASSERT_NE(listing, nullptr) << err.str();
  ASSERT_TRUE(listing->next());
  ZobTxtFile* text = listing->openTextFile(ZOB_TXTFILE_READ, 0, 0, &err);
  ASSERT_NE(text, nullptr) << err.str();
  ZobString line;
  EXPECT_TRUE(text->readLine(&line));
  EXPECT_EQ(line.str(), "12345");
  text->release();
  listing->release();
}

}  // namespace
