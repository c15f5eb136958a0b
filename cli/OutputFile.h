// Outputs appear whole or not at all. A file is written aside, in the folder where it will stand, forced to disk, and
// renamed as the last step; whatever ends the run before that removes what was written aside. A run with several
// outputs writes them all before it renames the first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace vindrel::cli {

// The folder given with -o: made when it is missing, together with its parents. Folders that this object made are
// removed again if the run ends before keep().
class OutputFolder {
public:
  explicit OutputFolder(const std::filesystem::path &folder);
  ~OutputFolder();
  OutputFolder(const OutputFolder &) = delete;
  OutputFolder &operator=(const OutputFolder &) = delete;

  // Forces the folder's entries to disk and leaves the folder where it is.
  void keep();

private:
  std::filesystem::path folder_;
  std::filesystem::path firstMade_; // the topmost folder that did not exist before; empty: all existed
  bool kept_ = false;
};

// Throws WouldOverwrite when something stands at `target` and may not be replaced. A folder, a device or a pipe never
// is: a file renamed to /dev/null would be in everybody's way. `option` is the one that names the target.
void checkTarget(const std::filesystem::path &target, bool overwrite, const char *option = "-o");

class OutputFile {
public:
  OutputFile(std::filesystem::path target, bool overwrite);
  OutputFile(OutputFile &&other) noexcept;
  OutputFile &operator=(OutputFile &&) = delete;
  ~OutputFile();

  const std::filesystem::path &target() const { return target_; }

  // Where the content is until publish(), for an encoder that insists on opening the file itself.
  const std::filesystem::path &aside() const { return aside_; }

  // Random access for encoders, returning the bytes moved. The first failed write is remembered, and finish() reports
  // it, however the encoder takes it.
  std::size_t writeAt(const void *bytes, std::size_t count, std::int64_t offset);
  std::size_t readAt(void *bytes, std::size_t count, std::int64_t offset) const;
  std::int64_t size() const;

  // Ends the file behind `count` bytes; false, and remembered like a failed write, when that fails.
  bool cutAt(std::int64_t count);

  // For mapping the content into memory. It stays this object's.
  int descriptor() const { return descriptor_; }

  // True while every write has succeeded.
  bool good() const { return firstError_ == 0; }

  // Writes `bytes` behind what is there.
  void append(const void *bytes, std::size_t count);

  // Forces the content to disk and closes. Throws when a write failed.
  void finish();

  // Gives the finished file its name. Without `overwrite` a file that has appeared there meanwhile stays untouched.
  void publish();

private:
  std::filesystem::path target_;
  std::filesystem::path aside_; // empty once published
  bool overwrite_;
  int descriptor_ = -1;
  int firstError_ = 0; // errno of the first failed write
};

} // namespace vindrel::cli
