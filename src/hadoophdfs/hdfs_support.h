// Pieces shared by the HDFS service, file and directory objects: the source tag
// of their log lines and messages, and the proxy they call.
#pragma once

#define ZOH_HDFS_TAG "src/hadoophdfs"
#define ZOH_HDFS_PROXY "HadoopClient"
