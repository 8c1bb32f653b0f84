// The native memory of bytes outputs. Large buffers are kept for reuse when a
// response lets them go: a stream of reads then fills the same warm memory
// each time instead of fresh pages.
#pragma once

#include <cstddef>

namespace zojni {

// At least `capacity` bytes, or null.
void* allocateNativeBuffer(std::size_t capacity);
// Gives a buffer of allocateNativeBuffer back (the release function of
// adopted response bytes).
void freeNativeBuffer(void* data);

}  // namespace zojni
