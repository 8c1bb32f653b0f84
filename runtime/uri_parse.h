// The URI parser: a URI text into its decoded parts, and the encoding rules
// that write the parts back so that the text parses to the same parts.
//
//   [scheme "://" [user [":" password] "@"] [host [":" port]]] path ["?" items]
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zob_uri {

inline constexpr char kProxyDirItem[] = "proxy-dir";
inline constexpr char kResourceItem[] = "resource";
inline constexpr char kCredentialItem[] = "credential";
inline constexpr char kBufferSizeItem[] = "buffer-size";
inline constexpr char kDefaultFsKey[] = "fs.defaultFS";

using Item = std::pair<std::string, std::string>;

// Everything a URI text says, decoded.
struct UriParts {
  std::string scheme;  // lower case; empty when the text is a path alone
  std::string user;
  std::string password;
  std::string host;
  int port = -1;  // -1: none
  std::string path;
  std::vector<Item> items;  // in text order, special items included
};

// Parses a whole URI text; false with the reason in *err.
bool parseUri(const std::string& text, UriParts* parts, std::string* err);

// Length of a leading "scheme:" (without "//"), or 0 when the text has none;
// *malformed when a ':' before the path does not end a scheme.
size_t schemeLength(const std::string& text, bool* malformed);

// A decimal number from 1 (0 with allowZero) to max, digits only.
bool parsePositiveInt(const std::string& text, int max, int* value, bool allowZero);

// Percent-encodes every byte that is neither unreserved nor in `keep`.
std::string encode(const std::string& text, const char* keep);

// The host as the authority writes it.
std::string hostText(const std::string& host);

}  // namespace zob_uri
