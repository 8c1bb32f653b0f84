// The wire-level parameter protocol: typed parameter records, row sets of
// records, and the responses of proxy calls.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zob_export.h"

struct zowlpRowSet;
struct zowlpResponse;

// Type codes: the only ones that the library puts into or reads from records.
enum : int32_t {
  WLP_TYPE_BYTES = 1,
  WLP_TYPE_BOOL = 2,
  WLP_TYPE_INT = 6,
  WLP_TYPE_OBJECT = 7,
  WLP_TYPE_ROWSET = 10,
  WLP_TYPE_STRING = 11,
};

// One typed value. The layout is shared byte for byte with every bridge.
struct zowlpParameter {
  int32_t type;      // a WLP_TYPE_* code
  uint8_t present;   // 1: the value is present; 0: null
  uint8_t pad0[3];
  union {
    const void* bytes;    // WLP_TYPE_BYTES: first byte; `length` bytes
    uint8_t boolean;      // WLP_TYPE_BOOL: 0 or 1
    int32_t integer;      // WLP_TYPE_INT
    int64_t object;       // WLP_TYPE_OBJECT: Java object handle, 0 = none
    zowlpRowSet* rowSet;  // WLP_TYPE_ROWSET
    const char* string;   // WLP_TYPE_STRING: NUL-terminated; `length` bytes
    uint64_t raw;
  } value;
  uint8_t reserved[56];
  int32_t length;    // bytes of a string (without NUL) or byte buffer
  int32_t pad1;
};

static_assert(sizeof(zowlpParameter) == 80, "wire record is 80 bytes");
static_assert(offsetof(zowlpParameter, type) == 0, "type at 0");
static_assert(offsetof(zowlpParameter, present) == 4, "present at 4");
static_assert(offsetof(zowlpParameter, value) == 8, "value at 8");
static_assert(offsetof(zowlpParameter, reserved) == 16, "reserved from 16");
static_assert(offsetof(zowlpParameter, length) == 72, "length at 72");

// Signatures and row-set column types: NUL-terminated lists of type codes.
#define JAVA_PROXY_EMPTY_SIG ""
#define HADOOP_CREATECONFIG_SIG_OUT "\x07"
#define HADOOP_HDFS_OPENFILE_SIG_OUT "\x07\x0a"
#define HADOOP_HDFS_LISTDIR_SIG_OUT "\x0a"
#define HADOOP_HDFS_MKDIR_SIG_OUT "\x02"
#define HADOOP_HDFS_EXISTS_SIG_OUT "\x02"
#define HADOOP_HDFS_DELETEFILE_SIG_OUT "\x02"
#define HADOOP_HDFS_FILE_READ_SIG_OUT "\x01"
#define HADOOP_MAPREDUCE_RUN_SIG_OUT "\x0a"
#define HADOOP_MAPREDUCE_WAIT_SIG_OUT "\x02\x0a"
#define HADOOP_PIG_RUNCOMMANDS_SIG_OUT "\x07\x0a"
#define HADOOP_PIG_WAIT_SIG_OUT "\x02\x0a"

#define HADOOP_CFG_SETKEYVALUES_OPTIONS_COLS "\x0b\x0b"
#define HADOOP_CFG_ADDRESOURCEFILES_FILES_COLS "\x0b"
#define HADOOP_MAPREDUCE_RUN_PROPS_COLS "\x0b\x0b"
#define HADOOP_PIG_RUNCOMMANDS_ARGS_COLS "\x0b\x0b"
#define HADOOP_PIG_RUNCOMMANDS_JARS_COLS "\x0b"

// Status codes of the protocol operations (0 is success).
enum : int {
  WLP_OK = 0,
  WLP_ERR_ARGUMENT = 1,   // a null or out-of-range argument
  WLP_ERR_TYPE = 2,       // a record whose type does not fit the column
  WLP_ERR_MEMORY = 3,     // storage could not be allocated
  WLP_ERR_END = 5,        // no further row
  WLP_ERR_NO_ERROR = 6,   // the response carries no Java error
};

