// Reading one large file two ways in the same run: through the library's raw
// I/O entry point (the JVM bridge and the Hadoop proxy on the local file
// system) and with read(2), both in 1 MiB chunks. Prints both throughputs and
// their ratio; the goal is a ratio of at least 0.70.
//
// Usage: raw_read_bench [file [size-in-MiB]]   (default: a 1024 MiB file in /tmp)
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

long readThroughLibrary(const std::string& path, unsigned long* checksum) {
  std::string text = "file://" + path + "?buffer-size=" + std::to_string(kChunk);
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(getURIFromURIString(ZobString(text.c_str())));
  if (!uri) return -1;
  ZobString err;
  ZobIORaw* io = createRawIO(uri.get(), &err);
  if (io == nullptr) {
    std::fprintf(stderr, "createRawIO: %s\n", err.asCstr());
    return -1;
  }
  int bufferSize = kChunk;
  long total = 0;
  if (!io->open(ZOB_TXTFILE_READ, 0, &bufferSize, nullptr)) {
    std::fprintf(stderr, "open: %s\n", io->getErrorMessage().asCstr());
    total = -1;
  }
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

int main(int argc, char** argv) {
  std::string path = argc > 1 ? argv[1] : "/tmp/zoh-raw-read-bench.bin";
  long mib = argc > 2 ? std::atol(argv[2]) : 1024;
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
  std::printf("ratio: %.2f (goal >= 0.70)\n", library / plain);
  return library / plain >= 0.70 ? 0 : 2;
}
