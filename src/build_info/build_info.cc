// The library's build identity, read by hosts through the exported globals.
#include "ZOHadoop.h"
#include "zoh_version.h"

#define ZOH_TEXT(x) #x
#define ZOH_NUMBER_TEXT(x) ZOH_TEXT(x)

extern "C" {
ZOHADOOP_API int zox_build_number = ZOH_BUILD_NUMBER;
ZOHADOOP_API const char* zox_build_info =
    "Hadoop Client version " ZOH_VERSION " (build " ZOH_NUMBER_TEXT(ZOH_BUILD_NUMBER) ")";
ZOHADOOP_API const char* zox_build_version = ZOH_VERSION;
}
