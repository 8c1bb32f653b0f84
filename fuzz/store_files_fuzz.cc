// The credential store and the options file: any file content, looked up and
// loaded as the library does, and the stored-password codec on any text.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_input.h"
#include "options_file.h"
#include "zob_credentials.h"
#include "zob_options.h"

namespace {

const std::string& filePath() {
  static const std::string path = [] {
    // In memory where the system has it: the file is written on every input.
    const char* dir = std::getenv("TMPDIR");
    if (access("/dev/shm", W_OK) == 0) dir = "/dev/shm";
    std::string p = std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") +
                    "/zob_store_fuzz_" + std::to_string(getpid());
    setenv("ZOB_CREDENTIAL_STORE", p.c_str(), 1);
    std::atexit([] { std::remove(filePath().c_str()); });
    return p;
  }();
  return path;
}

void writeFile(const std::string& content) {
  std::FILE* f = std::fopen(filePath().c_str(), "wb");
  FUZZ_CHECK(f != nullptr, "cannot write %s", filePath().c_str());
  std::fwrite(content.data(), 1, content.size(), f);
  std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  const std::string name = in.text(8);
  const std::string content = in.rest();
  writeFile(content);

  // The credential store, as the library reads it.
  ZobString user, password, detail;
  if (zobSubjectCredentials(ZobString(name.c_str()), user, password, &detail)) {
    ZobString err;
    if (!zobSubjectDecodePW(password, password, &err)) {
      FUZZ_CHECK(err.length() > 0, "a refused password without a reason");
    }
  }
  // The codec: what is encoded decodes to itself.
  ZobString clear(content.data(), content.size() < 256 ? content.size() : 256);
  ZobString stored = zobSubjectEncodePW(clear);
  ZobString back;
  if (clear.str().find('\0') == std::string::npos) {
    FUZZ_CHECK(zobSubjectDecodePW(stored, back, nullptr) && back.str() == clear.str(),
               "encode/decode");
  }

  // The options file.
  ZobConfigOptions* set = zobCreateConfigOptions();
  zobLoadOptionsFile(filePath().c_str(), set);
  for (int i = 0; i < set->getOptionCount(); ++i) {
    ZobString key, value, again;
    FUZZ_CHECK(set->getOptionAt(i, &key, &value, false), "option %d", i);
    FUZZ_CHECK(key.length() > 0 && set->getOption(key, &again, 0) && again == value,
               "option '%s'", key.asCstr());
  }
  set->release();
  return 0;
}
