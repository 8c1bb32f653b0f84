// The instance's factory of HDFS service objects.
#include "ZOHadoopHDFSImpl.h"
#include "zohadoop/ZOHadoopImpl.h"

ZOHadoopHDFS* ZOHadoopImpl::createHDFS(ZOHadoopCfg* cfg, ZobString* err) {
  return makeChild<ZOHadoopHDFSImpl>(true, err, cfg);
}
