// The program as a function, so that tests can run it without starting its many libraries anew each time.
#pragma once

namespace vindrel::cli {

// Returns the exit code. Nothing is thrown, and results have been written to standard output.
int programMain(int argc, const char *const *argv);

} // namespace vindrel::cli
