// One Pig run: "RunCommands" starts the commands with the parameters and jars
// and answers the run's handle; "Wait" blocks until the run has ended.
#include "hadooppig/ZOHadoopPigImpl.h"
#include "hadoopmr/job_wire.h"
#include "zohadoop/hadoop_calls.h"

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

namespace {

// An empty text row set of the Pig proxy; `label` names it in the failure text.
bool startRows(zojniProxy* proxy, const char* columns, const char* label,
               ZohTextRows* rows, ZobString* err) {
  *rows = ZohTextRows(zojniProxyRowSetCreate(proxy, columns), ZOH_PIG_TAG);
  if (*rows) return true;
  if (err != nullptr) *err = ZOH_MESSAGE(ZOH_PIG_TAG, 29, label);
  return false;
}

}  // namespace

bool ZOHadoopPigImpl::buildParameterRows(ZohTextRows* rows, ZobString* err) {
  if (parameters_.empty()) return true;
  if (!startRows(proxy_, HADOOP_PIG_RUNCOMMANDS_ARGS_COLS, "(Args RowSet)", rows, err)) {
    return false;
  }
  for (const auto& parameter : parameters_) {
    if (!rows->add(parameter.first, parameter.second, parameter.second.length() > 0, err)) {
      return false;
    }
  }
  return true;
}

bool ZOHadoopPigImpl::buildJarRows(ZohTextRows* rows, ZobString* err) {
  if (jars_.empty()) return true;
  if (!startRows(proxy_, HADOOP_PIG_RUNCOMMANDS_JARS_COLS, "(Jars RowSet)", rows, err)) {
    return false;
  }
  for (const ZobString& jar : jars_) {
    if (!rows->add(jar, err)) return false;
  }
  return true;
}

bool ZOHadoopPigImpl::runCommands(HadoopPollStatus* poll, HadoopTextStatus* text,
                                  const ZobString& commands, ZobConfigOptions* options,
                                  ZobString* err) {
  mergeOptions(options);
  ZohTextRows parameterRows(nullptr, ZOH_PIG_TAG);
  if (!buildParameterRows(&parameterRows, err)) return false;
  ZohTextRows jarRows(nullptr, ZOH_PIG_TAG);
  if (!buildJarRows(&jarRows, err)) return false;

  zowlpParameter params[4];
  zohClearParams(params, 4);
  zohSetObject(&params[0], configObject_, configObject_ != 0);
  zohSetString(&params[1], commands, commands.length() > 0);
  zohSetRowSet(&params[2], parameterRows.get());
  zohSetRowSet(&params[3], jarRows.get());
  {
    ZohResponse response;
    if (!owner_->callWrapper(proxy_, poll, ZOH_PIG_PROXY_NAME, "RunCommands",
                             HADOOP_PIG_RUNCOMMANDS_SIG_OUT, 4, params, response.slot(),
                             err)) {
      return false;
    }
    // No response leaves the handle of the previous run to wait on.
    if (response.held()) {
      zowlpParameter* out = nullptr;
      if (!response.read(HADOOP_PIG_RUNCOMMANDS_SIG_OUT, &out,
                         {ZOH_PIG_TAG, "(MapReduce Object)"}, err)) {
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
