// Options that several commands have, with one name, range and explanation each.
#pragma once

#include <string>
#include <vector>

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

// --json.
void addJson(CLI::App &options, bool &json);

// In which form results are printed.
struct ReportOptions {
  bool verbose = false;
  bool json = false;
};
// --verbose and --json. evidence: what --verbose adds.
void addReportOptions(CLI::App &options, ReportOptions &report, const std::string &evidence);
// For the command's callback: throws the parser's error when they contradict each other.
void checkReportOptions(const CommonOptions &common, const ReportOptions &report);

// --name, a NameTemplate's text; empty without it.
void addName(CLI::App &options, std::string &name);

// One of a few words.
void addChoice(CLI::App &options, const std::string &name, std::string &value, const std::string &type,
               const std::vector<std::string> &words, const std::string &explanation);

} // namespace vindrel::cli
