// Proxy directories, their class loaders, and the creation of proxy objects.
#pragma once

#include <jni.h>

#include <string>

#include "class_cache.h"
#include "jni_refs.h"

struct ZoJniOptionRecord;
struct ZoJniMessageRecord;

namespace zojni {

// One class loader over the jars of a directory. Loaders are kept for the
// life of the process, so every proxy of a directory shares its classes.
struct ProxyLoader {
  std::string directory;
  const ProxyLoader* parent = nullptr;
  GlobalRef loader;
};

// A created proxy object with what its calls need.
struct CreatedProxy {
  const ProxyLoader* loader = nullptr;
  GlobalRef instance;
  GlobalRef type;
  std::string directory;
};

// An absolute directory as it is; a relative one beneath the proxy home, or
// empty when its ".." components climb out of the home.
std::string resolveProxyDirectory(const std::string& answer);

// Creates a proxy of `className` from `jar` in the directory that the option
// callback names, beneath `parent`'s loader (null: the runtime's). Reports
// failures to the message callback as errors (type 2) and Java's own texts as
// they come. ZOJNI_OK or ZOJNI_ERR_CREATE / ZOJNI_ERR_MEMORY.
int createProxy(JNIEnv* env, const RuntimeClasses& rc, const char* jar, const char* proxyName,
                const char* className, const ProxyLoader* parent, CreatedProxy* out);

}  // namespace zojni
