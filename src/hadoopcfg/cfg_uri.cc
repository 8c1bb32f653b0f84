// A configuration filled from a parsed Hadoop URI, with the user taken from the
// platform's credential store when the URI names a credential instead of a user.
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zob_credentials.h"
#include "zohadoop/messages.h"

namespace {
const char kTag[] = "src/hadoopcfg";

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

bool ZOHadoopCfgImpl::init(ZoHadoopURI* uri, ZobString* err) {
  if (!init(err)) return false;
  if (!addUriResourceFiles(uri, this, err)) return false;
  if (!setUriKeyValues(uri, this, err)) return false;

  ZobString user("", true);
  ZobString password("", true);
  if (!resolveUser(uri, &user, &password, err)) return false;
  return user.length() == 0 || setUserPass(user, password, err);
}
