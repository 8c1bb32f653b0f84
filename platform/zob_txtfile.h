// Platform I/O objects and text files.
#pragma once

#include "zob_export.h"
#include "zob_string.h"

// Open modes of platform text files and raw streams.
enum ZobTxtFileOpenMode {
  ZOB_TXTFILE_READ = 1,
  ZOB_TXTFILE_WRITE = 2,   // create or overwrite
  ZOB_TXTFILE_APPEND = 3,
};

// A platform I/O object (the host's context of a listing); opaque here.
class ZOB_API ZobIO {
 public:
  virtual ~ZobIO();
};

// A text file of the platform, read or written line by line. Lines end in "\n";
// a "\r\n" ending is read as "\n".
class ZOB_API ZobTxtFile {
 public:
  // Next line without its ending; false at the end of the file or on failure
  // (then getErrorMessage() is not empty).
  virtual bool readLine(ZobString* line) = 0;
  // Writes the line and a "\n".
  virtual bool writeLine(const ZobString& line) = 0;
  virtual ZobString getErrorMessage() = 0;
  // Flushes and closes; false when the last write could not be completed.
  virtual bool close() = 0;
  // Closes when still open, then destroys the object.
  virtual void release() = 0;

 protected:
  ~ZobTxtFile() = default;
};

class ZobIORaw;
class ZoHadoopURI;
// The raw stream factory of the Hadoop client library (its createRawIO).
typedef ZobIORaw* (*ZobRawIOFactory)(ZoHadoopURI* uri, ZobString* err);

// Opens a text file. `name` is a local path, or a URI text with a scheme other
// than file, which is opened through the raw stream factory set with
// zobTxtFileSetRawIOFactory (the Hadoop client library sets its createRawIO
// when it is loaded, however the host loaded it).
// The two ints are passed to the raw stream's open as its flags and buffer size
// (0: default). Null with a text in `err` (may be null) on failure.
ZOB_API ZobTxtFile* zobTxtFileOpen(const char* name, ZobTxtFileOpenMode mode,
                                   int openFlags, int bufferSize, ZobString* err);
ZOB_API void zobTxtFileSetRawIOFactory(ZobRawIOFactory factory);
// Forgets `factory` when it is the one set (a library being unloaded).
ZOB_API void zobTxtFileUnsetRawIOFactory(ZobRawIOFactory factory);
