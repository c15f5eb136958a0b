#include "CommonOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

namespace vindrel::cli {
namespace {

constexpr int kMaxThreads = 1024;

} // namespace

void addThreads(CLI::App &options, int &threads) {
  threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMaxThreads);
  options.add_option("--threads", threads, "Threads to work with, 1 to " + std::to_string(kMaxThreads))
      ->check(CLI::Range(1, kMaxThreads).description(""))
      ->type_name("N")
      ->capture_default_str();
}

void addCommonOptions(CLI::App &options, CommonOptions &common, const std::string &outputs) {
  options.add_flag("--overwrite", common.overwrite, "Replace " + outputs);
  options.add_flag("-q,--quiet", common.quiet, "Print nothing but warnings and errors");
  options.add_flag("--no-progress", common.noProgress, "Show no progress bar");
}

} // namespace vindrel::cli
