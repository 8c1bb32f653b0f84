// The one JVM of the process and the attachment of calling threads to it.
#pragma once

#include <jni.h>

#include <string>

namespace zojni {

// The calling thread's JNIEnv, starting the JVM on first use (or adopting the
// one the host already runs) and attaching the thread once; the thread is
// detached when it ends. ZOJNI_OK, or ZOJNI_ERR_JVM with `why` set.
int currentEnv(JNIEnv** env, std::string* why);

// The environment of a thread already known to be attached, or null.
JNIEnv* attachedEnv();

// Whether the bridge attached the calling thread itself (and so may leave
// thread state such as the context class loader set between calls).
bool bridgeAttachedThread();

}  // namespace zojni