extern "C" {

// ---- Read operations (what the library uses) -------------------------------

// Appends a copy of `row` (one record per column); the texts and bytes that the
// records point to are copied too. Row-set values are not allowed in rows.
ZOB_API int zowlpRowSet_addRow(zowlpRowSet* rowSet, zowlpParameter* row);
// The number of rows; 0 for a null row set.
ZOB_API int zowlpRowSet_getRows(const zowlpRowSet* rowSet);
// The records of the next row of the row set's read cursor. They stay valid
// until the row set is destroyed, whatever is read after them.
ZOB_API int zowlpRowSet_nextRow(const zowlpRowSet* rowSet, zowlpParameter** row);
ZOB_API void zowlpRowSet_destroy(zowlpRowSet* rowSet);

// The output records, in signature order. Bytes and row sets they point to
// belong to the response, except a row-set output whose value the caller has set
// to null: that row set then belongs to the caller.
ZOB_API int zowlpResponse_parameters(zowlpResponse* response, int* count,
                                     zowlpParameter** records);
ZOB_API void zowlpResponse_destroy(zowlpResponse* response);
// The Java error of a failed call (status 4).
ZOB_API int zowlpError_code(zowlpResponse* response, int* code);
ZOB_API int zowlpError_text(zowlpResponse* response, char** text, int* length);

// ---- Building operations (what bridges use) --------------------------------

// One of the six type codes of the protocol.
ZOB_API bool zowlpIsKnownType(int code);

// An empty row set with these column types (a NUL-terminated list of codes).
ZOB_API zowlpRowSet* zowlpRowSet_create(const char* columnTypes);
ZOB_API int zowlpRowSet_getColumns(const zowlpRowSet* rowSet);
// The column type codes, NUL-terminated.
ZOB_API const char* zowlpRowSet_columnTypes(const zowlpRowSet* rowSet);
// Row `index` without moving the read cursor.
ZOB_API int zowlpRowSet_rowAt(const zowlpRowSet* rowSet, int index,
                              zowlpParameter** row);
// Moves the read cursor back to the first row.
ZOB_API void zowlpRowSet_rewind(const zowlpRowSet* rowSet);

// A response with one output per code of `signature`, each typed and null.
ZOB_API zowlpResponse* zowlpResponse_create(const char* signature);
// Output setters; the response copies texts and bytes and adopts row sets.
ZOB_API int zowlpResponse_setBool(zowlpResponse* response, int index, bool value);
ZOB_API int zowlpResponse_setInt(zowlpResponse* response, int index, int32_t value);
ZOB_API int zowlpResponse_setObject(zowlpResponse* response, int index, int64_t handle);
ZOB_API int zowlpResponse_setString(zowlpResponse* response, int index,
                                    const char* text, int length);
ZOB_API int zowlpResponse_setBytes(zowlpResponse* response, int index,
                                   const void* data, int length);
// Adopts a buffer without copying it: `release(data)` runs when the response
// dies (the zero-copy read path of a bridge).
ZOB_API int zowlpResponse_adoptBytes(zowlpResponse* response, int index, void* data,
                                     int length, void (*release)(void*));
ZOB_API int zowlpResponse_setRowSet(zowlpResponse* response, int index,
                                    zowlpRowSet* rowSet);
// A response that carries a Java error (the response of a status-4 call).
ZOB_API zowlpResponse* zowlpResponse_createError(int code, const char* text);

}  // extern "C"

// Owners for one scope.
struct ZowlpRowSetDeleter {
  void operator()(zowlpRowSet* r) const { zowlpRowSet_destroy(r); }
};
struct ZowlpResponseDeleter {
  void operator()(zowlpResponse* r) const { zowlpResponse_destroy(r); }
};

#ifdef ZOH_TEST_HOOKS
#include "zob_test_hooks.h"
#endif
