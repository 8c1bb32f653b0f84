// The entry points of the host's file framework, exported undecorated.
#pragma once

#include "ZOHadoopExport.h"
#include "zob_framework.h"
#include "zob_string.h"
#include "zob_txtfile.h"
#include "zob_uri.h"

extern "C" {
// A raw byte stream on the URI's file, not yet open. `uri` must outlive it.
// - Reads, writes, skips and size() on a stream that was never opened answer
//   -1 with no text of the stream's own (getErrorMessage() stays empty);
//   close() answers true.
// - skipBytes answers 0 when the file ends first, even after it skipped some.
// - release() without close() drops the bytes a writing stream still holds.
ZOHADOOP_API ZobIORaw* createRawIO(ZoHadoopURI* uri, ZobString* err);
// A walk of the URI's directory, already open. `flags`: bit 31 directories only,
// bit 30 files only.
ZOHADOOP_API ZobDirectoryListing* createDirectoryListing(ZobIO* io, ZoHadoopURI* uri,
                                                         int flags, ZobString* err);
}

// Listing filter bits.
#define ZOB_LISTING_DIRECTORIES_ONLY (1u << 31)
#define ZOB_LISTING_FILES_ONLY (1u << 30)
