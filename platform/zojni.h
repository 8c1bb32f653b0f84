// The Java bridge: hosts Java proxy objects and runs their named methods.
//
// The Hadoop client library names no bridge; each program links exactly one
// implementation of these functions (the scripted one in unit tests, the JVM one
// in real programs).
#pragma once

#include <cstddef>
#include <cstdint>

#include "hadoop_status.h"
#include "zob_export.h"
#include "zob_string.h"
#include "zowlp.h"

struct zojniProxy;

// ---- Callback records (layouts shared with every bridge) ---------------------

struct ZoJniOptionRecord;
struct ZoJniMessageRecord;
struct ZoJniPollRecord;

// Answers an option: 0 value supplied (*value, *length: the text without its NUL,
// valid until the next callback), 1 no value, 2 failure. `bridgeContext` is the
// bridge's own and unused by the library.
typedef int (*ZoJniOptionCallback)(ZoJniOptionRecord* record, const char* name,
                                   void* bridgeContext, char** value, int* length);
// Reports a Java-side message: type 0 information, 1 warning, other: error.
typedef int (*ZoJniMessageCallback)(ZoJniMessageRecord* record, int messageType,
                                    const char* text);
// Progress of a running method; 0 asks the Java side to stop.
typedef int (*ZoJniPollCallback)(ZoJniPollRecord* record, int64_t done, int64_t total,
                                 const char* phase);

struct ZoJniOptionRecord {
  ZoJniOptionCallback callback;
  void* instance;
  const char* proxyName;
  uint8_t directoryGiven;
  uint8_t pad[7];
  const char* directory;
};
static_assert(sizeof(ZoJniOptionRecord) == 40, "option record is 40 bytes");
static_assert(offsetof(ZoJniOptionRecord, callback) == 0, "callback at 0");
static_assert(offsetof(ZoJniOptionRecord, instance) == 8, "instance at 8");
static_assert(offsetof(ZoJniOptionRecord, proxyName) == 16, "proxy name at 16");
static_assert(offsetof(ZoJniOptionRecord, directoryGiven) == 24, "flag at 24");
static_assert(offsetof(ZoJniOptionRecord, directory) == 32, "directory at 32");

struct ZoJniMessageRecord {
  ZoJniMessageCallback callback;
  void* instance;
  ZobString* errorText;
};
static_assert(sizeof(ZoJniMessageRecord) == 24, "message record is 24 bytes");
static_assert(offsetof(ZoJniMessageRecord, callback) == 0, "callback at 0");
static_assert(offsetof(ZoJniMessageRecord, instance) == 8, "instance at 8");
static_assert(offsetof(ZoJniMessageRecord, errorText) == 16, "error text at 16");

struct ZoJniPollRecord {
  int32_t value;  // the poll status's pollInterval()
  int32_t pad;
  ZoJniPollCallback callback;
  void* instance;
  HadoopPollStatus* pollStatus;
};
static_assert(sizeof(ZoJniPollRecord) == 32, "poll record is 32 bytes");
static_assert(offsetof(ZoJniPollRecord, value) == 0, "value at 0");
static_assert(offsetof(ZoJniPollRecord, callback) == 8, "callback at 8");
static_assert(offsetof(ZoJniPollRecord, instance) == 16, "instance at 16");
static_assert(offsetof(ZoJniPollRecord, pollStatus) == 24, "poll status at 24");

// ---- Statuses ------------------------------------------------------------------

enum : int {
  ZOJNI_OK = 0,
  ZOJNI_ERR_ARGUMENT = 1,      // a null or malformed argument
  ZOJNI_ERR_CREATE = 2,        // the proxy could not be created (messages say why)
  ZOJNI_ERR_NO_METHOD = 3,     // the proxy has no method of that name
  ZOJNI_ERR_JAVA = 4,          // the Java method failed; the response carries it
  ZOJNI_ERR_OUTPUT_TYPE = 5,   // an output did not match the signature
  ZOJNI_ERR_MEMORY = 6,        // out of memory, native or Java
  ZOJNI_ERR_JVM = 7,           // no JVM, or the thread could not be attached
  ZOJNI_ERR_INPUT_TYPE = 8,    // an input record of an unknown type
};

// ---- Operations ----------------------------------------------------------------

extern "C" {

int zojniProxyCreate(const char* jar, const char* proxyName, const char* className,
                     ZoJniOptionRecord* options, ZoJniMessageRecord* messages,
                     zojniProxy** out);
// The same, with the new proxy's classes loaded beneath the base proxy's (a null
// base behaves as zojniProxyCreate).
int zojniProxyCreateFromProxy(zojniProxy* base, const char* jar, const char* proxyName,
                              const char* className, ZoJniOptionRecord* options,
                              ZoJniMessageRecord* messages, zojniProxy** out);
// Runs `method` synchronously. 0 with *response (null when the signature is
// empty and the bridge has nothing to return); ZOJNI_ERR_JAVA with *response
// carrying the Java error; any other status with *response null.
int zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
                   const char* method, const char* signature, int count,
                   zowlpParameter* params, zowlpResponse** response);
zowlpRowSet* zojniProxyRowSetCreate(zojniProxy* proxy, const char* columnTypes);
void zojniProxyDestroy(zojniProxy* proxy);

}  // extern "C"
