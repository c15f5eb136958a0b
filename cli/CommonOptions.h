// Options that several commands have, with one name, range and explanation each.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vindrel::cli {

// --threads, 1 to 1024; without it the number of processors.
void addThreads(CLI::App &options, int &threads);

// What becomes of outputs, and how much is said meanwhile.
struct CommonOptions {
  bool overwrite = false;
  bool quiet = false;
  bool noProgress = false;

  bool showsProgress() const { return !quiet && !noProgress; }
};
// --overwrite, --quiet and --no-progress. outputs: "outputs that exist", or what else the command would replace.
void addCommonOptions(CLI::App &options, CommonOptions &common, const std::string &outputs);

} // namespace vindrel::cli
