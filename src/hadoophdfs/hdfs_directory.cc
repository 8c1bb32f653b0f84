#include "ZOHadoopDirImpl.h"

#include <utility>

#include "hdfs_stats.h"
#include "hdfs_support.h"
#include "zohadoop/hadoop_calls.h"

ZOHadoopDirImpl::ZOHadoopDirImpl(ZohCalls* owner, ZobString path, zowlpRowSet* rows)
    : owner_(owner), path_(std::move(path)), rows_(rows) {
  // Loggers live as long as the process: looked up once, not under the
  // registry's lock for every listing opened.
  static ZoLogger_* const logger = zologGetLogger("ZO.Hadoop.HDFS.Directory");
  logger_ = logger;
}

ZOHadoopDirImpl::~ZOHadoopDirImpl() {
  if (rows_ != nullptr) zowlpRowSet_destroy(rows_);
}

void ZOHadoopDirImpl::release(bool unregister) {
  if (unregister) owner_->removeObject(static_cast<ZOHadoopObj*>(this));
  delete this;
}

bool ZOHadoopDirImpl::close(ZobString* /*err*/) {
  if (rows_ != nullptr) zowlpRowSet_destroy(rows_);
  rows_ = nullptr;
  pendingRow_ = nullptr;  // it pointed into the rows just released
  return true;
}

bool ZOHadoopDirImpl::next(ZobString* name, long* size, ZobDate* date,
                           unsigned long* dateMillis, bool* isDir, bool* readOnly,
                           ZobString* err) {
  ZOHadoopHDFSMember entry;
  if (err) err->setNull(false);
  if (name == nullptr || size == nullptr || date == nullptr || dateMillis == nullptr ||
      isDir == nullptr || readOnly == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 29, "(next outputs: null pointer)");
    return false;
  }
  if (rows_ == nullptr) return false;
  if (rowIndex_ >= zowlpRowSet_getRows(rows_)) return false;
  if (!getStats(&rowIndex_, rows_, &pendingRow_, &entry, err)) return false;

  *name = entry.name;
  *date = entry.modDate;
  // Through a signed integer: a date before 1970 is negative, and converting a
  // negative double straight to an unsigned type is undefined. Dates from a
  // stats row lie within years 0 to 9999, well inside the signed range.
  *dateMillis = static_cast<unsigned long>(
      static_cast<long long>(entry.modDate.asDouble() * 1000.0));
  *isDir = entry.isDir;
  // Write permission is the bit of value 2 of what the Java side reports.
  *readOnly = (entry.permissions & 2) == 0;
  *size = entry.size;
  return true;
}
