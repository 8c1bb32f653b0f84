// The private Hadoop objects that each adapter builds for its URI.
#pragma once

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "zob_string.h"
#include "zob_uri.h"

#define ZOH_BASEIO_TAG "src/hadoopbaseio"

// A fresh instance, a configuration from `uri` and an HDFS service on it. On
// failure nothing stays allocated, the three outputs are null and err holds the
// text of the step that failed.
bool getHDFS(ZoHadoopURI* uri, ZOHadoop** hadoop, ZOHadoopCfg** cfg, ZOHadoopHDFS** hdfs,
             ZobString* err);
