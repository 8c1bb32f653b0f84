#include "hadoop_session.h"

#include "hadoop_path.h"
#include "zob_credentials.h"

namespace zohtool {

namespace {

std::string text(const ZobString& s) { return s.str(); }

std::string orUnknown(const std::string& error, const char* what) {
  return error.empty() ? std::string(what) + " failed without a reason" : error;
}

const char kUserNeedsScheme[] =
    "-user needs a URI with a scheme here (scheme://host/path): a plain path cannot "
    "carry a user";

std::string trimmed(const std::string& s) {
  const size_t first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t") - first + 1);
}

// The library creates a configuration without a user when the store holds
// nothing under a URI's credential name, as the platform expects; a person who
// typed the name wants to hear that it was not found.
bool checkCredential(ZoHadoopURI* uri, std::string* why) {
  const std::string name = trimmed(text(uri->getCredentialName()));
  ZobString user;
  ZobString password;
  uri->getUserPassword(&user, &password);
  if (name.empty() || !trimmed(text(user)).empty()) return true;
  if (zobSubjectAccess() == nullptr) {
    *why = "the credential '" + name +
           "' cannot be looked up: ZOB_CREDENTIAL_STORE names no readable credential store";
    return false;
  }
  ZobString detail;
  const bool found = zobSubjectCredentials(ZobString(name.c_str()), user, password, &detail);
  zobSubjectRelease();
  if (!found) *why = "no credential '" + name + "' in the credential store " + text(detail);
  return found;
}

}  // namespace

bool FsTarget::parse(const std::string& typed, const GenericOptions& options,
                     FsTarget* out, std::string* error) {
  bool userInUri = false;
  const std::string uriText = buildUriText(typed, options, &userInUri);
  UriPtr uri(getURIFromURIString(ZobString(uriText.c_str())));
  if (!uri) {
    *error = "`" + withoutItems(typed) + "': not a valid Hadoop URI or path: " +
             text(zobUriParseError(ZobString(uriText.c_str())));
    return false;
  }
  ZobString user;
  ZobString password;
  uri->getUserPassword(&user, &password);
  rememberSecret(text(password));
  std::string why;
  if (!checkCredential(uri.get(), &why)) {
    *error = "`" + withoutItems(typed) + "': " + why;
    return false;
  }
  out->uri_ = std::move(uri);
  out->display_ = withoutItems(typed);
  out->userInUri_ = userInUri;
  out->user_ = options.user;
  return true;
}

bool FsTarget::withPath(const std::string& path, const std::string& display,
                        FsTarget* out, std::string* error) const {
  UriPtr copy(getURIFromURIString(uri_->getURIString()));
  if (!copy) {
    *error = "`" + display_ + "': cannot copy its URI";
    return false;
  }
  copy->setPath(ZobString(path.c_str()));
  out->uri_ = std::move(copy);
  out->display_ = display;
  out->userInUri_ = userInUri_;
  out->user_ = user_;
  return true;
}

std::string FsTarget::path() const { return text(uri_->getPath()); }

std::string FsTarget::contextKey() const {
  return text(uri_->getContext()) + (userPending() ? "\n" + user_ : std::string());
}

bool HdfsSession::open(const FsTarget& target, const GenericOptions& options,
                       std::string* error) {
  ZobString err;
  hadoop_.reset(zoHadoopCreate(&err));
  if (!hadoop_) {
    *error = orUnknown(text(err), "creating the Hadoop instance");
    return false;
  }
  cfg_.reset(hadoop_->createConfiguration(target.uri(), &err));
  if (!cfg_) {
    *error = orUnknown(text(err), "creating the configuration");
    return false;
  }
  if (target.userPending() &&
      !cfg_->setUserPass(ZobString(options.user.c_str()), ZobString(""), &err)) {
    *error = orUnknown(text(err), "setting the user");
    return false;
  }
  hdfs_.reset(hadoop_->createHDFS(cfg_.get(), &err));
  if (!hdfs_) {
    *error = orUnknown(text(err), "creating the HDFS service");
    return false;
  }
  return true;
}

bool HdfsSession::exists(const std::string& path, bool* answer, std::string* error) {
  ZobString err;
  if (!hdfs_->exists(nullptr, ZobString(path.c_str()), answer, &err)) {
    *error = orUnknown(text(err), "exists");
    return false;
  }
  return true;
}

bool HdfsSession::stat(const FsTarget& target, EntryInfo* entry, bool* found,
                       std::string* error) {
  *found = false;
  const std::string path = target.path();
  bool present = false;
  if (!exists(path, &present, error)) return false;
  if (!present) return explainAbsence(path, error);
  *entry = EntryInfo();
  entry->path = target.display();
  entry->name = baseName(path);
  const std::string parent = parentPath(path);
  if (parent.empty() || entry->name == "." || entry->name == "..") {
    // The root has no parent to list it, and "." and ".." are not listed by
    // name; all there is to know is their kind.
    entry->isDir = true;
    entry->hasDate = false;
    *found = true;
    return true;
  }
  ZobString err;
  Released<ZOHadoopDirectory> dir(hdfs_->openDir(nullptr, ZobString(parent.c_str()), &err));
  if (!dir) {
    *error = orUnknown(text(err), "listing the parent directory");
    return false;
  }
  ZobString name;
  long size = 0;
  ZobDate date;
  unsigned long millis = 0;
  bool isDir = false;
  bool readOnly = false;
  while (dir->next(&name, &size, &date, &millis, &isDir, &readOnly, &err)) {
    if (entryBaseName(text(name)) != entry->name) continue;
    entry->isDir = isDir;
    entry->size = size;
    entry->modMillis = static_cast<int64_t>(millis);
    entry->hasDate = date.isSet();
    entry->readOnly = readOnly;
    *found = true;
    return true;
  }
  if (!err.isNull()) {
    *error = text(err);
    return false;
  }
  *error = "`" + target.display() + "' exists but its parent's listing does not show it";
  return false;
}

bool HdfsSession::explainAbsence(const std::string& path, std::string* error) {
  // A file under a directory we may not read looks absent to exists(); the
  // parent's listing tells the two apart (permission denied is no answer).
  const std::string parent = parentPath(path);
  bool parentThere = false;
  if (parent.empty() || !exists(parent, &parentThere, error)) return parent.empty();
  if (!parentThere) return true;
  ZobString err;
  Released<ZOHadoopDirectory> dir(hdfs_->openDir(nullptr, ZobString(parent.c_str()), &err));
  if (dir) return true;
  *error = orUnknown(text(err), "listing the parent directory");
  return false;
}

HdfsSession* SessionPool::get(const FsTarget& target, std::string* error) {
  auto& slot = sessions_[target.contextKey()];
  if (!slot) {
    auto session = std::make_unique<HdfsSession>();
    if (!session->open(target, options_, error)) {
      sessions_.erase(target.contextKey());
      return nullptr;
    }
    slot = std::move(session);
  }
  return slot.get();
}

bool RawStream::open(const FsTarget& target, ZobTxtFileOpenMode mode, std::string* error) {
  if (target.userPending()) {
    *error = kUserNeedsScheme;
    return false;
  }
  ZobString err;
  raw_.reset(createRawIO(target.uri(), &err));
  if (!raw_) {
    *error = orUnknown(text(err), "createRawIO");
    return false;
  }
  int bufferSize = 0;
  int reserved = 0;
  if (!raw_->open(mode, 0, &bufferSize, &reserved)) {
    *error = orUnknown(lastError(), "opening the stream");
    return false;
  }
  return true;
}

std::string RawStream::lastError() const { return text(raw_->getErrorMessage()); }

bool RawStream::close(std::string* error) {
  if (!raw_->close()) {
    *error = orUnknown(lastError(), "closing the stream");
    return false;
  }
  return true;
}

bool listDirectory(const FsTarget& target, std::vector<EntryInfo>* entries,
                   std::string* error) {
  if (target.userPending()) {
    *error = kUserNeedsScheme;
    return false;
  }
  ZobString err;
  Released<ZobDirectoryListing> listing(createDirectoryListing(nullptr, target.uri(), 0, &err));
  if (!listing) {
    *error = orUnknown(text(err), "createDirectoryListing");
    return false;
  }
  while (listing->next()) {
    EntryInfo e;
    e.name = entryBaseName(text(listing->getName()));
    // Entries of the working directory print as bare names, as a shell's do.
    e.path = target.display() == "." ? e.name : joinPath(target.display(), e.name);
    e.isDir = listing->isDir();
    e.size = listing->getSize();
    e.modMillis = static_cast<int64_t>(listing->getTimestampLong());
    e.hasDate = listing->getTimestamp().isSet();
    e.readOnly = listing->isReadOnly();
    entries->push_back(std::move(e));
  }
  const std::string walkError = text(listing->getErrorMessage());
  if (!walkError.empty()) {
    *error = walkError;
    return false;
  }
  return true;
}

std::string entryBaseName(const std::string& listedName) {
  return listedName.find('/') == std::string::npos ? listedName : baseName(listedName);
}

}  // namespace zohtool
