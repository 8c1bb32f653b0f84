#include "hadoop_path.h"

#include <cctype>
#include <cstring>
#include <vector>

namespace zohtool {

namespace {

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

void appendEscape(std::string* out, unsigned char c) {
  static const char kHex[] = "0123456789ABCDEF";
  out->push_back('%');
  out->push_back(kHex[c >> 4]);
  out->push_back(kHex[c & 15]);
}

bool isUnreserved(unsigned char c) {
  return std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

std::string trimTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

bool hasScheme(const std::string& text) {
  const auto sep = text.find("://");
  if (sep == std::string::npos || sep == 0) return false;
  if (!std::isalpha(static_cast<unsigned char>(text[0]))) return false;
  for (size_t i = 1; i < sep; ++i) {
    const unsigned char c = text[i];
    if (!std::isalnum(c) && c != '+' && c != '.' && c != '-') return false;
  }
  return true;
}

std::string escapeUnsafe(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = text[i];
    const bool unsafe = c <= 0x20 || c >= 0x7f || std::strchr("<>\"\\^`{|}#", c) != nullptr;
    const bool strayPercent =
        c == '%' && !(i + 2 < text.size() && isHex(text[i + 1]) && isHex(text[i + 2]));
    if (unsafe || strayPercent) {
      appendEscape(&out, c);
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out;
}

std::string encodeComponent(const std::string& text) {
  std::string out;
  for (const unsigned char c : text) {
    if (isUnreserved(c) || c == '/' || c == ':' || c == ',') {
      out.push_back(static_cast<char>(c));
    } else {
      appendEscape(&out, c);
    }
  }
  return out;
}

std::string buildUriText(const std::string& typed, const GenericOptions& options,
                         bool* userApplied) {
  std::string text = escapeUnsafe(typed);
  // "file:/x", the form Hadoop itself prints, names the local file "/x".
  if (text.compare(0, 6, "file:/") == 0 && text.compare(0, 7, "file://") != 0)
    text.insert(5, "//");
  *userApplied = false;
  if (!options.user.empty() && hasScheme(text)) {
    const size_t start = text.find("://") + 3;
    const size_t end = text.find_first_of("/?", start);
    const std::string authority =
        text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    // A user written into the URI itself is the more specific choice.
    if (authority.find('@') == std::string::npos)
      text.insert(start, encodeComponent(options.user) + "@");
    *userApplied = true;
  }
  std::string items;
  auto add = [&items](const std::string& item) {
    if (!items.empty()) items += '&';
    items += item;
  };
  for (const auto& file : options.confFiles) add("resource=" + encodeComponent(file));
  for (const auto& kv : options.defines)
    add(encodeComponent(kv.first) + "=" + encodeComponent(kv.second));
  if (!items.empty()) text += (text.find('?') == std::string::npos ? "?" : "&") + items;
  return text;
}

std::string withoutItems(const std::string& typed) {
  return withoutSecrets(typed.substr(0, typed.find('?')));
}

namespace {

std::vector<std::string>& secrets() {
  static std::vector<std::string> all;
  return all;
}

const char kMask[] = "***";

}  // namespace

void rememberSecret(const std::string& secret) {
  // Masking every "ab" in a text would say more than it hides.
  if (secret.size() >= 3) secrets().push_back(secret);
}

std::string withoutSecrets(std::string text) {
  for (const auto& secret : secrets()) {
    for (size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + sizeof kMask - 1))
      text.replace(at, secret.size(), kMask);
  }
  // The password of every URI's user part: between "user:" and '@'.
  for (size_t at = text.find("://"); at != std::string::npos; at = text.find("://", at + 3)) {
    const size_t start = at + 3;
    const size_t end = text.find_first_of("/?# \t\n'`\"", start);
    const size_t atSign = text.rfind('@', end == std::string::npos ? text.size() : end);
    if (atSign == std::string::npos || atSign < start) continue;
    const size_t colon = text.find(':', start);
    if (colon == std::string::npos || colon > atSign) continue;
    text.replace(colon + 1, atSign - colon - 1, kMask);
  }
  return text;
}

std::string parentPath(const std::string& path) {
  const std::string p = trimTrailingSlashes(path);
  if (p == "/" || p.empty()) return "";
  const auto slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return p.substr(0, slash);
}

std::string baseName(const std::string& path) {
  const std::string p = trimTrailingSlashes(path);
  if (p == "/") return "/";
  const auto slash = p.rfind('/');
  return slash == std::string::npos ? p : p.substr(slash + 1);
}

std::string joinPath(const std::string& dir, const std::string& name) {
  if (dir.empty()) return name;
  if (name.empty()) return dir;
  if (dir.back() == '/') return dir + name;
  return dir + "/" + name;
}

}  // namespace zohtool
