// Visibility of the platform runtime's own symbols. The runtime is built with
// hidden visibility by default; everything a host or the Hadoop client library
// may call carries ZOB_API.
#pragma once

#if defined(__GNUC__)
#define ZOB_API __attribute__((visibility("default")))
#else
#define ZOB_API
#endif
