#include "class_cache.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <memory>

#include "call_scope.h"
#include "zojni.h"

#ifndef ZOH_DEFAULT_PROXY_HOME
#define ZOH_DEFAULT_PROXY_HOME "proxies"
#endif
// Proxy homes relative to the directory of the installed or built bridge.
#ifndef ZOH_INSTALLED_PROXY_HOME
#define ZOH_INSTALLED_PROXY_HOME ""
#endif
#ifndef ZOH_BUILD_TREE_PROXY_HOME
#define ZOH_BUILD_TREE_PROXY_HOME ""
#endif

namespace zojni {
namespace {

constexpr const char* kRuntimeJar = "lib/zox-proxy-runtime.jar";

std::mutex g_mutex;  // serializes loading; readers of loaded classes never take it
// Lives as long as the process: its references must not be deleted during exit.
// Published once, complete, so that a string conversion reads it without a lock.
std::atomic<RuntimeClasses*> g_classes{nullptr};
std::string g_failure;

// Collects lookups and reports the first one that failed.
class Resolver {
 public:
  explicit Resolver(JNIEnv* env) : env_(env) {}

  GlobalRef jdkClass(const char* name) {
    LocalRef<jclass> c(env_, env_->FindClass(name));
    note(c.get() != nullptr, name);
    return GlobalRef(env_, c.get());
  }
  GlobalRef runtimeClass(jobject loader, jmethodID loadClass, const char* name) {
    LocalRef<jstring> n(env_, env_->NewStringUTF(name));
    LocalRef<jobject> c(env_, n ? env_->CallObjectMethod(loader, loadClass, n.get()) : nullptr);
    note(c.get() != nullptr, name);
    return GlobalRef(env_, c.get());
  }
  jmethodID method(const GlobalRef& c, const char* name, const char* sig) {
    jmethodID id = c ? env_->GetMethodID(c.asClass(), name, sig) : nullptr;
    note(id != nullptr, name);
    return id;
  }
  jfieldID field(const GlobalRef& c, const char* name, const char* sig) {
    jfieldID id = c ? env_->GetFieldID(c.asClass(), name, sig) : nullptr;
    note(id != nullptr, name);
    return id;
  }
  jmethodID staticMethod(const GlobalRef& c, const char* name, const char* sig) {
    jmethodID id = c ? env_->GetStaticMethodID(c.asClass(), name, sig) : nullptr;
    note(id != nullptr, name);
    return id;
  }
  bool ok() const { return missing_.empty(); }
  const std::string& missing() const { return missing_; }

