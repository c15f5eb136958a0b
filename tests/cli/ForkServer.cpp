#include "ForkServer.h"

#include "ChildProcess.h"
#include "ProgramMain.h"
#include "Sanitizers.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

// Of the coverage build.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace vindrel::test {
namespace {

std::unique_ptr<ForkServer> server;

class Splitting : public testing::Environment {
  void SetUp() override {
    if (!kAddressSanitizer && !kThreadSanitizer) server = std::make_unique<ForkServer>();
  }
  void TearDown() override { server.reset(); }
};

[[maybe_unused]] testing::Environment *const registered = testing::AddGlobalTestEnvironment(new Splitting);

struct Request {
  std::uint32_t words = 0;
  std::uint32_t textBytes = 0; // of all words, the environment and the name of the output, each with its end
  long long fileSizeLimit = -1;
};

bool sendAll(int socket, const void *bytes, std::size_t count) {
  const char *at = static_cast<const char *>(bytes);
  while (count > 0) {
    const ssize_t sent = send(socket, at, count, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool receiveAll(int socket, void *bytes, std::size_t count) {
  char *at = static_cast<char *>(bytes);
  while (count > 0) {
    const ssize_t got = recv(socket, at, count, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    at += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

using Descriptors = std::array<int, 2>; // standard output and standard error

// A message's header that carries descriptors beside the request's bytes.
struct Carrier {
  Carrier(void *bytes, std::size_t count) {
    part = {bytes, count};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
  }
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(Descriptors))] = {};
  iovec part = {};
  msghdr message = {};
};

bool sendRequest(int socket, Request request, const Descriptors &descriptors) {
  Carrier carrier(&request, sizeof request);
  cmsghdr *head = CMSG_FIRSTHDR(&carrier.message);
  head->cmsg_level = SOL_SOCKET;
  head->cmsg_type = SCM_RIGHTS;
  head->cmsg_len = CMSG_LEN(sizeof descriptors);
  std::memcpy(CMSG_DATA(head), &descriptors, sizeof descriptors);
  return sendmsg(socket, &carrier.message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof request);
}

bool receiveRequest(int socket, Request &request, Descriptors &descriptors) {
  Carrier carrier(&request, sizeof request);
  if (recvmsg(socket, &carrier.message, MSG_CMSG_CLOEXEC) != static_cast<ssize_t>(sizeof request)) return false;
  const cmsghdr *head = CMSG_FIRSTHDR(&carrier.message);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS) return false;
  std::memcpy(&descriptors, CMSG_DATA(head), sizeof descriptors);
  return true;
}

[[noreturn]] void runProgram(const Request &request, const std::string &text, const Descriptors &descriptors) {
  std::vector<std::string> texts;
  for (std::size_t begin = 0; begin < text.size(); begin += texts.back().size() + 1)
    texts.emplace_back(text.c_str() + begin);
  std::vector<const char *> argv;
  for (std::uint32_t i = 0; i < request.words; ++i)
    argv.push_back(texts[i].c_str());
  RunOptions options{.standardOutput = texts.back(), .fileSizeLimit = request.fileSizeLimit};
  options.environment.assign(texts.begin() + request.words, texts.end() - 1);
  prepareChild(descriptors[0], descriptors[1], options);
  const int count = static_cast<int>(argv.size());
  argv.push_back(nullptr);
  const int code = cli::programMain(count, argv.data());
  std::fflush(nullptr);
  if (__gcov_dump != nullptr) __gcov_dump();
  // Some of the libraries wait, when they are unloaded, for threads that they had started while they were loaded.
  _exit(code);
}

[[noreturn]] void serve(int socket) {
  for (;;) {
    Request request;
    Descriptors descriptors;
    if (!receiveRequest(socket, request, descriptors)) _exit(0); // the tests are over
    std::string text(request.textBytes, '\0');
    if (!receiveAll(socket, text.data(), text.size())) _exit(1);
    const pid_t pid = fork();
    if (pid == 0) {
      close(socket);
      runProgram(request, text, descriptors);
    }
    for (const int descriptor : descriptors)
      close(descriptor);
    int status = 0;
    if (!sendAll(socket, &pid, sizeof pid)) _exit(1);
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!sendAll(socket, &status, sizeof status)) _exit(1);
  }
}

[[noreturn]] void fail(const char *what) {
  throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

ForkServer *ForkServer::instance() {
  return server.get();
}

ForkServer::ForkServer() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("socket pair");
  std::fflush(nullptr); // or every child would print what the tests have printed so far
  server_ = fork();
  if (server_ < 0) fail("fork");
  if (server_ == 0) {
    close(ends[0]);
    serve(ends[1]);
  }
  close(ends[1]);
  socket_ = ends[0];
}

ForkServer::~ForkServer() {
  close(socket_);
  while (waitpid(server_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

pid_t ForkServer::start(const std::vector<std::string> &words, const RunOptions &options, int out, int err) {
  std::string text;
  for (const std::vector<std::string> *list : {&words, &options.environment})
    for (const std::string &item : *list)
      text += item + '\0';
  text += options.standardOutput + '\0';
  const Request request{.words = static_cast<std::uint32_t>(words.size()),
                        .textBytes = static_cast<std::uint32_t>(text.size()),
                        .fileSizeLimit = options.fileSizeLimit};
  pid_t pid = -1;
  if (!sendRequest(socket_, request, {out, err}) || !sendAll(socket_, text.data(), text.size()) ||
      !receiveAll(socket_, &pid, sizeof pid) || pid < 0) {
    fail("the process that starts the program");
  }
  return pid;
}

int ForkServer::wait() {
  int status = 0;
  if (!receiveAll(socket_, &status, sizeof status)) fail("the process that starts the program");
  return status;
}

} // namespace vindrel::test
