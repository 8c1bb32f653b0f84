// Reads an open HDFS directory listing to its end.
#pragma once

#include "ZOHadoopHDFS.h"

namespace zohsweep {

// True at the end of the listing; false when a step failed, with the text in `err`.
inline bool walkDirectory(ZOHadoopDirectory* dir, ZobString* err) {
  ZobString name;
  ZobDate date;
  long size = 0;
  unsigned long millis = 0;
  bool isDir = false, readOnly = false;
  while (dir->next(&name, &size, &date, &millis, &isDir, &readOnly, err)) {
  }
  return err->isNull();
}

}  // namespace zohsweep
