// The library beside other libraries on the same work, in interleaved runs of one process.
#include "MemoryBandwidth.h"
#include "Report.h"

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace vindrel::bench {
namespace {

struct Comparison {
  const char *name;
  void (*run)(std::vector<PeerRow> &rows, int threads, bool quick);
};

// In the order of the table.
constexpr Comparison kComparisons[] = {
    {"warp", compareWarp},   {"features", compareFeatures},     {"shift", compareShift},
    {"stack", compareStack}, {"straighten", compareStraighten},
};

// Standard output without what the libraries print: that is not part of the table.
class QuietOutput {
public:
  QuietOutput() {
    std::fflush(stdout);
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    close(nothing);
  }
  ~QuietOutput() {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    close(output_);
  }
  QuietOutput(const QuietOutput &) = delete;
  QuietOutput &operator=(const QuietOutput &) = delete;

private:
  int output_ = dup(STDOUT_FILENO);
};

} // namespace
} // namespace vindrel::bench

int main(int argc, char **argv) {
  using namespace vindrel::bench;
  bool quick = false;
  std::vector<int> threads = {1, 2};
  std::string json, only;
  CLI::App app("Compares the library with OpenCV, Hugin and ImageMagick and prints a Markdown table.", "bench_peers");
  app.add_flag("--quick", quick, "small pictures and few runs: shows that it works, not how fast");
  app.add_option("--threads", threads, "thread counts to compare at (default 1 2)")->check(CLI::Range(1, 256));
  app.add_option("--only", only, "one comparison: warp, features, shift, stack or straighten");
  app.add_option("--json", json, "file for the figures");
  CLI11_PARSE(app, argc, argv);

  std::vector<ThreadRows> runs;
  try {
    const QuietOutput quiet;
    for (const int count : threads) {
      cv::setNumThreads(count);
      ThreadRows &run = runs.emplace_back(ThreadRows{.threads = count, .bandwidth = copyBandwidth(count), .rows = {}});
      for (const Comparison &comparison : kComparisons)
        if (only.empty() || only == comparison.name) comparison.run(run.rows, count, quick);
    }
  } catch (const std::exception &error) {
    std::fprintf(stderr, "bench_peers: %s\n", error.what());
    return 1;
  }
  printTable(runs);
  if (!json.empty() && !writeJson(json, quick, runs)) {
    std::fprintf(stderr, "bench_peers: cannot write %s\n", json.c_str());
    return 1;
  }
  return 0;
}
