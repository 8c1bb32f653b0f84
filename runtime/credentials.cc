// The credential store keeps passwords *encoded, not encrypted*: the XOR with a
// fixed byte and base64 only keep a password from being read over a shoulder.
// Anyone with the file can decode it; its permissions are the real protection.
#include "zob_credentials.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "string_lines.h"

struct ZobSubject {
  std::atomic<int> users{0};
};

namespace {

constexpr char kPrefix[] = "zoenc1:";
constexpr std::size_t kPrefixLength = sizeof(kPrefix) - 1;
constexpr unsigned char kMask = 0x5A;
// A store holds a handful of short lines; anything far beyond is not a store.
constexpr std::size_t kMaxStoreLine = 16 * 1024;
constexpr std::size_t kMaxStoreBytes = 1024 * 1024;
// What zobSubjectCredentials hands over as the stored password of a store it
// cannot read, followed by the reason: the library decodes every password it
// is given, and decoding this one fails with that reason, so the failure
// reaches the caller instead of passing for "no such credential". No store line
// can hold a '\n', so no stored password starts like this.
constexpr char kUnreadable[] = "\nunreadable:";
constexpr std::size_t kUnreadableLength = sizeof(kUnreadable) - 1;
constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

ZobSubject& subject() {
  static ZobSubject* shared = new ZobSubject;
  return *shared;
}

const char* storePath() {
  const char* path = std::getenv("ZOB_CREDENTIAL_STORE");
  return (path != nullptr && *path != '\0') ? path : nullptr;
}

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

std::string encodeBase64(const std::string& bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::size_t n = bytes.size() - i < 3 ? bytes.size() - i : 3;
    unsigned int group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = (group << 8) | (k < n ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += k <= n ? kAlphabet[(group >> (18 - 6 * k)) & 0x3F] : '=';
    }
  }
  return out;
}

// Strict decoding: groups of four, '=' only as padding at the very end, so that
// a damaged store line is reported instead of yielding a wrong password.
bool decodeBase64(const std::string& text, std::string* bytes, std::string* problem) {
  if (text.size() % 4 != 0) {
    *problem = "its base64 text has " + std::to_string(text.size()) +
               " characters, not a multiple of 4";
    return false;
  }
  std::string out;
  for (std::size_t i = 0; i < text.size(); i += 4) {
    bool last = i + 4 == text.size();
    unsigned int group = 0;
    int padding = 0;
    for (std::size_t k = 0; k < 4; ++k) {
      char c = text[i + k];
      int value = base64Value(c);
      if (c == '=' && last && k >= 2) {
        ++padding;
        value = 0;
      } else if (value < 0 || padding > 0) {
        char shown[8];
        std::snprintf(shown, sizeof shown, (c >= 0x20 && c < 0x7F) ? "'%c'" : "0x%02X",
                      (c >= 0x20 && c < 0x7F) ? c : static_cast<unsigned char>(c));
        *problem = std::string("its base64 text has the character ") + shown +
                   " at position " + std::to_string(i + k);
        return false;
      }
      group = (group << 6) | static_cast<unsigned int>(value);
    }
    out += static_cast<char>((group >> 16) & 0xFF);
    if (padding < 2) out += static_cast<char>((group >> 8) & 0xFF);
    if (padding < 1) out += static_cast<char>(group & 0xFF);
  }
  *bytes = out;
  return true;
}

void mask(std::string* bytes) {
  for (char& c : *bytes) c = static_cast<char>(static_cast<unsigned char>(c) ^ kMask);
}

}  // namespace

ZobSubject* zobSubjectAccess() {
  const char* path = storePath();
  if (path == nullptr) return nullptr;
  std::ifstream probe(path);
  if (!probe) return nullptr;
  ZobSubject& s = subject();
  s.users.fetch_add(1);
  return &s;
}

bool zobSubjectCredentials(const ZobString& name, ZobString& user, ZobString& password,
                           ZobString* detail) {
  const char* path = storePath();
  if (detail != nullptr) detail->assign(path);
  if (path == nullptr) return false;
  // Read on every lookup: the store is small, and a tool may have just added to it.
  std::vector<std::string> lines;
  std::string problem;
  if (!zobReadTextLines(path, kMaxStoreLine, kMaxStoreBytes, &lines, &problem)) {
    const std::string stored = kUnreadable + std::string("the credential store '") + path +
                               "' cannot be used: " + problem;
    user.assign("");
    password.assign(stored.c_str(), stored.size());
    return true;
  }
  for (std::string& line : lines) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::size_t first = line.find('\t');
    if (first == std::string::npos) continue;
    std::size_t second = line.find('\t', first + 1);
    if (second == std::string::npos) continue;
    if (line.compare(0, first, name.str()) != 0) continue;
    user.assign(line.c_str() + first + 1, second - first - 1);
    password.assign(line.c_str() + second + 1, line.size() - second - 1);
    return true;
  }
  return false;
}

bool zobSubjectDecodePW(const ZobString& stored, ZobString& clear, ZobString* err) {
  // `stored` may be `clear` itself: take the text before anything is written.
  const std::string text = stored.str();
  std::string problem;
  std::string bytes;
  if (text.compare(0, kUnreadableLength, kUnreadable) == 0) {
    if (err != nullptr) {
      std::string message = "The password cannot be looked up: " +
                            text.substr(kUnreadableLength) + ".";
      err->assign(message.c_str(), message.size());
    }
    return false;
  }
  if (text.compare(0, kPrefixLength, kPrefix) != 0) {
    problem = "it does not start with \"zoenc1:\"";
  } else if (decodeBase64(text.substr(kPrefixLength), &bytes, &problem)) {
    mask(&bytes);
    if (bytes.find('\0') != std::string::npos) {
      problem = "it decodes to a password containing a NUL byte";
    }
  }
  if (!problem.empty()) {
    if (err != nullptr) {
      std::string message = "The stored password cannot be decoded: " + problem + ".";
      err->assign(message.c_str(), message.size());
    }
    return false;
  }
  clear.assign(bytes.data(), bytes.size());
  if (err != nullptr) err->setNull(false);
  return true;
}

void zobSubjectRelease() {
  ZobSubject& s = subject();
  int users = s.users.load();
  while (users > 0 && !s.users.compare_exchange_weak(users, users - 1)) {
  }
}

ZobString zobSubjectEncodePW(const ZobString& clear) {
  std::string bytes = clear.str();
  mask(&bytes);
  std::string stored = kPrefix + encodeBase64(bytes);
  return ZobString(stored.c_str(), stored.size());
}
