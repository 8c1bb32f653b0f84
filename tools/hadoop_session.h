// Owners of the library's objects as the tool uses them: parsed targets, a
// Hadoop instance with its configuration and HDFS service, raw streams and
// directory walks. Each owner releases in the order the library asks for.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"
#include "fs_args.h"
#include "listing_format.h"
#include "zob_uri.h"

namespace zohtool {

template <typename T>
struct ReleaseDeleter {
  void operator()(T* object) const {
    if (object) object->release();
  }
};
template <typename T>
using Released = std::unique_ptr<T, ReleaseDeleter<T>>;
using UriPtr = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

// A path on a Hadoop file system as the user typed it, parsed with the
// generic options folded in.
class FsTarget {
 public:
  // False with a text in *error when the URI cannot be parsed.
  static bool parse(const std::string& typed, const GenericOptions& options,
                    FsTarget* out, std::string* error);

  // The same file system, another path; `display` is how to print it.
  bool withPath(const std::string& path, const std::string& display, FsTarget* out,
                std::string* error) const;

  ZoHadoopURI* uri() const { return uri_.get(); }
  // The decoded path, as the HDFS service takes it.
  std::string path() const;
  // What to print for this target: the typed text without items.
  const std::string& display() const { return display_; }
  // True when -user was carried by the URI (else the configuration needs it).
  bool userInUri() const { return userInUri_; }
  // -user was given but the URI cannot carry it (a plain path): only a
  // configuration made by the tool itself can apply it.
  bool userPending() const { return !user_.empty() && !userInUri_; }
  const std::string& user() const { return user_; }
  std::string contextKey() const;

 private:
  UriPtr uri_;
  std::string display_;
  bool userInUri_ = false;
  std::string user_;
};

// A private Hadoop instance, a configuration from the target's URI and an
// HDFS service on it.
class HdfsSession {
 public:
  bool open(const FsTarget& target, const GenericOptions& options, std::string* error);
  ZOHadoopHDFS* hdfs() const { return hdfs_.get(); }

  // Whether the path exists; false with *error when the call fails.
  bool exists(const std::string& path, bool* answer, std::string* error);
  // The entry at `target`: from the listing of its parent. *found false (and
  // true returned) when there is no such entry.
  bool stat(const FsTarget& target, EntryInfo* entry, bool* found, std::string* error);

 private:
  // True when `path` (which exists() denies) is truly absent; false with the
  // reason when its parent cannot be read.
  bool explainAbsence(const std::string& path, std::string* error);

  // Destroyed bottom-up: the service and configuration before the instance.
  Released<ZOHadoop> hadoop_;
  Released<ZOHadoopCfg> cfg_;
  Released<ZOHadoopHDFS> hdfs_;
};

// One session per file system, so that commands over several paths of the
// same file system share an instance.
class SessionPool {
 public:
  explicit SessionPool(const GenericOptions& options) : options_(options) {}
  HdfsSession* get(const FsTarget& target, std::string* error);

 private:
  const GenericOptions& options_;
  std::map<std::string, std::unique_ptr<HdfsSession>> sessions_;
};

// A raw stream through the library's createRawIO, opened for one mode.
class RawStream {
 public:
  bool open(const FsTarget& target, ZobTxtFileOpenMode mode, std::string* error);
  ZobIORaw* io() const { return raw_.get(); }
  std::string lastError() const;
  // Closes; false with the stream's text when the last bytes could not go out.
  bool close(std::string* error);

 private:
  Released<ZobIORaw> raw_;
};

// Every entry of a directory through the library's createDirectoryListing,
// with paths printed under the target's display text.
bool listDirectory(const FsTarget& target, std::vector<EntryInfo>* entries,
                   std::string* error);

// The entry name's last component: listings may name entries by full path.
std::string entryBaseName(const std::string& listedName);

}  // namespace zohtool
