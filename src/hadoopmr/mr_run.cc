// One run of a MapReduce job: the description goes out as a property row set with
// "MapReduceRun", then "MapReduceWait" blocks until the job has ended.
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadoopmr/job_wire.h"
#include "zohadoop/hadoop_calls.h"

namespace {
const char kProxyName[] = ZOH_HADOOP_PROXY_NAME;
const ZobString kDeleteOutputKey("HADOOP_MAPREDUCE_DELETE_OUTPUT", true);
const ZobString kInputPathKey("HADOOP_MAPREDUCE_PATH_INPUT", true);
const ZobString kJarKey("HADOOP_MAPREDUCE_JAR", true);
}  // namespace

bool ZOHadoopMRImpl::fillPropertyRows(ZohTextRows* rows, bool deleteOutput,
                                      ZobString* err) {
  // An empty value goes as null, as the Java side reads both alike.
  for (const auto& entry : properties_) {
    if (!rows->add(entry.first, entry.second, entry.second.length() > 0, err)) return false;
  }
  // The delete-output row carries no value at all.
  if (deleteOutput && !rows->add(kDeleteOutputKey, ZobString(), false, err)) return false;
  for (const ZobString& path : inputPaths_) {
    if (!rows->add(kInputPathKey, path, path.length() > 0, err)) return false;
  }
  for (const ZobString& jar : jars_) {
    if (!rows->add(kJarKey, jar, jar.length() > 0, err)) return false;
  }
  return true;
}

bool ZOHadoopMRImpl::run(HadoopPollStatus* poll, HadoopTextStatus* text,
                         bool deleteOutput, ZobString* err) {
  if (!getProxy(err)) return false;

  ZohTextRows rows(nullptr, ZOH_MR_TAG);
  const bool described =
      deleteOutput || !properties_.empty() || !inputPaths_.empty() || !jars_.empty();
  if (described) {
    rows = ZohTextRows(instance_->createRowSet(HADOOP_MAPREDUCE_RUN_PROPS_COLS, err),
                       ZOH_MR_TAG);
    if (!rows) return false;
    if (!fillPropertyRows(&rows, deleteOutput, err)) return false;
  }

  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], jobHandle_);
  zohSetRowSet(&params[1], rows.get());
  {
    ZohResponse response;
    if (!instance_->callWrapper(poll, kProxyName, "MapReduceRun",
                                HADOOP_MAPREDUCE_RUN_SIG_OUT, 2, params, response.slot(),
                                err)) {
      return false;
    }
    // The start text is only for a sink; without one the response is not read.
    zowlpParameter* out = nullptr;
    if (text != nullptr && response.outputs(HADOOP_MAPREDUCE_RUN_SIG_OUT, &out) == 0) {
      ZobString startText;
      if (!instance_->buildText(out[0].value.rowSet, &startText, err)) return false;
      text->setStartText(startText);
    }
  }
  return jobAwaitEnd(instance_, nullptr, poll, kProxyName, "MapReduceWait",
                     HADOOP_MAPREDUCE_WAIT_SIG_OUT, jobHandle_, text, err);
}
