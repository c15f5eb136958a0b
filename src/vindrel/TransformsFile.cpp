#include "vindrel/Guard.h"
#include "vindrel/transforms_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

namespace vindrel {
namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20; // bytes; a stack of thousands of frames takes a hundredth

struct Close {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

Error fileError(const std::filesystem::path &file, const char *what, int reason) {
  return {ErrorCode::FileSystem, file.string() + ": " + what + ": " + std::generic_category().message(reason)};
}

bool writeAll(const std::filesystem::path &file, const std::string &text) {
  File out(std::fopen(file.c_str(), "wb"));
  if (!out) return false;
  const bool written = std::fwrite(text.data(), 1, text.size(), out.get()) == text.size();
  return std::fclose(out.release()) == 0 && written;
}

} // namespace

Result<void> saveTransforms(const TransformsFile &transforms, const std::filesystem::path &file) {
  return guarded([&]() -> Result<void> {
    const Result<std::string> text = toJson(transforms);
    if (!text) return text.error();
    std::filesystem::path part = file;
    part += ".part";
    if (writeAll(part, *text) && std::rename(part.c_str(), file.c_str()) == 0) return {};
    const int reason = errno;
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
