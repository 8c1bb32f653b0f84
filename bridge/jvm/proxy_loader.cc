#include "proxy_loader.h"

#include <sys/stat.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "call_scope.h"
#include "context_loader.h"
#include "exception_mapping.h"
#include "record_conversion.h"
#include "zojni.h"

namespace zojni {
namespace {

constexpr int kErrorMessage = 2;
constexpr int kInfoMessage = 0;
constexpr int kWarningMessage = 1;

std::mutex g_loadersMutex;
// Never destroyed: loaders are process-wide, like the classes they hold.
auto* g_loaders =
    new std::map<std::pair<std::string, const ProxyLoader*>, std::unique_ptr<ProxyLoader>>();

bool isDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

int fail(int status, const std::string& text) {
  if (CreateScope* scope = CreateScope::current()) scope->message(kErrorMessage, text);
  return status;
}

int javaFailure(JNIEnv* env, const RuntimeClasses& rc, const std::string& context) {
  bool outOfMemory = false;
  std::string text = takeExceptionText(env, rc, &outOfMemory);
  return fail(outOfMemory ? ZOJNI_ERR_MEMORY : ZOJNI_ERR_CREATE,
              context.empty() ? text : context + ": " + text);
}

int loaderFor(JNIEnv* env, const RuntimeClasses& rc, const std::string& directory,
              const std::string& jar, const ProxyLoader* parent, const ProxyLoader** out) {
  std::lock_guard<std::mutex> lock(g_loadersMutex);
  auto key = std::make_pair(directory, parent);
  auto it = g_loaders->find(key);
  if (it != g_loaders->end()) {
    *out = it->second.get();
    return ZOJNI_OK;
  }
  LocalRef<jstring> dir(env, newJavaString(env, directory.data(), directory.size()));
  LocalRef<jstring> jarName(env, env->ExceptionCheck() ? nullptr
                                                       : newJavaString(env, jar.data(), jar.size()));
  if (env->ExceptionCheck() || !dir || !jarName) return javaFailure(env, rc, "Java proxy directory '" + directory + "'");
  LocalRef<jobject> loader(env, env->CallStaticObjectMethod(
      rc.loadersClass.asClass(), rc.loaderForDirectory, dir.get(), jarName.get(),
      parent != nullptr ? parent->loader.get() : rc.runtimeLoader.get()));
  if (env->ExceptionCheck() || !loader) return javaFailure(env, rc, "");
  auto entry = std::make_unique<ProxyLoader>();
  entry->directory = directory;
  entry->parent = parent;
  entry->loader = GlobalRef(env, loader.get());
  *out = entry.get();
  g_loaders->emplace(key, std::move(entry));
  return ZOJNI_OK;
}

std::string optionOr(const char* name, const std::string& fallback, bool* answered) {
  std::string value;
  CreateScope* scope = CreateScope::current();
  *answered = scope != nullptr && scope->option(name, &value);
  return *answered ? value : fallback;
}

}  // namespace

std::string resolveProxyDirectory(const std::string& answer) {
  if (!answer.empty() && answer[0] == '/') return answer;
  // Counted by name alone: what lies beneath the home (links included) is the
  // installer's to trust, but no ".." may climb out of it.
  int depth = 0;
  size_t start = 0;
  while (start <= answer.size()) {
    size_t end = answer.find('/', start);
    if (end == std::string::npos) end = answer.size();
    const std::string part = answer.substr(start, end - start);
    if (part == "..") {
      if (--depth < 0) return std::string();
    } else if (!part.empty() && part != ".") {
      ++depth;
    }
    start = end + 1;
  }
  return proxyHome() + "/" + answer;
}

int createProxy(JNIEnv* env, const RuntimeClasses& rc, const char* jar, const char* proxyName,
                const char* className, const ProxyLoader* parent, CreatedProxy* out) {
  bool answered = false;
  std::string given = optionOr("JAVA_PROXY/DIRECTORY", "", &answered);
  // The caller answers the directory once per record; a record used again
  // still carries it.
  const char* fromRecord = CreateScope::current()->recordDirectory();
  if (!answered && fromRecord != nullptr) {
    given = fromRecord;
    answered = true;
  }
  if (!answered) {
    return fail(ZOJNI_ERR_CREATE, std::string("No Java proxy directory was given for proxy '") +
                                      proxyName + "' (option JAVA_PROXY/DIRECTORY)");
  }
  bool wantsVersion = false;
  optionOr("JAVA_PROXY/HAS_GETVERSION", "", &wantsVersion);

  std::string directory = resolveProxyDirectory(given);
  if (directory.empty()) {
    return fail(ZOJNI_ERR_CREATE, "Java proxy directory '" + given +
                                      "' leaves the proxy home '" + proxyHome() + "'");
  }
  if (!isDirectory(directory)) {
    return fail(ZOJNI_ERR_CREATE, "Java proxy directory '" + directory + "' does not exist" +
                                      (given[0] == '/' ? "" : " (proxy home '" + proxyHome() + "')"));
  }
  if (!isFile(directory + "/" + jar)) {
    return fail(ZOJNI_ERR_CREATE, std::string("Java proxy jar '") + jar +
                                      "' not found in directory '" + directory + "'");
  }
  const ProxyLoader* loader = nullptr;
  int status = loaderFor(env, rc, directory, jar, parent, &loader);
  if (status != ZOJNI_OK) return status;

  LocalRef<jstring> name(env, newJavaString(env, proxyName, std::strlen(proxyName)));
  if (env->ExceptionCheck() || !name) return javaFailure(env, rc, "Java proxy site");
  LocalRef<jobject> site(env, env->NewObject(rc.siteClass.asClass(), rc.siteNew, name.get()));
  if (env->ExceptionCheck() || !site) return javaFailure(env, rc, "Java proxy site");
  LocalRef<jstring> dir(env, newJavaString(env, directory.data(), directory.size()));
  if (env->ExceptionCheck() || !dir) return javaFailure(env, rc, "Java proxy site");
  LocalRef<jstring> jarName(env, newJavaString(env, jar, std::strlen(jar)));
  if (env->ExceptionCheck() || !jarName) return javaFailure(env, rc, "Java proxy site");
  LocalRef<jstring> cls(env, newJavaString(env, className, std::strlen(className)));
  if (env->ExceptionCheck() || !cls) return javaFailure(env, rc, "Java proxy site");
  // The constructor may already load Hadoop's classes and configuration.
  ContextLoaderScope contextLoader(env, loader->loader.get());
  LocalRef<jobject> instance(env, env->CallStaticObjectMethod(
      rc.loadersClass.asClass(), rc.loaderCreate, loader->loader.get(), dir.get(), jarName.get(),
      cls.get(), site.get()));
  if (env->ExceptionCheck() || !instance) return javaFailure(env, rc, "");

  if (wantsVersion) {
    LocalRef<jstring> version(env, static_cast<jstring>(env->CallStaticObjectMethod(
                                       rc.loadersClass.asClass(), rc.proxyVersion, instance.get())));
    std::string text;
    CreateScope* scope = CreateScope::current();
    if (env->ExceptionCheck()) {
      bool oom = false;
      scope->message(kWarningMessage, std::string("Java proxy '") + proxyName + "': " +
                                          takeExceptionText(env, rc, &oom));
    } else if (version && javaToUtf8(env, version.get(), &text)) {
      scope->message(kInfoMessage, std::string("Java proxy '") + proxyName + "' (" + className +
                                       ") version " + text);
    } else {
      env->ExceptionClear();
      scope->message(kWarningMessage, std::string("Java proxy '") + proxyName + "' (" +
                                          className + ") has no getVersion()");
    }
  }
  LocalRef<jclass> type(env, env->GetObjectClass(instance.get()));
  out->loader = loader;
  out->instance = GlobalRef(env, instance.get());
  out->type = GlobalRef(env, type.get());
  out->directory = directory;
  if (!out->instance || !out->type) return fail(ZOJNI_ERR_MEMORY, "no JNI global reference left");
  return ZOJNI_OK;
}

}  // namespace zojni
