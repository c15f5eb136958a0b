#include "HuginRun.h"
#include "TimedPair.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vindrel::bench {
namespace {

namespace fs = std::filesystem;

// A folder that is gone with its contents at the end.
class TemporaryFolder {
public:
  TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "bench_peers.XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;

  const fs::path &path() const { return path_; }

private:
  fs::path path_;
};

// Processor time of a program from start to end; nothing when it fails.
std::optional<double> secondsOf(std::vector<std::string> arguments) {
  std::vector<char *> pointers;
  for (std::string &argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) != nullptr && std::freopen("/dev/null", "w", stderr) != nullptr)
      execvp(pointers[0], pointers.data());
    _exit(127);
  }
  int status = 0;
  rusage usage = {};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return std::nullopt;
  const auto seconds = [](const timeval &time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

std::optional<double> huginSeconds(StackScene &scene) {
  const TemporaryFolder folder;
  if (folder.path().empty()) return std::nullopt;
  const std::vector<int> uncompressed = {cv::IMWRITE_TIFF_COMPRESSION, 1};
  std::vector<std::string> files;
  const Stopwatch writing(1);
  for (int i = 0; i < scene.count(); ++i) {
    // The order of the colours is of no account to either side.
    const cv::Mat frame(scene.size.height, scene.size.width, CV_8UC3, scene.frame(i));
    files.push_back((folder.path() / ("frame" + std::to_string(i) + ".tif")).string());
    if (!cv::imwrite(files.back(), frame, uncompressed)) return std::nullopt;
  }
  for (const std::string &file : files)
    if (cv::imread(file).empty()) return std::nullopt;
  const double filing = writing.seconds();

  std::vector<std::string> command = {"align_image_stack", "-a", (folder.path() / "aligned").string(), "-f", "50",
                                      "--use-given-order"};
  command.insert(command.end(), files.begin(), files.end());
  const std::optional<double> whole = secondsOf(command);
  if (!whole) return std::nullopt;
  return *whole - filing;
}

} // namespace vindrel::bench
