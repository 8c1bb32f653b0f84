// Shared pieces of the adapter tests: a fresh scripted bridge with an in-memory
// HDFS behind it, parsed URIs and owners for what the entry points make.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ZOHadoopIO.h"
#include "hadoopbaseio/memory_hdfs.h"
#include "zob_uri.h"
#include "zohadoop/core_test_support.h"

using RawOwner = std::unique_ptr<ZobIORaw, ReleaseDeleter<ZobIORaw>>;
using ListingOwner = std::unique_ptr<ZobDirectoryListing, ReleaseDeleter<ZobDirectoryListing>>;
using UriOwner = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

class AdapterTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    liveProxies_ = bridge().liveProxies();
    fs_.install(bridge());
  }
  void TearDown() override {
    // Every adapter gives back its whole private instance.
    EXPECT_EQ(bridge().liveProxies(), liveProxies_);
    CoreTest::TearDown();
  }

  static UriOwner uri(const std::string& text) {
    UriOwner parsed(getURIFromURIString(ZobString(text.c_str())));
    EXPECT_NE(parsed, nullptr) << text;
    return parsed;
  }

  MemoryHdfs fs_;

 private:
  int liveProxies_ = 0;
};
