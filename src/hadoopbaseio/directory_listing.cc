#include "ZobHadoopDirectory.h"

#include <memory>
#include <new>

#include "ZOHadoopIO.h"
#include "hadoop_access.h"
#include "zohadoop/hadoop_calls.h"

ZobDirectoryListing* createDirectoryListing(ZobIO* io, ZoHadoopURI* uri, int flags,
                                            ZobString* err) {
  ZobHadoopDirectory* listing = new (std::nothrow) ZobHadoopDirectory(io, uri, flags);
  if (listing == nullptr) {
    if (err) *err = ZOH_MESSAGE(ZOH_BASEIO_TAG, 444);
    return nullptr;
  }
  if (listing->init()) return listing;
  if (err) *err = listing->getErrorMessage();
  listing->release();
  return nullptr;
}

ZobHadoopDirectory::ZobHadoopDirectory(ZobIO* io, ZoHadoopURI* uri, int flags)
    : io_(io), uri_(uri), flags_(flags) {}

ZobHadoopDirectory::~ZobHadoopDirectory() {
  // The directory calls back into the instance, so it goes first.
  if (dir_ != nullptr) dir_->release();
  if (hadoop_ != nullptr) hadoop_->release();
  if (ownsURI_) uri_->destroy();
}

bool ZobHadoopDirectory::init() {
  // The caller's URI may go away while the walk goes on; keep our own copy.
  ZoHadoopURI* copy =
      uri_ != nullptr ? getURIFromURIString(uri_->getURIString()) : nullptr;
  if (copy == nullptr) {
    error_ = ZOH_MESSAGE(ZOH_BASEIO_TAG, 29, "(Hadoop URI)");
    return false;
  }
  uri_ = copy;
  ownsURI_ = true;
  path_ = uri_->getPath();

  ZOHadoopCfg* cfg = nullptr;
  ZOHadoopHDFS* hdfs = nullptr;
  if (!getHDFS(uri_, &hadoop_, &cfg, &hdfs, &error_)) return false;
  dir_ = hdfs->openDir(nullptr, path_, &error_);
  // The listing arrived whole; only the instance and the directory are needed
  // for the walk.
  hdfs->release();
  if (cfg != nullptr) cfg->release();
  return dir_ != nullptr;
}

bool ZobHadoopDirectory::next() {
  if (dir_ == nullptr) return false;
  for (;;) {
    long entrySize = 0;
    unsigned long millis = 0;
    if (!dir_->next(&name_, &entrySize, &date_, &millis, &isDir_, &readOnly_, &error_)) {
      return false;
    }
    dateMillis_ = millis;
    const unsigned int filter = static_cast<unsigned int>(flags_);
    if ((filter & ZOB_LISTING_DIRECTORIES_ONLY) != 0) {
      if (!isDir_) continue;
    } else if ((filter & ZOB_LISTING_FILES_ONLY) != 0) {
      if (isDir_) continue;
    }
    size_ = entrySize;
    return true;
  }
}

ZobString ZobHadoopDirectory::parsePath(const ZobString& fullPath, ZobString* fileName) {
  const int slash = fullPath.rfind(ZobString("/"));
  if (slash < 0) {
    if (fileName) *fileName = ZobString("");
    return fullPath;
  }
  if (fileName) *fileName = fullPath.mid(static_cast<unsigned int>(slash) + 1, -1);
  return fullPath.mid(0, slash);
}

ZobString ZobHadoopDirectory::concatPath(const ZobString& directory,
                                         const ZobString& entryName) {
  ZobString joined = directory.length() == 0 ? ZobString("") : directory;
  if (entryName.length() == 0) return joined;
  // A bare name is not a path of this listing.
  if (joined.length() == 0) return ZobString("");
  bool failed = false;
  joined.append("/", &failed);
  if (failed) return ZobString("");
  joined.append(entryName, &failed);
  if (failed) return ZobString("");
  return joined;
}

ZobTxtFile* ZobHadoopDirectory::openTextFile(ZobTxtFileOpenMode mode, int openFlags,
                                             int bufferSize, ZobString* err) {
  if (err) err->setNull(false);
  const ZobString full = getFullPathName();
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> entryUri(
      getHadoopURIFromComponents(full));
  if (entryUri == nullptr) {
    error_ = ZOH_MESSAGE(ZOH_BASEIO_TAG, 29, "(Hadoop URI)");
    return nullptr;
  }
  // The entry path alone would lose the file system, user and options of the
  // listed directory.
  const ZobString context = uri_->getContext();
  if (context.length() != 0 && !entryUri->setContext(context, err)) return nullptr;
  const ZobString entryText = entryUri->getURIString();
  return zobTxtFileOpen(entryText.asCstr(), mode, openFlags, bufferSize, err);
}
