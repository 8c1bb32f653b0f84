// The end of a started run that a MapReduce job and a Pig run share.
#pragma once

#include <cstdint>

#include "hadoop_status.h"
#include "zob_string.h"
#include "zojni.h"

class ZohCalls;

// Waits for a started job or run (`method` with the handle alone) and hands its
// text on: to the sink's setFinalText when the job succeeded, into `err` when it
// did not. `proxy` null calls through the instance's main proxy. A wait that
// answers nothing readable counts as success.
bool jobAwaitEnd(ZohCalls* owner, zojniProxy* proxy, HadoopPollStatus* poll,
                 const char* proxyName, const char* method, const char* signature,
                 int64_t handle, HadoopTextStatus* text, ZobString* err);
