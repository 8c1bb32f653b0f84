// Test hooks of the JVM bridge.
#pragma once

extern "C" {
// Global JNI references the bridge holds right now.
__attribute__((visibility("default"))) int zojniJvmTestGlobalRefs();
// Poll callbacks made by the calling thread's most recent proxy call.
__attribute__((visibility("default"))) int zojniJvmTestLastCallPolls();
}
