// Prints the bytes of a Hadoop URI or path: the library read from a program.
#include <cstdio>

#include "ZOHadoopIO.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  ZobString err;
  ZoHadoopURI* uri = getURIFromURIString(ZobString(argv[1]));
  ZobIORaw* io = uri ? createRawIO(uri, &err) : nullptr;
  int bufferSize = 0, reserved = 0;
  if (!io || !io->open(ZOB_TXTFILE_READ, 0, &bufferSize, &reserved)) {
    std::fprintf(stderr, "cannot read %s: %s\n", argv[1],
                 io ? io->getErrorMessage().str().c_str() : err.str().c_str());
    return 1;
  }
  const char* data = nullptr;
  for (int n; (n = io->getBytes(&data, 1, 1 << 16)) > 0;) std::fwrite(data, 1, n, stdout);
  const bool closed = io->close();
  io->release();
  uri->destroy();
  return closed ? 0 : 1;
}