 private:
  void note(bool found, const char* what) {
    if (env_->ExceptionCheck()) env_->ExceptionClear();
    if (!found && missing_.empty()) missing_ = what;
  }
  JNIEnv* env_;
  std::string missing_;
};

bool fileExists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// A class loader over the runtime jar, beneath the system class loader, so that
// a host JVM with its own class path finds the runtime the same way.
jobject newRuntimeLoader(JNIEnv* env, const std::string& jarPath, std::string* why) {
  auto failed = [&]() {
    if (!env->ExceptionCheck()) return false;
    env->ExceptionClear();
    return true;
  };
  auto give_up = [&]() -> jobject {
    env->ExceptionClear();
    *why = "no class loader could be made for the runtime jar '" + jarPath + "'";
    return nullptr;
  };
  LocalRef<jclass> fileClass(env, env->FindClass("java/io/File"));
  LocalRef<jclass> uriClass(env, failed() ? nullptr : env->FindClass("java/net/URI"));
  LocalRef<jclass> urlClass(env, failed() ? nullptr : env->FindClass("java/net/URL"));
  LocalRef<jclass> loaderClass(env, failed() ? nullptr : env->FindClass("java/net/URLClassLoader"));
  LocalRef<jclass> baseLoader(env, failed() ? nullptr : env->FindClass("java/lang/ClassLoader"));
  if (failed() || !fileClass || !uriClass || !urlClass || !loaderClass || !baseLoader) {
    return give_up();
  }
  jmethodID fileNew = env->GetMethodID(fileClass.get(), "<init>", "(Ljava/lang/String;)V");
  jmethodID toUri = env->GetMethodID(fileClass.get(), "toURI", "()Ljava/net/URI;");
  jmethodID toUrl = env->GetMethodID(uriClass.get(), "toURL", "()Ljava/net/URL;");
  jmethodID system = env->GetStaticMethodID(baseLoader.get(), "getSystemClassLoader",
                                            "()Ljava/lang/ClassLoader;");
  jmethodID loaderNew = env->GetMethodID(loaderClass.get(), "<init>",
                                         "([Ljava/net/URL;Ljava/lang/ClassLoader;)V");
  if (failed() || !fileNew || !toUri || !toUrl || !system || !loaderNew) return give_up();
  LocalRef<jstring> path(env, env->NewStringUTF(jarPath.c_str()));
  if (failed() || !path) return give_up();
  LocalRef<jobject> file(env, env->NewObject(fileClass.get(), fileNew, path.get()));
  if (failed() || !file) return give_up();
  LocalRef<jobject> uri(env, env->CallObjectMethod(file.get(), toUri));
  if (failed() || !uri) return give_up();
  LocalRef<jobject> url(env, env->CallObjectMethod(uri.get(), toUrl));
  if (failed() || !url) return give_up();
  LocalRef<jobjectArray> urls(env, env->NewObjectArray(1, urlClass.get(), url.get()));
  if (failed() || !urls) return give_up();
  LocalRef<jobject> parent(env, env->CallStaticObjectMethod(baseLoader.get(), system));
  if (failed() || !parent) return give_up();
  jobject loader = env->NewObject(loaderClass.get(), loaderNew, urls.get(), parent.get());
  if (failed() || loader == nullptr) return give_up();
  return loader;
}

int load(JNIEnv* env, std::string* why) {
  std::string jar = proxyHome() + "/" + kRuntimeJar;
  if (!fileExists(jar)) {
    *why = "the Java proxy runtime jar '" + jar + "' does not exist";
    return ZOJNI_ERR_CREATE;
  }
  LocalFrame frame(env, 64);
  if (!frame.ok()) {
    env->ExceptionClear();
    *why = "no room for JNI references";
    return ZOJNI_ERR_MEMORY;
  }
  auto c = std::make_unique<RuntimeClasses>();
  LocalRef<jobject> loader(env, newRuntimeLoader(env, jar, why));
  if (!loader) return ZOJNI_ERR_CREATE;
  c->runtimeLoader = GlobalRef(env, loader.get());
  LocalRef<jclass> loaderType(env, env->GetObjectClass(loader.get()));
  jmethodID loadClass = env->GetMethodID(loaderType.get(), "loadClass",
                                         "(Ljava/lang/String;)Ljava/lang/Class;");
  if (loadClass == nullptr) {
    env->ExceptionClear();
    *why = "the runtime jar's class loader has no loadClass";
    return ZOJNI_ERR_CREATE;
  }

  Resolver r(env);
  c->objectClass = r.jdkClass("java/lang/Object");
  c->stringClass = r.jdkClass("java/lang/String");
  c->longClass = r.jdkClass("java/lang/Long");
  c->booleanClass = r.jdkClass("java/lang/Boolean");
  c->integerClass = r.jdkClass("java/lang/Integer");
  c->byteBufferClass = r.jdkClass("java/nio/ByteBuffer");
  c->byteArrayClass = r.jdkClass("[B");
  c->objectArrayClass = r.jdkClass("[Ljava/lang/Object;");
  c->outOfMemoryClass = r.jdkClass("java/lang/OutOfMemoryError");
  c->longValueOf = r.staticMethod(c->longClass, "valueOf", "(J)Ljava/lang/Long;");
  c->booleanValueOf = r.staticMethod(c->booleanClass, "valueOf", "(Z)Ljava/lang/Boolean;");
  c->integerValueOf = r.staticMethod(c->integerClass, "valueOf", "(I)Ljava/lang/Integer;");
  c->stringFromBytes =
      r.method(c->stringClass, "<init>", "([BLjava/nio/charset/Charset;)V");
  c->asReadOnlyBuffer =
      r.method(c->byteBufferClass, "asReadOnlyBuffer", "()Ljava/nio/ByteBuffer;");
  c->longValue = r.field(c->longClass, "value", "J");
  c->intValue = r.field(c->integerClass, "value", "I");
  c->booleanValue = r.field(c->booleanClass, "value", "Z");
  {
    GlobalRef buffer = r.jdkClass("java/nio/Buffer");
    c->bufferPosition = r.field(buffer, "position", "I");
    c->bufferLimit = r.field(buffer, "limit", "I");
  }
  {
    GlobalRef charsets = r.jdkClass("java/nio/charset/StandardCharsets");
    jfieldID utf8 = charsets ? env->GetStaticFieldID(charsets.asClass(), "UTF_8",
                                                     "Ljava/nio/charset/Charset;")
                             : nullptr;
    if (utf8 != nullptr) {
      LocalRef<jobject> cs(env, env->GetStaticObjectField(charsets.asClass(), utf8));
      c->utf8Charset = GlobalRef(env, cs.get());
    }
    if (!c->utf8Charset) {
      env->ExceptionClear();
      *why = "the JDK has no UTF-8 charset";
      return ZOJNI_ERR_JVM;
    }
  }

  jobject l = c->runtimeLoader.get();
  c->rowSetClass = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.RowSet");
  c->failuresClass = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.Failures");
  c->nativeMemoryClass = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.NativeMemory");
  c->siteClass = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.ProxySite");
  c->loadersClass = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.ProxyLoaders");
  GlobalRef progress = r.runtimeClass(l, loadClass, "com.zorvanta.proxy.runtime.Progress");
  c->rowSetNew = r.method(c->rowSetClass, "<init>", "(Ljava/lang/String;)V");
  c->rowSetAdd = r.method(c->rowSetClass, "addRow",
                          "([Ljava/lang/Object;)Lcom/zorvanta/proxy/runtime/RowSet;");
  c->rowSetEncode = r.method(c->rowSetClass, "encode", "()[B");
  c->failureCode = r.staticMethod(c->failuresClass, "code", "(Ljava/lang/Throwable;)I");
  c->failureText =
      r.staticMethod(c->failuresClass, "text", "(Ljava/lang/Throwable;)Ljava/lang/String;");
  c->heapRemaining =
      r.staticMethod(c->nativeMemoryClass, "remaining", "(Ljava/nio/ByteBuffer;)[B");
  c->siteNew = r.method(c->siteClass, "<init>", "(Ljava/lang/String;)V");
  c->loaderForDirectory = r.staticMethod(c->loadersClass, "forDirectory",
      "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/ClassLoader;)Ljava/lang/ClassLoader;");
  c->loaderCreate = r.staticMethod(c->loadersClass, "create",
      "(Ljava/lang/ClassLoader;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;"
      "Lcom/zorvanta/proxy/runtime/ProxySite;)Ljava/lang/Object;");
  c->proxyVersion =
      r.staticMethod(c->loadersClass, "version", "(Ljava/lang/Object;)Ljava/lang/String;");
  if (!r.ok()) {
    *why = "the Java proxy runtime jar '" + jar + "' lacks " + r.missing();
    return ZOJNI_ERR_CREATE;
  }
  if (!registerNatives(env, progress.asClass(), c->nativeMemoryClass.asClass(),
                       c->siteClass.asClass())) {
    env->ExceptionClear();
    *why = "the natives of the Java proxy runtime could not be registered";
    return ZOJNI_ERR_JVM;
  }
  g_classes.store(c.release(), std::memory_order_release);
  return ZOJNI_OK;
}

}  // namespace

int runtimeClasses(JNIEnv* env, const RuntimeClasses** out, std::string* why) {
  if ((*out = loadedRuntimeClasses()) != nullptr) return ZOJNI_OK;
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_classes.load(std::memory_order_relaxed) == nullptr) {
    int status = load(env, why);
    if (status != ZOJNI_OK) return status;
  }
  *out = g_classes.load(std::memory_order_relaxed);
  return ZOJNI_OK;
}

