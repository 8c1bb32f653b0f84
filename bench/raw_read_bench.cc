// Reading one large file two ways in the same run, both in 1 MiB chunks:
// through the library's raw I/O entry point (the JVM bridge and Hadoop's client)
// and through a reference. On a local file the reference is read(2) (goal: a
// ratio of at least 0.80); on an hdfs:// URI it is Hadoop's own Java client
// reading the same file into a direct buffer in a JVM of its own (goal: 0.90),
// the ceiling for any client that goes through Java.
//
// Usage: raw_read_bench [file [size-in-MiB]]   (default: a 1024 MiB file in /tmp)
//        raw_read_bench hdfs://host:port/path [size-in-MiB]
//        (the file is written through the library first when it is missing;
//        URI items such as ?dfs.replication=1 go to the library's side only)
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ZOHadoopIO.h"

namespace {

constexpr int kChunk = 1 << 20;
using Clock = std::chrono::steady_clock;

bool makeFile(const std::string& path, long mib) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  std::vector<char> block(kChunk);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + 7);
  bool ok = true;
  for (long i = 0; i < mib && ok; ++i) {
    block[0] = static_cast<char>(i);
    ok = ::write(fd, block.data(), block.size()) == static_cast<ssize_t>(block.size());
  }
  return ::close(fd) == 0 && ok;
}

// Bytes read, or -1; `checksum` keeps the reads from being optimised away and
// lets the two ways be compared.
long readPlain(const std::string& path, unsigned long* checksum) {
  int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0) return -1;
  std::vector<char> buffer(kChunk);
  long total = 0;
  for (;;) {
    ssize_t n = ::read(fd, buffer.data(), buffer.size());
    if (n < 0) {
      total = -1;
      break;
    }
    if (n == 0) break;
    *checksum += static_cast<unsigned char>(buffer[0]) + static_cast<unsigned char>(buffer[n - 1]);
    total += n;
  }
  ::close(fd);
  return total;
}

bool isUri(const std::string& path) { return path.find("://") != std::string::npos; }

// The URI without its items, for Hadoop's own client.
std::string plainUri(const std::string& path) { return path.substr(0, path.find('?')); }

std::string libraryUri(const std::string& path) {
  if (!isUri(path)) return "file://" + path + "?buffer-size=" + std::to_string(kChunk);
  return path + (path.find('?') == std::string::npos ? "?" : "&") +
         "buffer-size=" + std::to_string(kChunk);
}

ZobIORaw* openRaw(const std::string& path, ZobTxtFileOpenMode mode) {
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(
      getURIFromURIString(ZobString(libraryUri(path).c_str())));
  if (!uri) return nullptr;
  ZobString err;
  ZobIORaw* io = createRawIO(uri.get(), &err);
  if (io == nullptr) {
    std::fprintf(stderr, "createRawIO: %s\n", err.asCstr());
    return nullptr;
  }
  int bufferSize = kChunk;
  if (!io->open(mode, 0, &bufferSize, nullptr)) {
    std::fprintf(stderr, "open: %s\n", io->getErrorMessage().asCstr());
    io->release();
    return nullptr;
  }
  return io;
}

// Writes the benchmark's file on a cluster through the library itself.
bool makeRemoteFile(const std::string& path, long mib) {
  ZobIORaw* io = openRaw(path, ZOB_TXTFILE_WRITE);
  if (io == nullptr) return false;
  std::vector<char> block(kChunk);
  for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 131 + 7);
  bool ok = true;
  for (long i = 0; i < mib && ok; ++i) {
    block[0] = static_cast<char>(i);
    ok = io->putBytes(block.data(), kChunk) == kChunk;
  }
  ok = io->close() && ok;
  io->release();
  return ok;
}

// One round of Hadoop's own client in a JVM of its own (its start is not timed).
double javaClientMibPerSecond(const std::string& path) {
  const std::string command = std::string(ZOH_JAVA_HOME) + "/bin/java -cp '" +
                              ZOH_TESTCLUSTER_HOME + "/zox-testcluster.jar:" +
                              ZOH_TESTCLUSTER_HOME + "/lib/*' " +
                              "com.zorvanta.testcluster.JavaReadLoop '" + plainUri(path) + "' 2";
  std::FILE* child = ::popen(command.c_str(), "r");
  double figure = 0;
  if (child == nullptr || std::fscanf(child, "%lf", &figure) != 1) figure = 0;
  if (child != nullptr) ::pclose(child);
  if (figure <= 0) {
    std::fprintf(stderr, "Hadoop's Java client could not read %s\n", path.c_str());
    std::exit(1);
  }
  return figure;
}

