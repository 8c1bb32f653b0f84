// One Pig run: "RunCommands" starts the commands with the parameters and jars
// and answers the run's handle; "Wait" blocks until the run has ended.
#include "hadooppig/ZOHadoopPigImpl.h"
#include "zohadoop/ZOHadoopImpl.h"

void ZOHadoopPigImpl::mergeOptions(ZobConfigOptions* options) {
  if (options == nullptr) return;
  const int count = options->getOptionCount();
  for (int i = 0; i < count; ++i) {
    ZobString name;
    ZobString value;
    // Options are kept like parameters: a later run without options still
    // sends them, until clear.
    if (options->getOptionAt(i, &name, &value, false)) parameters_[name] = value;
  }
}

bool ZOHadoopPigImpl::buildParameterRows(JobRowSetPtr* out, ZobString* err) {
  if (parameters_.empty()) return true;
  JobRowSetPtr rows(zojniProxyRowSetCreate(proxy_, HADOOP_PIG_RUNCOMMANDS_ARGS_COLS));
  if (!rows) {
    if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 29, "(Args RowSet)");
    return false;
  }
  for (const auto& parameter : parameters_) {
    const int status = jobAddTextRow(rows.get(), parameter.first, parameter.second);
    if (status != 0) {
      if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 768, status);
      return false;
    }
  }
  *out = std::move(rows);
  return true;
}

bool ZOHadoopPigImpl::buildJarRows(JobRowSetPtr* out, ZobString* err) {
  if (jars_.empty()) return true;
  JobRowSetPtr rows(zojniProxyRowSetCreate(proxy_, HADOOP_PIG_RUNCOMMANDS_JARS_COLS));
  if (!rows) {
    if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 29, "(Jars RowSet)");
    return false;
  }
  for (const ZobString& jar : jars_) {
    const int status = jobAddTextRow(rows.get(), jar);
    if (status != 0) {
      if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 768, status);
      return false;
    }
  }
  *out = std::move(rows);
  return true;
}

bool ZOHadoopPigImpl::runCommands(HadoopPollStatus* poll, HadoopTextStatus* text,
                                  const ZobString& commands, ZobConfigOptions* options,
                                  ZobString* err) {
  mergeOptions(options);
  JobRowSetPtr parameterRows;
  if (!buildParameterRows(&parameterRows, err)) return false;
  JobRowSetPtr jarRows;
  if (!buildJarRows(&jarRows, err)) return false;

  zowlpParameter params[4];
  zohClearParams(params, 4);
  zohSetObject(&params[0], configObject_, configObject_ != 0);
  zohSetString(&params[1], commands, commands.length() > 0);
  zohSetRowSet(&params[2], parameterRows.get());
  zohSetRowSet(&params[3], jarRows.get());
  {
    JobResponse response;
    if (!owner_->callWrapper(proxy_, poll, ZOH_PIG_PROXY_NAME, "RunCommands",
                             HADOOP_PIG_RUNCOMMANDS_SIG_OUT, 4, params, response.slot(),
                             err)) {
      return false;
    }
    // No response leaves the handle of the previous run to wait on.
    if (response.held()) {
      zowlpParameter* out = response.outputs();
      if (out == nullptr) {
        if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 29, "(MapReduce Object)");
        return false;
      }
      runObject_ = out[0].value.object;
      if (text != nullptr) {
        ZobString startText;
        if (!owner_->buildText(out[1].value.rowSet, &startText, err)) return false;
        text->setStartText(startText);
      }
    }
  }
  return jobAwaitEnd(owner_, proxy_, poll, ZOH_PIG_PROXY_NAME, "Wait",
                     HADOOP_PIG_WAIT_SIG_OUT, runObject_, text, err);
}
