// Hadoop URIs: the URI object, which keeps the parts decoded and answers
// with the meaning of the query items; uri_parse.cc reads and writes the text.
//
// Encoding happens only on the way out, with one fixed rule per component, so
// that parsing getURIString() gives back the same URI.

#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "uri_parse.h"
#include "zob_uri.h"

namespace {

using namespace zob_uri;

class HadoopUri final : public ZoHadoopURI {
 public:
  explicit HadoopUri(UriParts parts) : parts_(std::move(parts)) {}

  ZobString getScheme() override { return ZobString(parts_.scheme.c_str()); }
  void destroy() override { delete this; }
  ZobString getPath() override { return ZobString(parts_.path.c_str()); }

  ZobString getContext() override { return ZobString(contextText().c_str()); }

  ZobString getURIString() override {
    std::string text;
    if (!parts_.scheme.empty()) {
      text = parts_.scheme + "://" + authorityText();
      // Under an authority a path can only be absolute.
      if (!parts_.path.empty() && parts_.path[0] != '/') text += '/';
    }
    text += encode(parts_.path, "/");
    text += queryText();
    return ZobString(text.c_str());
  }

  ZobString getAuthority() override { return ZobString(authorityText().c_str()); }

  ZobString getCredentialName() override {
    return ZobString(lastItem(kCredentialItem).c_str());
  }

  bool getBufferSize(int* size) override {
    const Item* item = findLast(kBufferSizeItem);
    if (!item) return false;
    int value = 0;
    // Parsing already refused anything else, so this always succeeds.
    parsePositiveInt(item->second, std::numeric_limits<int>::max(), &value, false);
    if (size) *size = value;
    return true;
  }

  bool getKeyValue(int i, ZobString* key, ZobString* value) override {
    std::vector<Item> keyValues = collectKeyValues();
    if (i < 0 || static_cast<size_t>(i) >= keyValues.size()) return false;
    if (key) key->assign(keyValues[i].first.c_str());
    if (value) value->assign(keyValues[i].second.c_str());
    return true;
  }

  int getKeyValueCount() override { return static_cast<int>(collectKeyValues().size()); }

  ZobString getProxyDirectory() override {
    return ZobString(lastItem(kProxyDirItem).c_str());
  }

  bool getResourceFile(int i, ZobString* file) override {
    int seen = 0;
    for (const Item& item : parts_.items) {
      if (item.first != kResourceItem) continue;
      if (seen++ == i) {
        if (file) file->assign(item.second.c_str());
        return true;
      }
    }
    return false;
  }

  int getResourceFileCount() override {
    int count = 0;
    for (const Item& item : parts_.items) count += item.first == kResourceItem ? 1 : 0;
    return count;
  }

  void getUserPassword(ZobString* user, ZobString* password) override {
    if (user) user->assign(parts_.user.c_str());
    if (password) password->assign(parts_.password.c_str());
  }

  bool setContext(const ZobString& context, ZobString* err) override {
    UriParts parsed;
    std::string why;
    if (!parseUri(context.str(), &parsed, &why)) {
      if (err) err->assign(("Invalid URI context \"" + context.str() + "\": " + why).c_str());
      return false;
    }
    if (!parsed.path.empty()) {
      if (err) {
        err->assign(("Invalid URI context \"" + context.str() + "\": it holds a path").c_str());
      }
      return false;
    }
    parsed.path = std::move(parts_.path);
    parts_ = std::move(parsed);
    return true;
  }

  void setPath(const ZobString& path) override { parts_.path = path.str(); }

 private:
  ~HadoopUri() = default;

  std::string authorityText() const {
    std::string text;
    if (!parts_.user.empty() || !parts_.password.empty()) {
      text += encode(parts_.user, "");
      if (!parts_.password.empty()) text += ":" + encode(parts_.password, "");
      text += "@";
    }
    text += hostText(parts_.host);
    if (parts_.port >= 0) text += ":" + std::to_string(parts_.port);
    return text;
  }

  std::string queryText() const {
    std::string text;
    for (const Item& item : parts_.items) {
      text += text.empty() ? "?" : "&";
      text += encode(item.first, "/:@") + "=" + encode(item.second, "/:@");
    }
    return text;
  }

  std::string contextText() const {
    std::string text;
    if (!parts_.scheme.empty()) text = parts_.scheme + "://" + authorityText();
    return text + queryText();
  }

  // The file system a Hadoop client must use for this URI; a local file has no
  // host worth naming.
  std::string defaultFs() const {
    if (parts_.scheme == "file" || parts_.host.empty()) return parts_.scheme + ":///";
    std::string fs = parts_.scheme + "://";
    fs += hostText(parts_.host);
    if (parts_.port >= 0) fs += ":" + std::to_string(parts_.port);
    return fs;
  }

  std::vector<Item> collectKeyValues() const {
    std::vector<Item> keyValues;
    if (!parts_.scheme.empty()) keyValues.emplace_back(kDefaultFsKey, defaultFs());
    for (const Item& item : parts_.items) {
      if (item.first == kProxyDirItem || item.first == kResourceItem ||
          item.first == kCredentialItem || item.first == kBufferSizeItem) {
        continue;
      }
      keyValues.push_back(item);
    }
    return keyValues;
  }

  // Of a repeated single-valued item the last one counts.
  const Item* findLast(const char* name) const {
    for (auto it = parts_.items.rbegin(); it != parts_.items.rend(); ++it) {
      if (it->first == name) return &*it;
    }
    return nullptr;
  }

  std::string lastItem(const char* name) const {
    const Item* item = findLast(name);
    return item ? item->second : std::string();
  }

  UriParts parts_;
};

ZoHadoopURI* makeUri(UriParts parts) {
  try {
    return new HadoopUri(std::move(parts));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

namespace {

// Parts of a URI text, false with the reason when the text is no URI.
bool parseWhole(const ZobString& text, UriParts* parts, std::string* why) {
  if (text.length() == 0) {
    *why = "the text is empty";
    return false;
  }
  if (!parseUri(text.str(), parts, why)) return false;
  if (parts->scheme.empty() && parts->path.empty() && parts->items.empty()) {
    *why = "it names no path";
    return false;
  }
  return true;
}

}  // namespace

ZoHadoopURI* getURIFromURIString(const ZobString& text) {
  try {
    UriParts parts;
    std::string why;
    if (!parseWhole(text, &parts, &why)) return nullptr;
    return makeUri(std::move(parts));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

ZobString zobUriParseError(const ZobString& text) {
  try {
    UriParts parts;
    std::string why;
    return parseWhole(text, &parts, &why) ? ZobString() : ZobString(why.c_str());
  } catch (const std::bad_alloc&) {
    return ZobString("out of memory");
  }
}

// A text with "scheme://" is a whole URI; anything else is a file's path as the
// file system spells it (a listing's entry name may hold '%', '?' or '&'), so it
// is taken literally.
ZoHadoopURI* getHadoopURIFromComponents(const ZobString& text) {
  if (text.length() == 0) return nullptr;
  try {
    std::string raw = text.str();
    bool malformed = false;
    size_t schemeLen = schemeLength(raw, &malformed);
    if (schemeLen > 0 && raw.compare(schemeLen, 3, "://") == 0) {
      return getURIFromURIString(text);
    }
    UriParts parts;
    parts.path = std::move(raw);
    return makeUri(std::move(parts));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
