// The platform's file framework and cursor interfaces, which plug-ins implement.
#pragma once

#include <cstdint>

#include "zob_date.h"
#include "zob_string.h"
#include "zob_txtfile.h"

// A raw byte stream. Counts are negative on failure; getErrorMessage() then
// says why.
class ZobIORaw {
 public:
  virtual bool close() = 0;
  // At least minBytes and at most maxBytes bytes at *data (fewer only at the end
  // of the stream); 0 at the end. The bytes stay valid until the next call.
  virtual int getBytes(const char** data, int minBytes, int maxBytes) = 0;
  virtual ZobString getErrorMessage() = 0;
  virtual ZobString getURI() = 0;
  // *bufferSize 0 asks the stream for its default and receives it.
  virtual bool open(ZobTxtFileOpenMode mode, int openFlags, int* bufferSize,
                    int* reserved) = 0;
  virtual int putBytes(const char* data, int length) = 0;
  virtual void release() = 0;
  virtual long size() = 0;
  virtual long skipBytes(long count) = 0;

 protected:
  ~ZobIORaw() = default;
};

// A directory walk, one entry after another.
class ZobDirectoryListing {
 public:
  virtual ZobString concatPath(const ZobString& directory, const ZobString& entryName) = 0;
  virtual ZobString getErrorMessage() = 0;
  virtual ZobString getFullPathName() = 0;
  virtual ZobString getName() = 0;
  virtual long getSize() = 0;
  virtual ZobDate getTimestamp() = 0;
  // Milliseconds since the Unix epoch.
  virtual uint64_t getTimestampLong() = 0;
  virtual bool isDir() = 0;
  virtual bool isReadOnly() = 0;
  virtual bool next() = 0;
  virtual ZobTxtFile* openTextFile(ZobTxtFileOpenMode mode, int openFlags, int bufferSize,
                                   ZobString* err) = 0;
  virtual ZobString parsePath(const ZobString& fullPath, ZobString* fileName) = 0;
  virtual void release() = 0;

 protected:
  ~ZobDirectoryListing() = default;
};

// Rows of text columns.
class ZobStringCursor {
 public:
  virtual bool cacheAll() = 0;
  virtual ZobString getColumnName(int i) = 0;
  virtual int getColumns() = 0;
  virtual ZobString getColumnValue(int i) = 0;
  virtual ZobString getErrorMessage() = 0;
  virtual bool getRows(long* rows) = 0;
  virtual bool next() = 0;
  virtual void release() = 0;
  virtual bool top() = 0;

 protected:
  ~ZobStringCursor() = default;
};
