// The program in children of a process that has its libraries loaded and has done nothing else: to load OpenImageIO
// with the 250 libraries that it brings takes longer than most runs. The process is split off before the first test
// begins, before there are threads of ours; each run is a fork of it.
#pragma once

#include "Program.h"

#include <sys/types.h>

namespace vindrel::test {

class ForkServer {
public:
  // Null where there is none: before the tests begin, and under sanitizers, which are to watch a run from its beginning
  // to its end.
  static ForkServer *instance();

  // Starts the program. out, err: descriptors that become its standard output and standard error.
  pid_t start(const std::vector<std::string> &words, const RunOptions &options, int out, int err);

  // Waits for what start() started. Returns what waitpid() would.
  int wait();

  ForkServer();
  ~ForkServer();
  ForkServer(const ForkServer &) = delete;
  ForkServer &operator=(const ForkServer &) = delete;

private:
  int socket_ = -1;
  pid_t server_ = -1;
};

} // namespace vindrel::test
