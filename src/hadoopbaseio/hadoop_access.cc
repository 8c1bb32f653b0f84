#include "hadoop_access.h"

bool getHDFS(ZoHadoopURI* uri, ZOHadoop** hadoop, ZOHadoopCfg** cfg, ZOHadoopHDFS** hdfs,
             ZobString* err) {
  *hadoop = nullptr;
  *cfg = nullptr;
  *hdfs = nullptr;
  *hadoop = zoHadoopCreate(err);
  if (*hadoop == nullptr) return false;
  *cfg = (*hadoop)->createConfiguration(uri, err);
  if (*cfg != nullptr) {
    *hdfs = (*hadoop)->createHDFS(*cfg, err);
    if (*hdfs != nullptr) return true;
  }
  if (*cfg != nullptr) {
    (*cfg)->release();
    *cfg = nullptr;
  }
  (*hadoop)->release();
  *hadoop = nullptr;
  return false;
}
