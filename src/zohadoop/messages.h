// Catalogue messages of this library, and the names of the main proxy.
#pragma once

#include "zob_catalogue.h"

// A catalogue message of this library, tagged with the calling source file.
#define ZOH_MESSAGE(tag, id, ...) \
  zob_get_message((tag), __LINE__, ZOB_HADOOP_COMPONENT, (id), ##__VA_ARGS__)

// Names of the main proxy.
#define ZOH_HADOOP_PROXY_JAR "zox-proxy-hadoop.jar"
#define ZOH_HADOOP_PROXY_NAME "HadoopClient"
#define ZOH_HADOOP_PROXY_CLASS "com.zorvanta.proxy.hadoop.HadoopClientJPC"
