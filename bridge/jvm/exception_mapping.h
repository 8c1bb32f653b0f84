// Java exceptions to bridge statuses and error texts.
#pragma once

#include <jni.h>

#include <string>

#include "class_cache.h"
#include "zowlp.h"

namespace zojni {

// Takes the pending exception of a proxy method. An OutOfMemoryError gives
// ZOJNI_ERR_MEMORY (no response); anything else ZOJNI_ERR_JAVA with *response
// carrying the exception's code and its text (message and causes, no stack).
int takeMethodException(JNIEnv* env, const RuntimeClasses& rc, zowlpResponse** response);

// Takes the pending exception and says what it was, for creation failures;
// *outOfMemory tells an OutOfMemoryError.
std::string takeExceptionText(JNIEnv* env, const RuntimeClasses& rc, bool* outOfMemory);

}  // namespace zojni
