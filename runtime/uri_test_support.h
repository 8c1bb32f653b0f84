// Everything a user of a URI can observe, as one text, so that two URIs can be
// compared (by the URI tests and the URI fuzz target).
#pragma once

#include <string>

#include "zob_uri.h"

inline std::string describeUri(ZoHadoopURI* uri) {
  ZobString user, password;
  uri->getUserPassword(&user, &password);
  int size = 0;
  std::string text = uri->getScheme().str() + "|" + user.str() + "|" + password.str() + "|" +
                     uri->getAuthority().str() + "|" + uri->getPath().str() + "|" +
                     uri->getProxyDirectory().str() + "|" + uri->getCredentialName().str() +
                     "|" + (uri->getBufferSize(&size) ? std::to_string(size) : "-") + "|" +
                     uri->getContext().str();
  for (int i = 0; i < uri->getResourceFileCount(); ++i) {
    ZobString file("(missing)");
    uri->getResourceFile(i, &file);
    text += "|r:" + file.str();
  }
  for (int i = 0; i < uri->getKeyValueCount(); ++i) {
    ZobString key("(missing)"), value;
    uri->getKeyValue(i, &key, &value);
    text += "|k:" + key.str() + "=" + value.str();
  }
  return text;
}
