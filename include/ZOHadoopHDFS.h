// HDFS: the service, open files and directory listings.
#pragma once

#include "hadoop_status.h"
#include "zob_date.h"
#include "zob_string.h"
#include "zob_txtfile.h"

// The record of one HDFS entry.
struct ZOHadoopHDFSMember {
  ZobString name{""};
  ZobDate modDate;
  bool isDir = false;
  long size = 0;
  int permissions = 0;
};

// An open HDFS file. Bytes handed out by read() stay valid until the next
// read(), close() or release().
class ZOHadoopFile {
 public:
  virtual bool close(ZobString* err) = 0;
  virtual long getSize() = 0;
  // Bytes at *data; 0 at the end of the file; -1 on failure. The answer is
  // what the Java side sent, not clamped to `count`: the proxy never sends more.
  virtual int read(HadoopPollStatus* poll, const char** data, int count,
                   ZobString* err) = 0;
  virtual void release() = 0;
  virtual bool write(HadoopPollStatus* poll, const char* data, int length,
                     ZobString* err) = 0;
};

// An HDFS directory listing, fetched whole when opened.
class ZOHadoopDirectory {
 public:
  virtual bool close(ZobString* err) = 0;
  // The next entry; false at the end (err null) or on failure (err holds why).
  virtual bool next(ZobString* name, long* size, ZobDate* date,
                    unsigned long* dateMillis, bool* isDir, bool* readOnly,
                    ZobString* err) = 0;
  virtual void release() = 0;
};

class ZOHadoopHDFS {
 public:
  virtual bool copyFromLocal(HadoopPollStatus* poll, const ZobString& localSource,
                             bool sourceFlag, const ZobString& hdfsDestination,
                             bool destinationFlag, ZobString* err) = 0;
  virtual bool copyToLocal(HadoopPollStatus* poll, const ZobString& hdfsSource,
                           bool sourceFlag, const ZobString& localDestination,
                           bool destinationFlag, ZobString* err) = 0;
  virtual bool deleteFile(HadoopPollStatus* poll, const ZobString& path,
                          ZobString* err) = 0;
  virtual bool exists(HadoopPollStatus* poll, const ZobString& path, bool* answer,
                      ZobString* err) = 0;
  virtual bool makeDirectory(HadoopPollStatus* poll, const ZobString& path,
                             ZobString* err) = 0;
  virtual ZOHadoopDirectory* openDir(HadoopPollStatus* poll, const ZobString& path,
                                     ZobString* err) = 0;
  // Modes other than reading and writing are sent as the append mode.
  virtual ZOHadoopFile* openFile(HadoopPollStatus* poll, const ZobString& path,
                                 ZobTxtFileOpenMode mode, int openFlags, int bufferSize,
                                 ZobString* err) = 0;
  virtual void release() = 0;
  virtual bool rename(HadoopPollStatus* poll, const ZobString& from, const ZobString& to,
                      ZobString* err) = 0;
};
