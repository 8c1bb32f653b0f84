// Hadoop URIs of the platform.
//
// Syntax (RFC 3986 characters; every component percent-encoded where needed):
//
//   [scheme "://" [user [":" password] "@"] [host [":" port]]] path ["?" items]
//
//   items = item *("&" item), item = name "=" value
//
// Item names with a meaning of their own:
//   proxy-dir=DIR     the Java proxy directory for this URI's Hadoop instance,
//                     relative to the proxy home and never leaving it (a text
//                     with an absolute DIR or a ".." component is refused)
//   resource=FILE     a Hadoop configuration resource file (repeatable, in order)
//   credential=NAME   a credential of the platform's credential store
//   buffer-size=N     the I/O buffer size in bytes (a positive number)
// Every other item is a Hadoop key/value, kept in order (e.g. dfs.replication=2).
//
// A URI with a scheme also carries the Hadoop key/value fs.defaultFS =
// "scheme://host[:port]" (user info left out; "file:///" for a file URI), as its
// first key/value, so that the URI alone says which file system to use. A text
// without a scheme is a path on the default file system.
//
// The context of a URI is everything but its path: "scheme://user@host:port?items"
// (or just "?items", or ""). A URI built from a path alone lacks it;
// setContext() gives it back.
//
// Examples:
//   hdfs://alice@nn.example:8020/data/in/part-0?dfs.replication=2
//   file:///tmp/demo/a.txt?buffer-size=65536&proxy-dir=hadoop
//   /user/alice/report.csv?credential=warehouse
#pragma once

#include "zob_export.h"
#include "zob_string.h"

class ZOB_API ZoHadoopURI {
 public:
  virtual ZobString getScheme() = 0;
  // Disposes of a URI object that the caller owns.
  virtual void destroy() = 0;
  // The decoded path.
  virtual ZobString getPath() = 0;
  virtual ZobString getContext() = 0;
  // The whole URI as canonical, percent-encoded text.
  virtual ZobString getURIString() = 0;
  virtual ZobString getAuthority() = 0;
  virtual ZobString getCredentialName() = 0;
  // True with the size when the URI carries buffer-size.
  virtual bool getBufferSize(int* size) = 0;
  virtual bool getKeyValue(int i, ZobString* key, ZobString* value) = 0;
  virtual int getKeyValueCount() = 0;
  virtual ZobString getProxyDirectory() = 0;
  virtual bool getResourceFile(int i, ZobString* file) = 0;
  virtual int getResourceFileCount() = 0;
  // Empty texts when the URI names no user.
  virtual void getUserPassword(ZobString* user, ZobString* password) = 0;
  // Replaces scheme, authority, user and items with those of `context` (a
  // context text as getContext() returns it); the path stays. False with a text
  // in `err` (may be null) when the context cannot be parsed.
  virtual bool setContext(const ZobString& context, ZobString* err) = 0;
  virtual void setPath(const ZobString& path) = 0;

 protected:
  ~ZoHadoopURI() = default;
};

// Parse a URI text; null when it is malformed. The caller owns the result.
ZOB_API ZoHadoopURI* getURIFromURIString(const ZobString& text);
// Why `text` does not parse, naming the part that is wrong; empty when it
// parses. For callers that show a person what to correct.
ZOB_API ZobString zobUriParseError(const ZobString& text);
// A URI from one component text: a full URI text, or a path alone (then the
// URI has no context). Null when malformed. The caller owns the result.
ZOB_API ZoHadoopURI* getHadoopURIFromComponents(const ZobString& text);

// Owns a URI for one scope.
struct ZoHadoopURIDeleter {
  void operator()(ZoHadoopURI* uri) const {
    if (uri) uri->destroy();
  }
};
