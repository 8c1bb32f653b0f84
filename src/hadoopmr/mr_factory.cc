// The instance's factory of MapReduce jobs. The job needs no proxy until its
// first run, so the factory does not acquire one.
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "zohadoop/ZOHadoopImpl.h"

ZOHadoopMapReduce* ZOHadoopImpl::createMapReduce(ZOHadoopCfg* cfg, ZobString* err) {
  return makeChild<ZOHadoopMRImpl>(false, err, cfg);
}
