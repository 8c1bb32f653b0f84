// zohadoop-tour: the library's whole round trip through the JVM bridge and
// Apache Hadoop's client, on the local file system or beneath a base URI.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tour.h"
#include "zo_logger.h"

int main(int argc, char** argv) {
  bool verbose = false;
  std::string base;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-v") == 0 || std::strcmp(argv[i], "--verbose") == 0) {
      verbose = true;
    } else if (argv[i][0] != '-' && base.empty()) {
      base = argv[i];
    } else {
      std::fprintf(stderr,
                   "Usage: zohadoop-tour [-v] [base-uri]\n"
                   "Writes, lists, reads, copies, renames and deletes a file in a fresh\n"
                   "temporary directory through the Hadoop client library; exits 0 only\n"
                   "when every step checked out. -v shows the library's log lines.\n"
                   "The directory is local, or beneath base-uri on any file system\n"
                   "Hadoop's client reaches (hdfs://namenode:8020/tmp, webhdfs://...).\n"
                   "The Java proxies are found through ZOH_PROXY_HOME, else the build's.\n");
      return std::strcmp(argv[i], "--help") == 0 ? 0 : 2;
    }
  }
  if (verbose) {
    zologSetThreshold(ZOLOG_INFO);
  } else if (!std::getenv("ZO_LOG_LEVEL")) {
    // A failing step prints its own text; the log would say it twice.
    zologSetThreshold(ZOLOG_FATAL);
  }
  zohtool::Tour tour(stdout, (1 << 20) + 123, base);
  return tour.run() ? 0 : 1;
}
