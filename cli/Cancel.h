// Ctrl-C and SIGTERM ask the run to stop: long steps look at the request and unwind, so that every destructor removes
// what it has half written.
#pragma once

namespace vindrel::cli {

// Routes SIGINT, SIGTERM and SIGHUP to the request. A signal that the parent had set to be ignored stays ignored.
void installCancelHandlers();

bool cancelRequested();

// Throws a Failure when cancellation was requested.
void throwIfCancelled();

} // namespace vindrel::cli
