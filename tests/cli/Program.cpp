#include "Program.h"

#include "ChildProcess.h"
#include "ForkServer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace vindrel::test {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void fail(const char *what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// A pipe or a pseudo-terminal: what the child writes to, and where the parent reads it.
struct Channel {
  int read = -1;
  int write = -1;
};

Channel openPipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
  return {ends[0], ends[1]};
}

Channel openTerminal() {
  Channel channel;
  channel.read = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (channel.read < 0 || grantpt(channel.read) != 0 || unlockpt(channel.read) != 0) fail("pseudo-terminal");
  channel.write = open(ptsname(channel.read), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (channel.write < 0) fail("pseudo-terminal");
  return channel;
}

[[noreturn]] void becomeProgram(const std::vector<std::string> &words, const RunOptions &options, int out, int err) {
  prepareChild(out, err, options);
  std::vector<char *> argv;
  for (const std::string &word : words)
    argv.push_back(const_cast<char *>(word.c_str())); // which the interface of old asks for and nobody writes to
  argv.push_back(nullptr);
  execv(argv[0], argv.data());
  _exit(127);
}

// Appends what is there to read; false at the end. A terminal whose last writer has gone reports EIO as its end.
bool drain(int descriptor, std::string &text) {
  char block[4096];
  const ssize_t got = read(descriptor, block, sizeof block);
  if (got > 0) text.append(block, static_cast<std::size_t>(got));
  return got > 0 || (got < 0 && errno == EINTR);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "vindrel-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail("mkdtemp");
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

RunOptions withoutLeakCheck() {
  return {.environment = {"LSAN_OPTIONS=detect_leaks=0"}};
}

Outcome runVindrel(const std::vector<std::string> &arguments, const RunOptions &options) {
  std::vector<std::string> words = {VINDREL_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const bool fresh = options.freshProcess || options.addressSpaceLimit >= 0;
  ForkServer *const server = fresh ? nullptr : ForkServer::instance();
  const Channel out = options.outToTerminal ? openTerminal() : openPipe();
  const Channel err = options.onTerminal ? openTerminal() : openPipe();
  const pid_t pid = server != nullptr ? server->start(words, options, out.write, err.write) : fork();
  if (pid < 0) fail("fork");
  if (pid == 0) becomeProgram(words, options, out.write, err.write);
  close(out.write);
  close(err.write);

  Outcome outcome;
  bool outOpen = true;
  bool errOpen = true;
  while (outOpen || errOpen) {
    pollfd waiting[2] = {{outOpen ? out.read : -1, POLLIN, 0}, {errOpen ? err.read : -1, POLLIN, 0}};
    if (poll(waiting, 2, -1) < 0 && errno != EINTR) fail("poll");
    if (waiting[0].revents != 0) outOpen = drain(out.read, outcome.out);
    if (waiting[1].revents != 0) {
      errOpen = drain(err.read, outcome.err);
      if (options.onTerminal) options.onTerminal(outcome.err, pid);
    }
  }
  close(out.read);
  close(err.read);
  int status = 0;
  if (server != nullptr) {
    status = server->wait();
  } else {
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

std::vector<std::string> namesIn(const fs::path &folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string readBytes(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const fs::path &path, const std::string &bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

} // namespace vindrel::test
