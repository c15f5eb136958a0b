#include "vindrel/Guard.h"
#include "vindrel/transforms_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vindrel {
namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20; // bytes; a stack of thousands of frames takes a hundredth

constexpr int kMostParts = 1000; // names tried for the file that is written aside

struct Close {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

Error fileError(const std::filesystem::path &file, const char *what, int reason) {
  return {ErrorCode::FileSystem, file.string() + ": " + what + ": " + std::generic_category().message(reason)};
}

// A new file beside `file`, in `part` its name: none that is there already is touched, nor is one that another thread
// or process is about to put there.
File openBeside(const std::filesystem::path &file, std::filesystem::path &part) {
  for (int i = 0;; ++i) {
    part = file;
    part += '.';
    part += std::to_string(i);
    part += ".part";
    File out(std::fopen(part.c_str(), "wbx"));
    if (out || errno != EEXIST || i == kMostParts) return out;
  }
}

// 0, or the errno of what failed.
int writeAll(File out, const std::string &text) {
  errno = 0;
  const bool written = std::fwrite(text.data(), 1, text.size(), out.get()) == text.size() &&
                       std::fflush(out.get()) == 0 && ::fsync(::fileno(out.get())) == 0;
  const int reason = errno;
  if (std::fclose(out.release()) != 0 && written) return errno;
  return written ? 0 : (reason != 0 ? reason : EIO);
}

// Devices, pipes and folders are not replaced: a file renamed to /dev/null would be in everybody's way.
bool standsInTheWay(const std::filesystem::path &file) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
}

} // namespace

Result<void> saveTransforms(const TransformsFile &transforms, const std::filesystem::path &file) {
  return guarded([&]() -> Result<void> {
    const Result<std::string> text = toJson(transforms);
    if (!text) return text.error();
    if (standsInTheWay(file)) {
      return Error{ErrorCode::FileSystem, file.string() + ": is a folder, a device or a pipe; give the name of a file"};
    }
    std::filesystem::path part;
    File out = openBeside(file, part);
    if (!out) return fileError(file, "cannot be written", errno);
    int reason = writeAll(std::move(out), *text);
    if (reason == 0 && std::rename(part.c_str(), file.c_str()) != 0) reason = errno;
    if (reason == 0) return {};
    std::remove(part.c_str());
    return fileError(file, "cannot be written", reason);
  });
}

Result<TransformsFile> loadTransforms(const std::filesystem::path &file) {
  return guarded([&]() -> Result<TransformsFile> {
    const File in(std::fopen(file.c_str(), "rb"));
    if (!in) return fileError(file, "cannot be opened", errno);
    std::string text;
    char block[1 << 14];
    while (const std::size_t got = std::fread(block, 1, sizeof block, in.get())) {
      text.append(block, got);
      if (text.size() > kLargestFile) return Error{ErrorCode::BadFile, file.string() + ": is too large for transforms"};
    }
    if (std::ferror(in.get()) != 0) return fileError(file, "cannot be read", errno);
    Result<TransformsFile> result = fromJson(text);
    if (!result) return Error{result.error().code, file.string() + ": " + result.error().message};
    return result;
  });
}

} // namespace vindrel
