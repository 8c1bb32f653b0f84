// An open HDFS file. The bytes of a read stay in the proxy's response, which the
// file keeps until the next read or the close, so reads hand out no copies.
#pragma once

#include <cstdint>

#include "ZOHadoop.h"
#include "ZOHadoopHDFS.h"
#include "zo_logger.h"
#include "zob_date.h"
#include "zob_string.h"
#include "zowlp.h"

class ZohCalls;

class ZOHadoopFileImpl final : public ZOHadoopFile, public ZOHadoopObj {
 public:
  ZOHadoopFileImpl(ZohCalls* owner, long javaObject, ZOHadoopHDFSMember* member);
  ~ZOHadoopFileImpl();

  // ZOHadoopFile, in slot order.
  bool close(ZobString* err) override;
  long getSize() override { return size_; }
  int read(HadoopPollStatus* poll, const char** data, int count, ZobString* err) override;
  void release() override { release(true); }
  bool write(HadoopPollStatus* poll, const char* data, int length,
             ZobString* err) override;

  void destroyMe() override { release(false); }
  void release(bool unregister);

  int64_t javaObject() const { return javaObject_; }

 private:
  void dropLastRead();

  ZohCalls* owner_;
  ZobString instanceId_;
  int64_t javaObject_;
  ZobString entryName_;
  ZobDate modDate_;
  bool isDir_;
  long size_;
  int permissions_;
  ZoLogger_* logger_ = nullptr;
  zowlpResponse* lastRead_ = nullptr;
};
