// Wire records to Java values and back.
//
// Inputs: object -> Long, bool -> Boolean, int -> Integer, string -> String,
// bytes -> a read-only direct ByteBuffer over the caller's bytes (no copy),
// row set -> RowSet; a record that is not present becomes null. Outputs take
// the same Java types; bytes may also come as byte[] or a heap ByteBuffer.
// Texts cross as real UTF-8 both ways (not JNI's modified UTF-8, which would
// mangle characters outside the Basic Multilingual Plane).
#pragma once

#include <jni.h>

#include <string>

#include "class_cache.h"
#include "zowlp.h"

namespace zojni {

class CallScope;

bool isWireType(int32_t code);

// A Java string of UTF-8 bytes; null with a pending exception on failure.
jstring newJavaString(JNIEnv* env, const char* utf8, size_t length);
// The UTF-8 form of a Java string; false with a pending exception on failure.
bool javaToUtf8(JNIEnv* env, jstring text, std::string* out);

// One input record as a Java value (a new local reference, or null). Status
// ZOJNI_OK, ZOJNI_ERR_INPUT_TYPE, ZOJNI_ERR_ARGUMENT (a malformed present
// value) or ZOJNI_ERR_MEMORY.
int toJava(JNIEnv* env, const RuntimeClasses& rc, const zowlpParameter& record,
           jobject* out);

// The method's outputs (an Object[], or null for a method without outputs)
// as a response of `signature`; adopts native buffers of `scope` without
// copying. ZOJNI_OK, ZOJNI_ERR_OUTPUT_TYPE or ZOJNI_ERR_MEMORY; *response stays
// null on failure.
int toResponse(JNIEnv* env, const RuntimeClasses& rc, jobjectArray outputs,
               const char* signature, CallScope* scope, zowlpResponse** response);

}  // namespace zojni
