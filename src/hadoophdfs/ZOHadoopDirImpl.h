// An HDFS directory listing, fetched whole by the service and walked locally.
#pragma once

#include "ZOHadoop.h"
#include "ZOHadoopHDFS.h"
#include "zo_logger.h"
#include "zob_string.h"
#include "zowlp.h"

class ZohCalls;

class ZOHadoopDirImpl final : public ZOHadoopDirectory, public ZOHadoopObj {
 public:
  // Takes ownership of `rows`.
  ZOHadoopDirImpl(ZohCalls* owner, ZobString path, zowlpRowSet* rows);
  ~ZOHadoopDirImpl();

  // ZOHadoopDirectory, in slot order.
  bool close(ZobString* err) override;
  bool next(ZobString* name, long* size, ZobDate* date, unsigned long* dateMillis,
            bool* isDir, bool* readOnly, ZobString* err) override;
  void release() override { release(true); }

  void destroyMe() override { release(false); }
  void release(bool unregister);

  const ZobString& path() const { return path_; }

 private:
  ZohCalls* owner_;
  ZobString path_;
  zowlpRowSet* rows_;
  // The read position that getStats keeps between entries.
  zowlpParameter* pendingRow_ = nullptr;
  int rowIndex_ = 0;
  ZoLogger_* logger_ = nullptr;
};
