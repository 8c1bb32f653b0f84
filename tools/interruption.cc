#include "interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

namespace zohtool {

namespace {

std::atomic<bool> gInterrupted{false};
std::atomic<bool> gHandedOn{false};
pthread_t gMainThread;

void onSignal(int signal) {
  const bool onMain = pthread_equal(pthread_self(), gMainThread);
  if (onMain && gHandedOn.exchange(false)) return;
  // A second signal while the cleanup hangs ends the process.
  if (gInterrupted.exchange(true)) _exit(kInterruptedStatus);
  // The signal may land on one of the JVM's threads while ours sits in a
  // read: hand it on so that the read returns EINTR.
  if (!onMain) {
    gHandedOn.store(true);
    pthread_kill(gMainThread, signal);
  }
}

}  // namespace

void catchInterrupts() {
  gMainThread = pthread_self();
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a blocked read must come back.
  action.sa_flags = 0;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

bool interrupted() { return gInterrupted.load(); }

}  // namespace zohtool
