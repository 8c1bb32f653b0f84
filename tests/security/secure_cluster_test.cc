// The library on a Kerberos-secured cluster, through the public interfaces and
// the JVM bridge: a keytab named by configuration keys, a configuration's user
// and password, and a credential named in a URI each log in; failed logins and
// a client without Kerberos are told what to configure; users stay out of each
// other's homes; and no password shows in anything the run wrote. The cases
// run in this order: the first meets the cluster before anything in this
// process used Kerberos, the later ones after.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "cluster_access.h"
#include "end_to_end.h"
#include "zo_logger.h"
#include "zob_credentials.h"
#include "zob_uri.h"

namespace {

namespace fs = std::filesystem;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

std::string slurp(const fs::path& path) { return e2e::readLocal(path.string()); }

using e2e::contains;

// Everything the run said that is not in a file: each log line at the most
// verbose level, and each error text.
std::mutex g_saidLock;
std::string g_said;

void remember(const std::string& text) {
  std::lock_guard<std::mutex> hold(g_saidLock);
  g_said += text + "\n";
}

void captureLine(void*, ZoLoggingLevel, const char* logger, const char*, int, const char* text) {
  remember(std::string(logger) + ": " + text);
}

// A configuration and its HDFS service; `why` holds the error when either failed.
struct Session {
  e2e::Owned<ZOHadoopCfg> cfg;
  e2e::Owned<ZOHadoopHDFS> hdfs;
  std::string why;
};

class SecureCluster : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    keys_ = clustertest::readyKeys("ZOH_SECURE_CLUSTER");
    if (keys_.empty()) return;
    passwords_ = clustertest::keyValues(keys_["passwords"]);
    tmp_ = fs::temp_directory_path() / ("zoh-security-" + std::to_string(getpid()));
    fs::create_directories(tmp_);
    // Hadoop's own lines at their most verbose, and this process's standard
    // error (the JVM's and the library's), go to files of this run.
    std::ofstream(tmp_ / "log4j.properties")
        << "log4j.rootLogger=TRACE, file\nlog4j.appender.file=org.apache.log4j.FileAppender\n"
        << "log4j.appender.file.File=" << (tmp_ / "hadoop.log").string() << "\n"
        << "log4j.appender.file.layout=org.apache.log4j.PatternLayout\n"
        << "log4j.appender.file.layout.ConversionPattern=%p %c: %m%n\n";
    setenv("ZOH_JVM_OPTIONS",
           ("-Dlog4j.configuration=file:" + (tmp_ / "log4j.properties").string()).c_str(), 1);
    savedStderr_ = dup(2);
    const int err = open((tmp_ / "stderr.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(err, 2);
    close(err);
    zologSetThreshold(ZOLOG_TRACE);
    zologSetCapture(captureLine, nullptr);
    std::ofstream(tmp_ / "credentials")
        << "bob-on-secure\tbob\t"
        << zobSubjectEncodePW(ZobString(password("bob").c_str())).str() << "\n";
    setenv("ZOB_CREDENTIAL_STORE", (tmp_ / "credentials").c_str(), 1);
    ZobString why;
    hadoop_ = zoHadoopCreate(&why);
  }

  static void TearDownTestSuite() {
    if (hadoop_) hadoop_->release();
    zologSetCapture(nullptr, nullptr);
    if (savedStderr_ >= 0) {
      dup2(savedStderr_, 2);
      close(savedStderr_);
      // What went to the file instead is shown when it may explain a failure.
      const ::testing::TestSuite* suite = ::testing::UnitTest::GetInstance()->current_test_suite();
      if (suite != nullptr && suite->Failed()) std::cerr << slurp(tmp_ / "stderr.log");
    }
    if (!tmp_.empty()) fs::remove_all(tmp_);
  }

  void SetUp() override {
    if (keys_.empty()) GTEST_SKIP() << "ZOH_SECURE_CLUSTER names no running secure cluster";
    ASSERT_NE(nullptr, hadoop_);
    ASSERT_EQ(2u, passwords_.size()) << "passwords of user1 and user2 in " << keys_["passwords"];
  }

  static std::string password(const std::string& user) {
    return passwords_[user + "@" + keys_["realm"]];
  }

  // A URI on the cluster with its client keys (site file, krb5.conf) and `items`.
  static std::string uriOf(const std::string& path, const std::string& items) {
    return keys_["hdfs"] + path + "?resource=" + keys_["site"] +
           "&zoh.kerberos.krb5.conf=" + keys_["krb5"] + "&" + items;
  }

  // The service of the configuration when it could be `configured`; else why not.
  static void finish(Session* s, bool configured, ZobString* err) {
    if (configured) s->hdfs.reset(hadoop_->createHDFS(s->cfg.get(), err));
    if (!s->hdfs) s->why = err->str();
    remember(s->why);
  }

  // A configuration filled from `uri`, as the file-system adapters make theirs.
  static std::unique_ptr<Session> fromUri(const std::string& uri) {
    auto s = std::make_unique<Session>();
    Uri parsed(getURIFromURIString(ZobString(uri.c_str())));
    ZobString err;
    if (parsed) s->cfg.reset(hadoop_->createConfiguration(parsed.get(), &err));
    finish(s.get(), s->cfg != nullptr, &err);
    return s;
  }

  // A configuration with the cluster's keys and a user and password, as the platform sets them.
  static std::unique_ptr<Session> asUser(const std::string& user, const std::string& password) {
    auto s = std::make_unique<Session>();
    ZobString err;
    s->cfg.reset(hadoop_->createConfiguration(&err));
    finish(s.get(),
           s->cfg && s->cfg->addResourceFile(ZobString(keys_["site"].c_str()), &err) &&
               s->cfg->setKeyValue(ZobString("zoh.kerberos.krb5.conf"),
                                   ZobString(keys_["krb5"].c_str()), &err) &&
               s->cfg->setUserPass(ZobString(user.c_str()), ZobString(password.c_str()), &err),
           &err);
    return s;
  }

  // Writes `text` to `path` and reads it back: the text read, or why that failed.
  static std::string writeRead(const e2e::Owned<ZOHadoopHDFS>& hdfs, const std::string& path,
                               const std::string& text) {
    ZobString err;
    const std::string back = e2e::writeHdfs(hdfs.get(), path, text, &err)
                                 ? e2e::readHdfs(hdfs.get(), path)
                                 : "failed: " + err.str();
    remember(back);
    return back;
  }

  // Lists `path`: "" when it could, else why not.
  static std::string list(const e2e::Owned<ZOHadoopHDFS>& hdfs, const std::string& path) {
    ZobString err;
    e2e::Owned<ZOHadoopDirectory> dir(hdfs->openDir(nullptr, ZobString(path.c_str()), &err));
    remember(err.str());
    return dir ? "" : err.str();
  }

  // What a client that knows nothing of Kerberos is told by the secure cluster.
  static std::string withoutKerberos() {
    auto s = fromUri(keys_["hdfs"] + "/?dfs.replication=1");
    return s->hdfs ? list(s->hdfs, "/user") : s->why;
  }

  inline static std::map<std::string, std::string> keys_;
  inline static std::map<std::string, std::string> passwords_;
  inline static fs::path tmp_;
  inline static int savedStderr_ = -1;
  inline static ZOHadoop* hadoop_ = nullptr;
};

const char kToConfigure[] = "set hadoop.security.authentication=kerberos";

TEST_F(SecureCluster, ClientWithoutKerberosIsToldWhatToConfigure) {
  const std::string why = withoutKerberos();
  EXPECT_TRUE(contains(why, "the cluster requires Kerberos")) << why;
  EXPECT_TRUE(contains(why, kToConfigure)) << why;
}

TEST_F(SecureCluster, KeytabPasswordAndCredentialLogIn) {
  const std::string keytab = uriOf("/", "zoh.kerberos.principal=" + keys_["keytab-user"] +
                                             "&zoh.kerberos.keytab=" + keys_["keytab"]);
  auto carol = fromUri(keytab);
  ASSERT_NE(nullptr, carol->hdfs) << carol->why;
  EXPECT_EQ("by keytab", writeRead(carol->hdfs, "/user/carol/k.txt", "by keytab"));

  auto alice = asUser("alice", password("alice"));
  ASSERT_NE(nullptr, alice->hdfs) << alice->why;
  EXPECT_EQ("by password", writeRead(alice->hdfs, "/user/alice/p.txt", "by password"));

  // The store names bob; the URI names only the credential.
  auto bob = fromUri(uriOf("/", "credential=bob-on-secure"));
  ASSERT_NE(nullptr, bob->hdfs) << bob->why;
  EXPECT_EQ("by credential", writeRead(bob->hdfs, "/user/bob/c.txt", "by credential"));

}

TEST_F(SecureCluster, UsersCannotEnterEachOthersHomes) {
  auto alice = asUser("alice", password("alice"));
  auto bob = asUser("bob", password("bob"));
  ASSERT_NE(nullptr, alice->hdfs) << alice->why;
  ASSERT_NE(nullptr, bob->hdfs) << bob->why;
  EXPECT_EQ("", list(alice->hdfs, "/user/alice"));
  EXPECT_EQ("", list(bob->hdfs, "/user/bob"));
  // A configuration keeps its own login: a service made after bob logged in is still alice's.
  ZobString err;
  e2e::Owned<ZOHadoopHDFS> again(hadoop_->createHDFS(alice->cfg.get(), &err));
  ASSERT_NE(nullptr, again) << err.str();
  EXPECT_EQ("", list(again, "/user/alice"));
  EXPECT_TRUE(contains(list(alice->hdfs, "/user/bob"), "'/user/bob': permission denied"));
  EXPECT_TRUE(contains(list(bob->hdfs, "/user/alice"), "'/user/alice': permission denied"));
  EXPECT_TRUE(contains(writeRead(bob->hdfs, "/user/alice/b.txt", "x"), "permission denied"));
}

TEST_F(SecureCluster, FailedLoginsSayWhatToConfigure) {
  const std::string realm = "@" + keys_["realm"];
  auto wrong = asUser("alice", password("alice") + "x");
  EXPECT_EQ(nullptr, wrong->hdfs);
  EXPECT_TRUE(contains(wrong->why, "Kerberos login of alice" + realm + " (password) failed"))
      << wrong->why;
  EXPECT_TRUE(contains(wrong->why, "correct the configuration's password")) << wrong->why;

  auto unknown = asUser("nobody", password("alice"));
  EXPECT_EQ(nullptr, unknown->hdfs);
  EXPECT_TRUE(contains(unknown->why, "does not know this principal; check the user name"))
      << unknown->why;

  auto foreignKeytab = fromUri(uriOf("/", "zoh.kerberos.principal=alice" + realm +
                                              "&zoh.kerberos.keytab=" + keys_["keytab"]));
  EXPECT_EQ(nullptr, foreignKeytab->hdfs);
  EXPECT_TRUE(contains(foreignKeytab->why, "the keytab holds no key for this principal"))
      << foreignKeytab->why;

  // This process now uses Kerberos; a configuration without it still learns why.
  const std::string why = withoutKerberos();
  EXPECT_TRUE(contains(why, kToConfigure)) << why;
}

// Security is per JVM in Hadoop: an unsecured cluster's configuration made
// after a Kerberos login must still be served.
TEST_F(SecureCluster, UnsecuredClusterServedAfterKerberos) {
  const std::string plain = clustertest::readyKeys("ZOH_TEST_CLUSTER")["hdfs"];
  if (plain.empty()) GTEST_SKIP() << "ZOH_TEST_CLUSTER names no running unsecured cluster";
  auto s = fromUri(plain + "/?dfs.replication=1");
  ASSERT_NE(nullptr, s->hdfs) << s->why;
  EXPECT_EQ("", list(s->hdfs, "/"));
}

TEST_F(SecureCluster, NoPasswordInAnythingTheRunWrote) {
  struct stat st {};
  ASSERT_EQ(0, stat(keys_["passwords"].c_str(), &st));
  EXPECT_EQ(0600, st.st_mode & 0777) << "the passwords file is for its owner alone";

  std::map<std::string, std::string> sources{
      {"log lines and error texts", g_said},
      {"/proc/self/cmdline", slurp("/proc/self/cmdline")},
      {"the cluster's command line", slurp("/proc/" + keys_["pid"] + "/cmdline")}};
  const fs::path state = fs::path(std::getenv("ZOH_SECURE_CLUSTER")).parent_path();
  for (const fs::path& root : {tmp_, state}) {
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (entry.is_regular_file() && entry.path() != keys_["passwords"]) {
        sources[entry.path().string()] = slurp(entry.path());
      }
    }
  }
  // The search must have had something to search.
  EXPECT_TRUE(contains(g_said, "Created Hadoop HDFS instance")) << "no trace-level lines";
  EXPECT_TRUE(contains(sources[(tmp_ / "hadoop.log").string()], "DEBUG")) << "no Hadoop lines";
  EXPECT_FALSE(sources["the cluster's command line"].empty());
  for (const auto& [user, secret] : passwords_) {
    ASSERT_GE(secret.size(), 20u);
    for (const auto& [where, bytes] : sources) {
      EXPECT_FALSE(contains(bytes, secret)) << "the password of " << user << " is in " << where;
    }
  }
}

}  // namespace
