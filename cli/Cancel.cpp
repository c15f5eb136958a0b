#include "Cancel.h"

#include "Failure.h"

#include <atomic>
#include <csignal>

namespace vindrel::cli {
namespace {

std::atomic<bool> requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch nothing that takes a lock");

void onSignal(int) {
  requested.store(true);
}

} // namespace

void installCancelHandlers() {
  struct sigaction action = {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  // Interrupted reads and writes go on: where to stop is decided by those who ask, not by where the signal hits.
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction current = {};
    if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
  // A write past the file-size limit then fails with EFBIG, which names the file, instead of killing the program.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigemptyset(&ignore.sa_mask);
  sigaction(SIGXFSZ, &ignore, nullptr);
}

bool cancelRequested() {
  return requested.load();
}

void throwIfCancelled() {
  if (cancelRequested()) throw Failure(ExitCode::Failed, "cancelled");
}

} // namespace vindrel::cli
