#include "OutputFile.h"

#include "Failure.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vindrel::cli {
namespace fs = std::filesystem;
namespace {

std::string errorText(int error) {
  return std::generic_category().message(error);
}

[[noreturn]] void failToWrite(const fs::path &target, int error) {
  throw Failure(ExitCode::Failed, target.string() + ": cannot be written: " + errorText(error));
}

void removeMadeFolders(const fs::path &firstMade, fs::path folder) {
  // rmdir refuses a folder that holds something, so nothing of anybody else's can go.
  for (;;) {
    if (::rmdir(folder.c_str()) != 0 || folder == firstMade || !folder.has_relative_path()) return;
    folder = folder.parent_path();
  }
}

} // namespace

OutputFolder::OutputFolder(const fs::path &folder) {
  std::error_code error;
  folder_ = fs::absolute(folder, error).lexically_normal();
  if (error) throw Failure(ExitCode::Failed, folder.string() + ": " + error.message());
  if (!folder_.has_filename()) folder_ = folder_.parent_path(); // "out/" is "out"

  for (fs::path path = folder_; !fs::exists(path, error) && path.has_relative_path(); path = path.parent_path()) {
    firstMade_ = path;
  }
  fs::create_directories(folder_, error);
  if (error || !fs::is_directory(folder_)) {
    const std::string why = error ? error.message() : errorText(ENOTDIR);
    if (!firstMade_.empty()) removeMadeFolders(firstMade_, folder_);
    throw Failure(ExitCode::Failed,
                  folder.string() + ": cannot be used as the output folder: " + why + "; give another one with -o");
  }
  if (::access(folder_.c_str(), W_OK | X_OK) != 0) {
    const int reason = errno;
    if (!firstMade_.empty()) removeMadeFolders(firstMade_, folder_);
    throw Failure(ExitCode::Failed,
                  folder.string() + ": cannot be written to: " + errorText(reason) + "; give another folder with -o");
  }
}

OutputFolder::~OutputFolder() {
  if (!kept_ && !firstMade_.empty()) removeMadeFolders(firstMade_, folder_);
}

void OutputFolder::keep() {
  kept_ = true;
  const int descriptor = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return; // a folder that may be written but not listed: the names reach the disk a little later
  ::fsync(descriptor);
  ::close(descriptor);
}

void checkTarget(const fs::path &target, bool overwrite, const char *option) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(target, error);
  if (!fs::exists(status)) return;
  const std::string elsewhere = std::string("; give another place with ") + option;
  if (fs::is_directory(status)) {
    throw Failure(ExitCode::WouldOverwrite, target.string() + ": a folder of this name exists" + elsewhere);
  }
  const fs::file_status meant = fs::status(target, error); // of what a link leads to
  if (fs::exists(meant) && !fs::is_regular_file(meant) && !fs::is_directory(meant)) {
    throw Failure(ExitCode::WouldOverwrite,
                  target.string() + ": is a device or a pipe, and never replaced" + elsewhere);
  }
  if (!overwrite) {
    throw Failure(ExitCode::WouldOverwrite,
                  target.string() + ": exists already" + elsewhere + ", or --overwrite to replace it");
  }
}

OutputFile::OutputFile(fs::path target, bool overwrite) : target_(std::move(target)), overwrite_(overwrite) {
  static std::atomic<int> counter{0};
  // Short, so that it fits wherever the target's own name fits, and hidden from listings and shell patterns.
  for (;;) {
    const std::string name = ".vindrel-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".part";
    fs::path aside = target_.parent_path() / name;
    descriptor_ = ::open(aside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) {
      aside_ = std::move(aside);
      return;
    }
    if (errno != EEXIST) failToWrite(target_, errno);
  }
}

OutputFile::OutputFile(OutputFile &&other) noexcept
    : target_(std::move(other.target_)), aside_(std::exchange(other.aside_, {})), overwrite_(other.overwrite_),
      descriptor_(std::exchange(other.descriptor_, -1)), firstError_(other.firstError_) {}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!aside_.empty()) ::unlink(aside_.c_str());
}

std::size_t OutputFile::writeAt(const void *bytes, std::size_t count, std::int64_t offset) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t written =
        ::pwrite(descriptor_, static_cast<const char *>(bytes) + done, count - done, offset + static_cast<off_t>(done));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (firstError_ == 0) firstError_ = written < 0 ? errno : ENOSPC;
      break;
    }
    done += static_cast<std::size_t>(written);
  }
  return done;
}

std::size_t OutputFile::readAt(void *bytes, std::size_t count, std::int64_t offset) const {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got =
        ::pread(descriptor_, static_cast<char *>(bytes) + done, count - done, offset + static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

std::int64_t OutputFile::size() const {
  struct stat status = {};
  return ::fstat(descriptor_, &status) == 0 ? static_cast<std::int64_t>(status.st_size) : 0;
}

bool OutputFile::cutAt(std::int64_t count) {
  if (::ftruncate(descriptor_, static_cast<off_t>(count)) == 0) return true;
  if (firstError_ == 0) firstError_ = errno;
  return false;
}

void OutputFile::append(const void *bytes, std::size_t count) {
  if (writeAt(bytes, count, size()) != count) failToWrite(target_, firstError_);
}

void OutputFile::finish() {
  if (firstError_ == 0 && ::fsync(descriptor_) != 0) firstError_ = errno;
  if (::close(std::exchange(descriptor_, -1)) != 0 && firstError_ == 0) firstError_ = errno;
  if (firstError_ != 0) failToWrite(target_, firstError_);
}

void OutputFile::publish() {
  if (!overwrite_) {
    if (::renameat2(AT_FDCWD, aside_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) {
      aside_.clear();
      return;
    }
    // Some network file systems do not know the flag: there the look before the rename has to do.
    if (errno != EINVAL && errno != EEXIST) failToWrite(target_, errno);
    checkTarget(target_, false);
  }
  if (::rename(aside_.c_str(), target_.c_str()) != 0) failToWrite(target_, errno);
  aside_.clear();
}

} // namespace vindrel::cli
