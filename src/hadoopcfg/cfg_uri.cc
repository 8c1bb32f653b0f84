// A configuration filled from a parsed Hadoop URI, with the user taken from the
// platform's credential store when the URI names a credential instead of a user.
#include <memory>
#include <new>

#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zob_credentials.h"
#include "zohadoop/ZOHadoopImpl.h"

namespace {
const char kTag[] = "src/hadoopcfg";

// A configuration that is not yet handed out: deleting it releases its Java
// object, which is how every failure below cleans up.
struct HalfMadeCfgDeleter {
  void operator()(ZOHadoopCfgImpl* cfg) const { delete cfg; }
};
using HalfMadeCfg = std::unique_ptr<ZOHadoopCfgImpl, HalfMadeCfgDeleter>;

// Balances one successful zobSubjectAccess.
class SubjectSession {
 public:
  SubjectSession() : subject_(zobSubjectAccess()) {}
  ~SubjectSession() {
    if (subject_ != nullptr) zobSubjectRelease();
  }
  SubjectSession(const SubjectSession&) = delete;
  SubjectSession& operator=(const SubjectSession&) = delete;
  bool open() const { return subject_ != nullptr; }

 private:
  ZobSubject* subject_;
};

bool addUriResourceFiles(ZoHadoopURI* uri, ZOHadoopCfgImpl* cfg, ZobString* err) {
  const int count = uri->getResourceFileCount();
  for (int i = 0; i < count; ++i) {
    ZobString file;
    if (!uri->getResourceFile(i, &file)) {
      if (err) *err = ZOH_MESSAGE(kTag, 1420);
      return false;
    }
    if (!cfg->addResourceFile(file, err)) return false;
  }
  return true;
}

bool setUriKeyValues(ZoHadoopURI* uri, ZOHadoopCfgImpl* cfg, ZobString* err) {
  const int count = uri->getKeyValueCount();
  for (int i = 0; i < count; ++i) {
    ZobString key;
    ZobString value;
    if (!uri->getKeyValue(i, &key, &value)) {
      if (err) *err = ZOH_MESSAGE(kTag, 1420);
      return false;
    }
    if (!cfg->setKeyValue(key, value, err)) return false;
  }
  return true;
}

// The user the URI asks for: its own, or the one stored under its credential.
// False only when a stored password cannot be decoded.
bool resolveUser(ZoHadoopURI* uri, ZobString* user, ZobString* password,
                 ZobString* err) {
  ZobString credential = uri->getCredentialName();
  credential.trim(true, true);
  uri->getUserPassword(user, password);
  user->trim(true, true);
  password->trim(true, true);
  if (credential.length() == 0 || user->length() > 0) return true;

  SubjectSession store;
  if (!store.open()) return true;
  ZobString detail;
  if (zobSubjectCredentials(credential, *user, *password, &detail)) {
    if (!zobSubjectDecodePW(*password, *password, err)) return false;
  }
  return true;
}

}  // namespace

ZOHadoopCfg* ZOHadoopImpl::createConfiguration(ZoHadoopURI* uri, ZobString* err) {
  if (uri == nullptr) {
    if (err) *err = ZOH_MESSAGE(kTag, 29, "(Hadoop URI)");
    return nullptr;
  }
  if (!getProxy(uri->getProxyDirectory(), err)) return nullptr;

  HalfMadeCfg cfg(new (std::nothrow) ZOHadoopCfgImpl(this));
  if (!cfg) {
    if (err) *err = ZOH_MESSAGE(kTag, 444);
    return nullptr;
  }
  if (!cfg->init(err)) return nullptr;
  if (!addUriResourceFiles(uri, cfg.get(), err)) return nullptr;
  if (!setUriKeyValues(uri, cfg.get(), err)) return nullptr;

  ZobString user("", true);
  ZobString password("", true);
  if (!resolveUser(uri, &user, &password, err)) return nullptr;
  if (user.length() > 0 && !cfg->setUserPass(user, password, err)) return nullptr;

  ZOHadoopCfgImpl* made = cfg.release();
  addObject(made);
  if (err) err->setNull(false);
  return made;
}
