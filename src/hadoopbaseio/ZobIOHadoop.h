// A raw byte stream of the platform on one HDFS file, with its own private
// Hadoop instance. Its work is the buffering between the platform's calls and
// the HDFS file.
#pragma once

#include <memory>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "zob_framework.h"
#include "zob_string.h"
#include "zob_uri.h"

class ZobIOHadoop : public ZobIORaw {
 public:
  static constexpr int kDefaultBufferSize = 16384;

  explicit ZobIOHadoop(ZoHadoopURI* uri);

  // ZobIORaw, in slot order.
  bool close() override;
  int getBytes(const char** data, int minBytes, int maxBytes) override;
  ZobString getErrorMessage() override { return error_; }
  ZobString getURI() override { return path_; }
  bool open(ZobTxtFileOpenMode mode, int openFlags, int* bufferSize,
            int* reserved) override;
  int putBytes(const char* data, int length) override;
  void release() override { delete this; }
  long size() override;
  long skipBytes(long count) override;
  virtual ~ZobIOHadoop();

 private:
  // Makes sure the buffer holds `size` bytes and one more for a terminating
  // zero; false (with the message in error) when it cannot be allocated.
  bool allocateBuffer(int size);

  ZoHadoopURI* uri_;
  ZobString path_{""};
  ZobTxtFileOpenMode mode_ = ZOB_TXTFILE_READ;
  ZobString error_;
  // The buffer's capacity is always bufferSize_ + 1 once it exists.
  int bufferSize_ = 0;
  int bufferFill_ = 0;
  std::unique_ptr<char[]> buffer_;
  ZOHadoop* hadoop_ = nullptr;
  ZOHadoopCfg* cfg_ = nullptr;
  ZOHadoopHDFS* hdfs_ = nullptr;
  ZOHadoopFile* file_ = nullptr;
};
