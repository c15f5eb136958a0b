// The program as a child process, and folders that vanish with the test.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vindrel::test {

// A new empty folder, removed with everything in it.
class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;

  std::filesystem::path operator/(const std::string &name) const { return path_ / name; }
  const std::filesystem::path &path() const { return path_; }

private:
  std::filesystem::path path_;
};

struct Outcome {
  int exitCode = -1; // 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

struct RunOptions {
  // Standard error is a terminal. Its output is handed over as it comes, together with the process id.
  std::function<void(const std::string &errorSoFar, int pid)> onTerminal = {};
  std::string standardOutput = {};           // write to this file instead of Outcome::out
  bool outToTerminal = false;                // standard output is a terminal, whose text is Outcome::out
  std::vector<std::string> environment = {}; // NAME=VALUE, added to the test's own
  long long addressSpaceLimit = -1;          // bytes that a fresh process may map; negative: no limit
  long long fileSizeLimit = -1;              // bytes that the program may write to one file; negative: no limit
  bool freshProcess = false;                 // the built program and not a fork (ForkServer.h)
};

// For files at whose damage libpng jumps past a string of OpenImageIO's, which the leak checker would call ours.
RunOptions withoutLeakCheck();

Outcome runVindrel(const std::vector<std::string> &arguments, const RunOptions &options = {});

// Names in the folder, hidden ones included, sorted.
std::vector<std::string> namesIn(const std::filesystem::path &folder);

std::string readBytes(const std::filesystem::path &path);
void writeBytes(const std::filesystem::path &path, const std::string &bytes);

} // namespace vindrel::test
