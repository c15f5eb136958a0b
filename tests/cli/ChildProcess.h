// What a child process does before it becomes the program.
#pragma once

#include "Program.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vindrel::test {

// out, err: descriptors that become standard output and standard error. Ends the child with 126 when anything fails.
inline void prepareChild(int out, int err, const RunOptions &options) {
  // A test runner in the background hands down ignored interrupts.
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  if (!options.standardOutput.empty()) out = open(options.standardOutput.c_str(), O_WRONLY | O_CREAT, 0666);
  if (out < 0 || dup2(out, STDOUT_FILENO) < 0 || dup2(err, STDERR_FILENO) < 0) _exit(126);
  for (const std::string &variable : options.environment) {
    const std::size_t equals = variable.find('=');
    if (setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1) != 0) _exit(126);
  }
  const auto limit = [](auto resource, long long bytes) {
    const rlimit value = {static_cast<rlim_t>(bytes), static_cast<rlim_t>(bytes)};
    if (bytes >= 0 && setrlimit(resource, &value) != 0) _exit(126);
  };
  limit(RLIMIT_FSIZE, options.fileSizeLimit);
  limit(RLIMIT_AS, options.addressSpaceLimit);
}

} // namespace vindrel::test
