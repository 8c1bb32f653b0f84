#include "ZobIOHadoop.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ZOHadoopIO.h"
#include "hadoop_access.h"
#include "zob_txtfile.h"
#include "zohadoop/hadoop_calls.h"

ZobIORaw* createRawIO(ZoHadoopURI* uri, ZobString* err) {
  ZobIOHadoop* io = new (std::nothrow) ZobIOHadoop(uri);
  if (io == nullptr && err != nullptr) *err = ZOH_MESSAGE(ZOH_BASEIO_TAG, 444);
  return io;
}

namespace {

// The runtime opens non-file text files (a listing's openTextFile, or a host's
// zobTxtFileOpen) through our raw streams. It learns of them here, when the
// library is loaded: a lookup by name would miss a library that its host
// loaded with RTLD_LOCAL.
struct RawIOFactoryRegistration {
  RawIOFactoryRegistration() { zobTxtFileSetRawIOFactory(&createRawIO); }
  ~RawIOFactoryRegistration() { zobTxtFileUnsetRawIOFactory(&createRawIO); }
} g_rawIOFactoryRegistration;

}  // namespace

ZobIOHadoop::ZobIOHadoop(ZoHadoopURI* uri) : uri_(uri) {}

ZobIOHadoop::~ZobIOHadoop() {
  buffer_.reset();
  if (hadoop_ != nullptr) {
    // Children first: each of them calls back into the instance.
    if (file_ != nullptr) file_->release();
    if (hdfs_ != nullptr) hdfs_->release();
    if (cfg_ != nullptr) cfg_->release();
    hadoop_->release();
  }
}

bool ZobIOHadoop::open(ZobTxtFileOpenMode mode, int openFlags, int* bufferSize,
                       int* reserved) {
  // One open per stream: a second one would orphan the objects of the first.
  if (hadoop_ != nullptr) return false;
  mode_ = mode;
  // No place for the size: the caller asks for none and hears of none.
  bufferSize_ = bufferSize != nullptr ? *bufferSize : 0;
  int fromUri = 0;
  // Without a URI the configuration below refuses with its own text.
  if (bufferSize_ == 0 && uri_ != nullptr && uri_->getBufferSize(&fromUri)) {
    bufferSize_ = fromUri;
  }
  // The buffering needs room for at least one byte; a size that cannot be used
  // falls back to the default.
  if (bufferSize_ <= 0) bufferSize_ = kDefaultBufferSize;
  if (bufferSize != nullptr) *bufferSize = bufferSize_;

  if (!getHDFS(uri_, &hadoop_, &cfg_, &hdfs_, &error_)) return false;
  path_ = uri_->getPath();
  file_ = hdfs_->openFile(nullptr, path_, mode, openFlags, bufferSize_, &error_);
  if (file_ == nullptr) return false;
  if (reserved != nullptr && *reserved < 0) *reserved = 0;
  return true;
}

bool ZobIOHadoop::allocateBuffer(int size) {
  buffer_.reset(new (std::nothrow) char[static_cast<size_t>(size) + 1]);
  if (buffer_ == nullptr) {
    error_ = ZOH_MESSAGE(ZOH_BASEIO_TAG, 29, "(Hadoop Raw IO Buffer)");
    return false;
  }
  bufferSize_ = size;
  return true;
}

// A null place for the bytes is refused like a stream that is not open: the
// adapter has no text of its own for it.
int ZobIOHadoop::getBytes(const char** data, int minBytes, int maxBytes) {
  if (file_ == nullptr || data == nullptr) return -1;
  bufferFill_ = 0;
  int gathered = 0;
  const char* chunk = nullptr;
  for (;;) {
    const int room = maxBytes - gathered;
    int got = file_->read(nullptr, &chunk, room, &error_);
    if (got < 0) return got;
    if (got == 0) break;
    // Never trust a reply beyond what was asked for: it would overrun the buffer.
    got = std::min(got, room);
    if (got <= 0) break;
    if (bufferFill_ == 0 && got >= minBytes) {
      // One read brought enough: hand out the file's own bytes, no copy.
      gathered += got;
      break;
    }
    if (bufferFill_ == 0 && (buffer_ == nullptr || maxBytes > bufferSize_)) {
      if (!allocateBuffer(maxBytes)) return -1;
    }
    std::memcpy(buffer_.get() + bufferFill_, chunk, static_cast<size_t>(got));
    bufferFill_ += got;
    gathered += got;
    if (gathered >= minBytes) break;
  }
  if (bufferFill_ != 0) {
    buffer_[bufferFill_] = '\0';
    *data = buffer_.get();
  } else {
    *data = chunk;
  }
  return gathered;
}

int ZobIOHadoop::putBytes(const char* data, int length) {
  if (file_ == nullptr || (data == nullptr && length > 0)) return -1;
  if (buffer_ == nullptr && !allocateBuffer(bufferSize_)) return -1;
  if (length == 0) return 0;
  int taken = 0;
  // Whole buffers of the caller's own bytes go to HDFS as they are: the same
  // writes as through the buffer, without copying them into it first.
  while (bufferFill_ == 0 && length - taken >= bufferSize_) {
    if (!file_->write(nullptr, data + taken, bufferSize_, &error_)) {
      // Left as a failed write of the buffer leaves it: full, those bytes held.
      std::memcpy(buffer_.get(), data + taken, static_cast<size_t>(bufferSize_));
      bufferFill_ = bufferSize_;
      return -1;
    }
    taken += bufferSize_;
  }
  while (taken < length) {
    const int n = std::min(length - taken, bufferSize_ - bufferFill_);
    std::memcpy(buffer_.get() + bufferFill_, data + taken, static_cast<size_t>(n));
    bufferFill_ += n;
    taken += n;
    if (bufferFill_ == bufferSize_) {
      // HDFS sees whole buffers only; the remainder waits for close().
      if (!file_->write(nullptr, buffer_.get(), bufferFill_, &error_)) return -1;
      bufferFill_ = 0;
    }
  }
  return length;
}

long ZobIOHadoop::skipBytes(long count) {
  if (count <= 0) return 0;
  long skipped = 0;
  for (;;) {
    const int step = static_cast<int>(std::min<long>(count - skipped, bufferSize_));
    const char* ignored = nullptr;
    const int got = getBytes(&ignored, 0, step);
    if (got < 0) return -1;
    if (got == 0) return 0;
    skipped += got;
    if (skipped >= count) return skipped;
  }
}

long ZobIOHadoop::size() { return file_ != nullptr ? file_->getSize() : -1; }

bool ZobIOHadoop::close() {
  if (file_ == nullptr) return true;
  if (mode_ == ZOB_TXTFILE_READ) return file_->close(&error_);
  // After an earlier failure the held bytes belong to a broken stream; they are
  // dropped, but the file is still closed.
  if (error_.length() == 0 && bufferFill_ != 0) {
    if (!file_->write(nullptr, buffer_.get(), bufferFill_, &error_)) {
      ZobString closeError;
      file_->close(&closeError);
      return false;
    }
  }
  return file_->close(&error_);
}
