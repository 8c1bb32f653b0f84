// Writes the class data sharing archive that the bridge hands every JVM it
// starts (jvm_host.cc): this program makes a program's first calls (a local
// file written, read and listed) through the library on a JVM told to archive
// the classes it loaded, then ends that JVM so that it writes the archive.
//
//   zoh_class_archive <archive> <scratch directory>
//
// The JVM is started by the bridge itself, so the archive holds what a real
// start loads, through the same class loaders, and names no class path: the
// proxies' classes come from their directories' own loaders and are matched
// by their bytes when loaded again, so the archive holds wherever the proxy
// home is installed.
#include <dlfcn.h>
#include <jni.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "ZOHadoopIO.h"

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "zoh_class_archive: %s\n", what.c_str());
  std::exit(1);
}

struct RawIODeleter {
  void operator()(ZobIORaw* io) const { io->release(); }
};

void writeThenRead(const std::string& path) {
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(
      getURIFromURIString(ZobString(("file://" + path).c_str())));
  if (!uri) fail("not a URI: " + path);
  const std::string text = "a few bytes that the archive's training reads back\n";
  for (ZobTxtFileOpenMode mode : {ZOB_TXTFILE_WRITE, ZOB_TXTFILE_READ}) {
    ZobString err;
    std::unique_ptr<ZobIORaw, RawIODeleter> io(createRawIO(uri.get(), &err));
    int size = 1 << 20;
    if (!io || !io->open(mode, 0, &size, nullptr)) fail("cannot open " + path);
    if (mode == ZOB_TXTFILE_WRITE) {
      if (io->putBytes(text.data(), static_cast<int>(text.size())) != static_cast<int>(text.size()))
        fail("cannot write " + path);
    } else {
      const char* data = nullptr;
      if (io->getBytes(&data, 1, size) <= 0) fail("cannot read " + path);
    }
    if (!io->close()) fail("cannot close " + path);
  }
}

void list(const std::string& dir) {
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(
      getURIFromURIString(ZobString(("file://" + dir).c_str())));
  ZobString err;
  ZobDirectoryListing* listing = uri ? createDirectoryListing(nullptr, uri.get(), 0, &err) : nullptr;
  if (listing == nullptr) fail("cannot list " + dir);
  while (listing->next()) listing->getSize();
  listing->release();
}

// The archive is written when the JVM ends, which a process's own exit does
// not do: Java's System.exit ends JVM and process together.
[[noreturn]] void endJvm() {
  using CreatedVms = jint (*)(JavaVM**, jsize, jsize*);
  void* library = dlopen("libjvm.so", RTLD_NOW | RTLD_NOLOAD);
  auto created = library ? reinterpret_cast<CreatedVms>(dlsym(library, "JNI_GetCreatedJavaVMs"))
                         : nullptr;
  JavaVM* vm = nullptr;
  jsize count = 0;
  if (created == nullptr || created(&vm, 1, &count) != JNI_OK || count == 0) fail("no JVM ran");
  JNIEnv* env = nullptr;
  if (vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) != JNI_OK)
    fail("cannot attach to the JVM");
  jclass system = env->FindClass("java/lang/System");
  jmethodID exit = system ? env->GetStaticMethodID(system, "exit", "(I)V") : nullptr;
  if (exit == nullptr) fail("java.lang.System.exit not found");
  env->CallStaticVoidMethod(system, exit, 0);
  fail("the JVM did not end");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) fail("usage: zoh_class_archive <archive> <scratch directory>");
  const std::string archive = argv[1], scratch = argv[2];
  // The builder's own options are replaced: the archive must not depend on
  // them. Naming an archive, these also keep the bridge from handing the JVM
  // the old one. The JVM reports every class it leaves out: no failure.
  setenv("ZOH_JVM_OPTIONS",
         ("-XX:ArchiveClassesAtExit=" + archive + " -Xlog:cds=off,cds+dynamic=off").c_str(), 1);
  unsetenv("HADOOP_CONF_DIR");
  const std::string file = scratch + "/training.txt";
  writeThenRead(file);
  list(scratch);
  unlink(file.c_str());
  endJvm();
}
