// A platform directory walk over one HDFS directory, with its own private
// Hadoop instance. Paths are split and joined at "/".
#pragma once

#include <cstdint>

#include "ZOHadoop.h"
#include "ZOHadoopHDFS.h"
#include "zob_date.h"
#include "zob_framework.h"
#include "zob_string.h"
#include "zob_txtfile.h"
#include "zob_uri.h"

class ZobHadoopDirectory : public ZobDirectoryListing {
 public:
  ZobHadoopDirectory(ZobIO* io, ZoHadoopURI* uri, int flags);

  // ZobDirectoryListing, in slot order.
  ZobString concatPath(const ZobString& directory, const ZobString& entryName) override;
  ZobString getErrorMessage() override { return error_; }
  ZobString getFullPathName() override { return concatPath(path_, name_); }
  ZobString getName() override { return name_; }
  long getSize() override { return size_; }
  ZobDate getTimestamp() override { return date_; }
  uint64_t getTimestampLong() override { return dateMillis_; }
  bool isDir() override { return isDir_; }
  bool isReadOnly() override { return readOnly_; }
  bool next() override;
  ZobTxtFile* openTextFile(ZobTxtFileOpenMode mode, int openFlags, int bufferSize,
                           ZobString* err) override;
  ZobString parsePath(const ZobString& fullPath, ZobString* fileName) override;
  void release() override { delete this; }
  virtual ~ZobHadoopDirectory();

  // Opens the HDFS directory; false with the text in getErrorMessage().
  bool init();

 private:
  ZobIO* io_;
  ZoHadoopURI* uri_;
  ZobString path_{""};
  int flags_;
  bool ownsURI_ = false;
  ZOHadoop* hadoop_ = nullptr;
  ZOHadoopDirectory* dir_ = nullptr;
  ZobString error_;
  ZobString name_{""};
  bool isDir_ = false;
  bool readOnly_ = false;
  ZobDate date_;
  uint64_t dateMillis_ = 0;
  long size_ = 0;
};
