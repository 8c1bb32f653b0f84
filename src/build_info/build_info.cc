// The library's build identity, read by hosts through the exported globals.
#include "ZOHadoop.h"

extern "C" {
ZOHADOOP_API int zox_build_number = 34;
ZOHADOOP_API const char* zox_build_info = "Hadoop Client version 1.6 (build 34)";
ZOHADOOP_API const char* zox_build_version = "1.6";
}