const RuntimeClasses* loadedRuntimeClasses() {
  return g_classes.load(std::memory_order_acquire);
}

// ZOH_PROXY_HOME, else the proxy home beside this library wherever its tree
// was moved: installed (<lib>/../share/...) or in a build tree, else the
// build's own.
std::string proxyHome() {
  const char* home = std::getenv("ZOH_PROXY_HOME");
  if (home != nullptr && *home != '\0') return home;
  Dl_info self{};
  if (dladdr(reinterpret_cast<void*>(&proxyHome), &self) != 0 && self.dli_fname != nullptr) {
    std::string dir = self.dli_fname;
    dir = dir.substr(0, dir.find_last_of('/') + 1);
    for (const char* relative : {ZOH_INSTALLED_PROXY_HOME, ZOH_BUILD_TREE_PROXY_HOME}) {
      if (*relative == '\0') continue;
      char* real = realpath((dir + relative).c_str(), nullptr);
      if (real == nullptr) continue;
      const std::string candidate = real;
      std::free(real);
      struct stat info {};
      if (stat((candidate + "/" + kRuntimeJar).c_str(), &info) == 0) return candidate;
    }
  }
  return ZOH_DEFAULT_PROXY_HOME;
}

namespace {

uint64_t keyHash(const char* name, const char* inputs, size_t count) {
  uint64_t h = 1469598103934665603ull;  // FNV-1a
  for (const char* p = name; *p != '\0'; ++p) h = (h ^ static_cast<unsigned char>(*p)) * 1099511628211ull;
  h = (h ^ 0xFFu) * 1099511628211ull;
  for (size_t i = 0; i < count; ++i) h = (h ^ static_cast<unsigned char>(inputs[i])) * 1099511628211ull;
  return h;
}

}  // namespace

