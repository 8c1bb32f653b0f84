#include "jvm_options.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace zojni {
namespace {

// What every JVM of ours starts with; ZOH_JVM_OPTIONS comes after, so a user's
// option of the same name wins.
const char* const kDefaultOptions[] = {
    // Names and texts cross as UTF-8 whatever the host's locale says.
    "-Dfile.encoding=UTF-8",
    // Hadoop reaches into these JDK packages by reflection; Java 17 refuses that
    // unless they are opened (the list Hadoop's own launch scripts use).
    "--add-opens=java.base/java.io=ALL-UNNAMED",
    "--add-opens=java.base/java.lang=ALL-UNNAMED",
    "--add-opens=java.base/java.lang.reflect=ALL-UNNAMED",
    "--add-opens=java.base/java.math=ALL-UNNAMED",
    "--add-opens=java.base/java.net=ALL-UNNAMED",
    "--add-opens=java.base/java.nio=ALL-UNNAMED",
    "--add-opens=java.base/java.text=ALL-UNNAMED",
    "--add-opens=java.base/java.util=ALL-UNNAMED",
    "--add-opens=java.base/java.util.concurrent=ALL-UNNAMED",
    "--add-opens=java.base/java.util.zip=ALL-UNNAMED",
    "--add-opens=java.base/sun.nio.ch=ALL-UNNAMED",
    "--add-opens=java.base/sun.security.util=ALL-UNNAMED",
    "--add-opens=java.base/sun.security.x509=ALL-UNNAMED",
    "--add-opens=java.security.jgss/sun.security.krb5=ALL-UNNAMED",
};

// Memory defaults for a client inside a host process, each dropped when the
// user's options choose the same thing (two collectors, or an initial heap above
// the user's cap, would stop the JVM from starting). The serial collector has
// no worker threads and a young generation sized from the initial heap, which
// -Xms keeps small: Hadoop's client allocates little, and file data lands in
// native memory, not on the heap. The cap leaves room for a MapReduce job's
// sort buffer or a Pig job run in process.
struct MemoryDefault {
  const char* option;
  bool (*replacedBy)(const std::string& userOption);
};

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

bool choosesCollector(const std::string& o) {
  return (startsWith(o, "-XX:+Use") || startsWith(o, "-XX:-Use")) && o.size() > 2 &&
         o.compare(o.size() - 2, 2, "GC") == 0;
}

bool sizesHeap(const std::string& o) {
  for (const char* p : {"-Xms", "-Xmx", "-XX:InitialHeapSize", "-XX:MaxHeapSize", "-XX:MinHeapSize",
                        "-XX:MaxRAM", "-XX:InitialRAMPercentage", "-XX:MaxRAMPercentage",
                        "-XX:MinRAMPercentage"}) {
    if (startsWith(o, p)) return true;
  }
  return false;
}

bool never(const std::string&) { return false; }

bool choosesSharing(const std::string& o) {
  return startsWith(o, "-Xshare") || o.find("SharedArchiveFile") != std::string::npos ||
         o.find("ArchiveClassesAtExit") != std::string::npos;
}

const MemoryDefault kMemoryDefaults[] = {
    {"-XX:+UseSerialGC", choosesCollector},
    {"-Xms16m", sizesHeap},
    {"-Xmx1g", sizesHeap},
    // No /tmp/hsperfdata file for every host process (jstat and jps do not see it).
    {"-XX:-UsePerfData", never},
};

}  // namespace

std::vector<std::string> jvmOptions(const char* text, const std::string& classArchive) {
  std::vector<std::string> user;
  if (text != nullptr) {
    std::string current;
    for (const char* p = text;; ++p) {
      if (*p == '\0' || std::isspace(static_cast<unsigned char>(*p))) {
        if (!current.empty()) user.push_back(current);
        current.clear();
        if (*p == '\0') break;
      } else {
        current.push_back(*p);
      }
    }
  }
  std::vector<std::string> options(std::begin(kDefaultOptions), std::end(kDefaultOptions));
  for (const MemoryDefault& d : kMemoryDefaults) {
    if (std::none_of(user.begin(), user.end(), d.replacedBy)) options.push_back(d.option);
  }
  // The JVM checks that the archive fits it (the same JDK build) and otherwise
  // starts without it; it says why only when asked (-Xlog:cds), since a host's
  // standard error is the host's.
  if (!classArchive.empty() && std::none_of(user.begin(), user.end(), choosesSharing)) {
    options.push_back("-XX:SharedArchiveFile=" + classArchive);
    options.push_back("-Xlog:cds=off,cds+dynamic=off");
  }
  options.insert(options.end(), user.begin(), user.end());
  return options;
}

}  // namespace zojni