long readThroughLibrary(const std::string& path, unsigned long* checksum) {
  ZobIORaw* io = openRaw(path, ZOB_TXTFILE_READ);
  if (io == nullptr) return -1;
  long total = 0;
  while (total >= 0) {
    const char* data = nullptr;
    int n = io->getBytes(&data, kChunk, kChunk);
    if (n < 0) {
      std::fprintf(stderr, "getBytes: %s\n", io->getErrorMessage().asCstr());
      total = -1;
      break;
    }
    if (n == 0) break;
    *checksum += static_cast<unsigned char>(data[0]) + static_cast<unsigned char>(data[n - 1]);
    total += n;
  }
  io->close();
  io->release();
  return total;
}

// One timed read in MiB/s; exits when the read comes up short.
template <typename Read>
double mibPerSecond(Read read, const std::string& path, long expected, unsigned long* checksum) {
  unsigned long sum = 0;
  auto start = Clock::now();
  long bytes = read(path, &sum);
  double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (bytes != expected) {
    std::fprintf(stderr, "read %ld bytes of %ld\n", bytes, expected);
    std::exit(1);
  }
  *checksum = sum;
  return bytes / seconds / (1 << 20);
}

}  // namespace

int remoteBench(const std::string& path, long mib) {
  const long expected = mib << 20;
  unsigned long sum = 0;
  if (readThroughLibrary(path, &sum) != expected && !makeRemoteFile(path, mib)) return 1;
  const int rounds = 5;
  double java = 0, library = 0;
  for (int r = 0; r < rounds; ++r) {
    java = std::max(java, javaClientMibPerSecond(path));
    library = std::max(library, mibPerSecond(readThroughLibrary, path, expected, &sum));
  }
  std::printf("%s: %ld MiB, chunks of 1 MiB, best of %d rounds\n", plainUri(path).c_str(), mib,
              rounds);
  std::printf("Hadoop's Java client:   %8.0f MiB/s\n", java);
  std::printf("createRawIO/getBytes:   %8.0f MiB/s\n", library);
  std::printf("ratio: %.2f (goal >= 0.90)\n", library / java);
  return library / java >= 0.90 ? 0 : 2;
}

int main(int argc, char** argv) {
  std::string path = argc > 1 ? argv[1] : "/tmp/zoh-raw-read-bench.bin";
  long mib = argc > 2 ? std::atol(argv[2]) : 1024;
  if (isUri(path)) return remoteBench(path, mib);
  bool made = argc <= 1;
  if (made && !makeFile(path, mib)) {
    std::perror(path.c_str());
    return 1;
  }
  const long expected = mib << 20;
  unsigned long plainSum = 0, librarySum = 0;
  // The first reads bring the file into the page cache and start the JVM, so
  // that both ways then read from memory.
  readPlain(path, &plainSum);
  readThroughLibrary(path, &librarySum);
  // Alternating rounds, best of each: the machine's other load then hits both
  // ways alike, and the best round is the one it disturbed least.
  const int rounds = 5;
  double plain = 0, library = 0;
  for (int r = 0; r < rounds; ++r) {
    plain = std::max(plain, mibPerSecond(readPlain, path, expected, &plainSum));
    library = std::max(library, mibPerSecond(readThroughLibrary, path, expected, &librarySum));
  }
  if (made) ::unlink(path.c_str());
  if (plainSum != librarySum) {
    std::fprintf(stderr, "the two ways read different bytes\n");
    return 1;
  }
  std::printf("file: %ld MiB, chunks of 1 MiB, best of %d rounds\n", mib, rounds);
  std::printf("read(2):                %8.0f MiB/s\n", plain);
  std::printf("createRawIO/getBytes:   %8.0f MiB/s\n", library);
  std::printf("ratio: %.2f (goal >= 0.80)\n", library / plain);
  return library / plain >= 0.80 ? 0 : 2;
}
