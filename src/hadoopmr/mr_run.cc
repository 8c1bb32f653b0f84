// One run of a MapReduce job: the description goes out as a property row set with
// "MapReduceRun", then "MapReduceWait" blocks until the job has ended.
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadoopmr/job_wire.h"
#include "zohadoop/ZOHadoopImpl.h"

namespace {
const char kProxyName[] = ZOH_HADOOP_PROXY_NAME;
const ZobString kDeleteOutputKey("HADOOP_MAPREDUCE_DELETE_OUTPUT", true);
const ZobString kInputPathKey("HADOOP_MAPREDUCE_PATH_INPUT", true);
const ZobString kJarKey("HADOOP_MAPREDUCE_JAR", true);
}  // namespace

bool ZOHadoopMRImpl::fillPropertyRows(zowlpRowSet* rows, bool deleteOutput,
                                      ZobString* err) {
  int status = 0;
  for (auto entry = properties_.begin(); status == 0 && entry != properties_.end();
       ++entry) {
    status = jobAddTextRow(rows, entry->first, entry->second);
  }
  // An empty value goes as null: the delete-output row carries no value at all.
  if (status == 0 && deleteOutput) {
    status = jobAddTextRow(rows, kDeleteOutputKey, ZobString());
  }
  for (auto path = inputPaths_.begin(); status == 0 && path != inputPaths_.end();
       ++path) {
    status = jobAddTextRow(rows, kInputPathKey, *path);
  }
  for (auto jar = jars_.begin(); status == 0 && jar != jars_.end(); ++jar) {
    status = jobAddTextRow(rows, kJarKey, *jar);
  }
  if (status != 0) {
    if (err != nullptr) *err = ZOH_MESSAGE(ZOH_MR_TAG, 768, status);
    return false;
  }
  return true;
}

bool ZOHadoopMRImpl::run(HadoopPollStatus* poll, HadoopTextStatus* text,
                         bool deleteOutput, ZobString* err) {
  if (!getProxy(err)) return false;

  JobRowSetPtr rows;
  const bool described =
      deleteOutput || !properties_.empty() || !inputPaths_.empty() || !jars_.empty();
  if (described) {
    rows.reset(instance_->createRowSet(HADOOP_MAPREDUCE_RUN_PROPS_COLS, err));
    if (!rows) return false;
    if (!fillPropertyRows(rows.get(), deleteOutput, err)) return false;
  }

  zowlpParameter params[2];
  zohClearParams(params, 2);
  zohSetObject(&params[0], jobHandle_);
  zohSetRowSet(&params[1], rows.get());
  {
    JobResponse response;
    if (!instance_->callWrapper(poll, kProxyName, "MapReduceRun",
                                HADOOP_MAPREDUCE_RUN_SIG_OUT, 2, params, response.slot(),
                                err)) {
      return false;
    }
    // The start text is only for a sink; without one the response is not read.
    zowlpParameter* out = text != nullptr ? response.outputs() : nullptr;
    if (out != nullptr) {
      ZobString startText;
      if (!instance_->buildText(out[0].value.rowSet, &startText, err)) return false;
      text->setStartText(startText);
    }
  }
  return jobAwaitEnd(instance_, nullptr, poll, kProxyName, "MapReduceWait",
                     HADOOP_MAPREDUCE_WAIT_SIG_OUT, jobHandle_, text, err);
}
