#include "zob_credentials.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// That any text decodes back to itself is the store fuzz target's invariant;
// here: the format, and decoding into the very string that holds it (as the
// library does).
TEST(CredentialsTest, EncodedPasswordsKeepTheirFormatAndDecodeInPlace) {
  // "secret" masked with 0x5A is 29 3F 39 28 3F 2E.
  EXPECT_STREQ("zoenc1:KT85KD8u", zobSubjectEncodePW(ZobString("secret")).asCstr());
  const std::string clearText = "p\xC3\xA4ss\x7F\xFE\x01Z";
  ZobString same = zobSubjectEncodePW(ZobString(clearText.data(), clearText.size()));
  EXPECT_EQ(std::string::npos, same.str().find(clearText));
  ZobString err("stale");
  ASSERT_TRUE(zobSubjectDecodePW(same, same, &err)) << err.asCstr();
  EXPECT_EQ(clearText, same.str());
  EXPECT_TRUE(err.isNull());
}

TEST(CredentialsTest, MalformedStoredPasswordsAreRejectedWithAReason) {
  struct Case {
    const char* stored;
    const char* reason;
  };
  const Case cases[] = {
      {"secret", "does not start with \"zoenc1:\""},
      {"zoenc2:KT85KD8u", "does not start with \"zoenc1:\""},
      {"zoenc1:KT85KD8", "not a multiple of 4"},
      {"zoenc1:KT85KD*u", "character '*' at position 6"},
      {"zoenc1:KT8=KD8u", "character '=' at position 3"},
      {"zoenc1:KT==KD8u", "character '=' at position 2"},
      {"zoenc1:Kg=x", "character 'x' at position 3"},
      {"zoenc1:Wg==", "NUL byte"},  // 0x5A masked is 0
  };
  for (const Case& c : cases) {
    ZobString password(c.stored);
    ZobString err;
    EXPECT_FALSE(zobSubjectDecodePW(password, password, &err)) << c.stored;
    EXPECT_STREQ(c.stored, password.asCstr()) << "left unchanged";
    EXPECT_NE(std::string::npos, err.str().find(c.reason)) << err.asCstr();
    EXPECT_NE(std::string::npos, err.str().find("stored password")) << err.asCstr();
  }
  ZobString out;
  EXPECT_FALSE(zobSubjectDecodePW(ZobString("plain"), out, nullptr));
}

class CredentialStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = testing::TempDir() + "zob_store_" + std::to_string(getpid()) + ".txt";
  }
  void TearDown() override {
    unsetenv("ZOB_CREDENTIAL_STORE");
    std::remove(path_.c_str());
  }
  std::string path_;
};

TEST_F(CredentialStoreTest, AccessNeedsAReadableStore) {
  unsetenv("ZOB_CREDENTIAL_STORE");
  EXPECT_EQ(nullptr, zobSubjectAccess());
  setenv("ZOB_CREDENTIAL_STORE", path_.c_str(), 1);
  EXPECT_EQ(nullptr, zobSubjectAccess());  // not there yet
  std::ofstream(path_) << "# empty store\n";
  ZobSubject* subject = zobSubjectAccess();
  EXPECT_NE(nullptr, subject);
  zobSubjectRelease();
}

TEST_F(CredentialStoreTest, LooksUpUserAndStoredPasswordByExactName) {
  {
    std::ofstream out(path_);
    out << "# name\tuser\tpassword\n"
        << "hdfs-prod\thdfs\t" << zobSubjectEncodePW(ZobString("s3cr\tet")).asCstr()
        << "\r\n"
        << "broken line without tabs\n"
        << "hdfs-test\ttester\tzoenc1:KT85KD8u\n";
  }
  setenv("ZOB_CREDENTIAL_STORE", path_.c_str(), 1);
  ASSERT_NE(nullptr, zobSubjectAccess());
  ZobString user;
  ZobString password;
  ZobString detail;
  ASSERT_TRUE(zobSubjectCredentials(ZobString("hdfs-prod"), user, password, &detail));
  EXPECT_STREQ("hdfs", user.asCstr());
  EXPECT_EQ(path_, detail.str());
  ASSERT_TRUE(zobSubjectDecodePW(password, password, nullptr));
  EXPECT_STREQ("s3cr\tet", password.asCstr());

  ASSERT_TRUE(zobSubjectCredentials(ZobString("hdfs-test"), user, password, nullptr));
  EXPECT_STREQ("tester", user.asCstr());
  EXPECT_STREQ("zoenc1:KT85KD8u", password.asCstr());

  user.assign("keep");
  EXPECT_FALSE(zobSubjectCredentials(ZobString("hdfs"), user, password, nullptr));
  EXPECT_FALSE(zobSubjectCredentials(ZobString("HDFS-PROD"), user, password, nullptr));
  EXPECT_STREQ("keep", user.asCstr());
  zobSubjectRelease();
}

// A store that is not a store (endless, a line without end, too big) is
// refused at once, and the lookup says so when the password is decoded.
TEST_F(CredentialStoreTest, UnusableStoreFailsTheLookupPromptly) {
  std::ofstream(path_) << "x\tu\t" << std::string(20000, 'A') << "\n";
  for (const char* store : {"/dev/zero", path_.c_str()}) {
    setenv("ZOB_CREDENTIAL_STORE", store, 1);
    ZobString user, password;
    ASSERT_TRUE(zobSubjectCredentials(ZobString("x"), user, password, nullptr)) << store;
    EXPECT_EQ(0, user.length());
    ZobString err;
    EXPECT_FALSE(zobSubjectDecodePW(password, password, &err));
    EXPECT_NE(std::string::npos, err.str().find(std::string("'") + store + "' cannot be used"))
        << err.str();
  }
}

}  // namespace
