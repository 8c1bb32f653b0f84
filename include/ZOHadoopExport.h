// Visibility of the Hadoop client library's external interfaces. The library is
// built with hidden visibility; only what carries ZOHADOOP_API leaves it.
#pragma once

#if defined(__GNUC__)
#define ZOHADOOP_API __attribute__((visibility("default")))
#else
#define ZOHADOOP_API
#endif
