// The instance's factory of Pig clients. The client derives its own proxy in
// init, so the factory does not acquire the main one.
#include "hadooppig/ZOHadoopPigImpl.h"
#include "zohadoop/ZOHadoopImpl.h"

ZOHadoopPig* ZOHadoopImpl::createPig(ZOHadoopCfg* cfg, const ZobString& proxyDirectory,
                                     ZobString* err) {
  return makeChild<ZOHadoopPigImpl>(false, err, cfg, proxyDirectory);
}