MethodCache* methodCacheFor(JNIEnv* env, jclass type) {
  struct ClassMethods {
    GlobalRef type;
    MethodCache methods;
  };
  // Proxy classes are few (one or two per directory); a list serves.
  static std::mutex mutex;
  static std::vector<std::unique_ptr<ClassMethods>>* classes =
      new std::vector<std::unique_ptr<ClassMethods>>();  // outlives every proxy
  std::lock_guard<std::mutex> lock(mutex);
  for (const auto& known : *classes) {
    if (env->IsSameObject(known->type.get(), type)) return &known->methods;
  }
  auto added = std::make_unique<ClassMethods>();
  added->type = GlobalRef(env, type);
  if (!added->type) return nullptr;
  classes->push_back(std::move(added));
  return &classes->back()->methods;
}

MethodCache::~MethodCache() {
  for (const Table* t = table_.load(); t != nullptr;) {
    const Table* previous = t->previous;
    delete t;
    t = previous;
  }
}

bool MethodCache::find(JNIEnv* env, jclass type, const char* name, const char* inputs,
                       size_t count, Method* out) {
  const uint64_t hash = keyHash(name, inputs, count);
  auto lookup = [&](const Table* t) -> const Entry* {
    if (t == nullptr) return nullptr;
    for (const Entry& e : t->entries) {
      if (e.hash == hash && e.name == name && e.inputs.size() == count &&
          e.inputs.compare(0, count, inputs, count) == 0) {
        return &e;
      }
    }
    return nullptr;
  };
  if (const Entry* e = lookup(table_.load(std::memory_order_acquire))) {
    *out = e->method;
    return out->id != nullptr;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  const Table* current = table_.load(std::memory_order_relaxed);
  if (const Entry* e = lookup(current)) {
    *out = e->method;
    return out->id != nullptr;
  }
  auto next = std::make_unique<Table>();
  if (current != nullptr) next->entries = current->entries;
  next->entries.push_back({hash, name, std::string(inputs, count),
                           resolve(env, type, name, inputs, count)});
  next->previous = current;
  *out = next->entries.back().method;
  table_.store(next.release(), std::memory_order_release);
  return out->id != nullptr;
}

MethodCache::Method MethodCache::resolve(JNIEnv* env, jclass type, const char* name,
                                         const char* inputs, size_t count) {
  auto parameters = [&](bool primitives) {
    std::string params = "(";
    for (size_t i = 0; i < count; ++i) {
      const bool present = (inputs[i] & kPresent) != 0;
      switch (inputs[i] & ~kPresent) {
        case 1: params += "Ljava/nio/ByteBuffer;"; break;
        case 2: params += primitives && present ? "Z" : "Ljava/lang/Boolean;"; break;
        case 6: params += primitives && present ? "I" : "Ljava/lang/Integer;"; break;
        case 7: params += primitives && present ? "J" : "Ljava/lang/Long;"; break;
        case 10: params += "Lcom/zorvanta/proxy/runtime/RowSet;"; break;
        default: params += "Ljava/lang/String;"; break;
      }
    }
    return params + ")";
  };
  auto lookup = [&](const std::string& params, bool primitives, Method* m) {
    m->id = env->GetMethodID(type, name, (params + "[Ljava/lang/Object;").c_str());
    if (m->id == nullptr) {
      env->ExceptionClear();
      m->id = env->GetMethodID(type, name, (params + "V").c_str());
      m->returnsVoid = m->id != nullptr;
      if (m->id == nullptr) env->ExceptionClear();
    }
    m->primitives = primitives && m->id != nullptr;
    return m->id != nullptr;
  };
  Method m;
  bool anyPrimitive = false;
  for (size_t i = 0; i < count; ++i) anyPrimitive |= (inputs[i] & kPresent) != 0;
  if (anyPrimitive && lookup(parameters(true), true, &m)) return m;
  if (lookup(parameters(false), false, &m)) return m;
  m.id = env->GetMethodID(type, name, "([Ljava/lang/Object;)[Ljava/lang/Object;");
  m.takesArray = m.id != nullptr;
  if (m.id == nullptr) env->ExceptionClear();
  return m;
}

}  // namespace zojni
