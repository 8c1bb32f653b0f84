// The URI parser: a URI text into its decoded parts, and the encoding rules
// that write the parts back as text.

#include "uri_parse.h"

#include <cstring>
#include <limits>

namespace zob_uri {
namespace {

bool isUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
         c == '-' || c == '.' || c == '_' || c == '~';
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes %XX escapes; other bytes stand for themselves. False on a broken
// escape, and on %00, which no C text could carry.
bool decode(const std::string& text, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      *out += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return false;
    int high = hexValue(text[i + 1]);
    int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0) return false;
    char c = static_cast<char>(high * 16 + low);
    if (c == '\0') return false;
    *out += c;
    i += 2;
  }
  return true;
}

bool isSchemeText(const std::string& text) {
  if (text.empty()) return false;
  unsigned char first = static_cast<unsigned char>(text[0]);
  if (!((first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z'))) return false;
  for (unsigned char c : text) {
    bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
              c == '+' || c == '-' || c == '.';
    if (!ok) return false;
  }
  return true;
}

// A URI may come from anyone who can type a file name, so the jars it makes the
// JVM load must come from beneath the proxy home; only the host's own settings
// may name a directory elsewhere.
bool staysInProxyHome(const std::string& directory) {
  if (!directory.empty() && directory[0] == '/') return false;
  size_t start = 0;
  while (true) {
    size_t end = directory.find('/', start);
    if (directory.compare(start, end == std::string::npos ? end : end - start, "..") == 0) {
      return false;
    }
    if (end == std::string::npos) return true;
    start = end + 1;
  }
}

}  // namespace

std::string encode(const std::string& text, const char* keep) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (unsigned char c : text) {
    if (isUnreserved(c) || (c != '\0' && std::strchr(keep, c) != nullptr)) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  return out;
}

bool parsePositiveInt(const std::string& text, int max, int* value, bool allowZero) {
  if (text.empty() || text.size() > 10) return false;
  long long n = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    n = n * 10 + (c - '0');
  }
  if (n > max || (!allowZero && n == 0)) return false;
  *value = static_cast<int>(n);
  return true;
}

// A colon before the first '/' or '?' can only end a scheme.
size_t schemeLength(const std::string& text, bool* malformed) {
  *malformed = false;
  size_t stop = text.find_first_of(":/?");
  if (stop == std::string::npos || text[stop] != ':') return 0;
  if (!isSchemeText(text.substr(0, stop))) {
    *malformed = true;
    return 0;
  }
  return stop;
}

// A host with a ':' is written as an IP literal, "[...]", which is read back
// undecoded: only a host whose bytes need no escape and cannot end the
// authority early may go there. Any other host is percent-encoded (a ':' in it
// as well).
std::string hostText(const std::string& host) {
  bool literal = host.find(':') != std::string::npos;
  for (unsigned char c : host) {
    if (!isUnreserved(c) && c != ':' && c != '%') literal = false;
  }
  return literal ? "[" + host + "]" : encode(host, "");
}

namespace {

bool parseAuthority(const std::string& authority, UriParts* parts, std::string* err) {
  std::string hostPort = authority;
  size_t at = authority.rfind('@');
  if (at != std::string::npos) {
    std::string userInfo = authority.substr(0, at);
    hostPort = authority.substr(at + 1);
    size_t colon = userInfo.find(':');
    std::string user = userInfo.substr(0, colon);
    std::string password = colon == std::string::npos ? "" : userInfo.substr(colon + 1);
    if (!decode(user, &parts->user) || !decode(password, &parts->password)) {
      *err = "bad percent escape in the user info";
      return false;
    }
  }
  std::string host = hostPort;
  std::string port;
  bool hasPort = false;
  if (!hostPort.empty() && hostPort[0] == '[') {
    size_t close = hostPort.find(']');
    if (close == std::string::npos) {
      *err = "unterminated '[' in the host";
      return false;
    }
    host = hostPort.substr(1, close - 1);
    std::string rest = hostPort.substr(close + 1);
    if (!rest.empty()) {
      if (rest[0] != ':') {
        *err = "text after the host's ']'";
        return false;
      }
      hasPort = true;
      port = rest.substr(1);
    }
    parts->host = host;
  } else {
    size_t colon = hostPort.find(':');
    if (colon != std::string::npos) {
      hasPort = true;
      host = hostPort.substr(0, colon);
      port = hostPort.substr(colon + 1);
    }
    if (!decode(host, &parts->host)) {
      *err = "bad percent escape in the host";
      return false;
    }
  }
  if (hasPort && !parsePositiveInt(port, 65535, &parts->port, true)) {
    *err = "the port \"" + port + "\" is not a number from 0 to 65535";
    return false;
  }
  return true;
}

bool parseItems(const std::string& query, UriParts* parts, std::string* err) {
  if (query.empty()) return true;
  size_t start = 0;
  while (true) {
    size_t end = query.find('&', start);
    std::string item = query.substr(start, end == std::string::npos ? end : end - start);
    size_t eq = item.find('=');
    if (eq == std::string::npos) {
      *err = "the item \"" + item + "\" has no '='";
      return false;
    }
    Item decoded;
    if (!decode(item.substr(0, eq), &decoded.first) ||
        !decode(item.substr(eq + 1), &decoded.second)) {
      *err = "bad percent escape in the item \"" + item + "\"";
      return false;
    }
    if (decoded.first.empty()) {
      *err = "an item without a name";
      return false;
    }
    int size = 0;
    if (decoded.first == kBufferSizeItem &&
        !parsePositiveInt(decoded.second, std::numeric_limits<int>::max(), &size, false)) {
      *err = "buffer-size \"" + decoded.second + "\" is not a positive number";
      return false;
    }
    if (decoded.first == kProxyDirItem && !staysInProxyHome(decoded.second)) {
      *err = "proxy-dir \"" + decoded.second +
             "\" must name a directory inside the proxy home: no absolute path, no '..'";
      return false;
    }
    parts->items.push_back(std::move(decoded));
    if (end == std::string::npos) return true;
    start = end + 1;
  }
}

}  // namespace

// Parses a whole URI text: [scheme "://" authority] path ["?" items].
bool parseUri(const std::string& text, UriParts* parts, std::string* err) {
  bool malformed = false;
  size_t schemeLen = schemeLength(text, &malformed);
  if (malformed) {
    *err = "a ':' before the path that does not end a scheme";
    return false;
  }
  std::string rest = text;
  if (schemeLen > 0) {
    if (text.compare(schemeLen, 3, "://") != 0) {
      *err = "the scheme is not followed by \"://\"";
      return false;
    }
    for (size_t i = 0; i < schemeLen; ++i) {
      char c = text[i];
      parts->scheme += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    rest = text.substr(schemeLen + 3);
    size_t authorityEnd = rest.find_first_of("/?");
    if (!parseAuthority(rest.substr(0, authorityEnd), parts, err)) return false;
    rest = authorityEnd == std::string::npos ? "" : rest.substr(authorityEnd);
  }
  size_t question = rest.find('?');
  if (!decode(rest.substr(0, question), &parts->path)) {
    *err = "bad percent escape in the path";
    return false;
  }
  if (question != std::string::npos &&
      !parseItems(rest.substr(question + 1), parts, err)) {
    return false;
  }
  return true;
}

}  // namespace zob_uri
