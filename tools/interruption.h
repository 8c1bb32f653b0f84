// Ctrl-C during a transfer: the copy loops stop at their next step and clean
// up (their temporary file goes away) instead of dying half-way.
#pragma once

namespace zohtool {

// From here on SIGINT, SIGTERM and SIGHUP only mark the process as
// interrupted (a second one ends it at once). Call once the JVM runs: it
// installs its own handlers when it starts.
void catchInterrupts();
bool interrupted();

// The exit status of a command stopped by a signal, as a shell reports it.
constexpr int kInterruptedStatus = 130;

}  // namespace zohtool
