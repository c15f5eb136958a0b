#include "CommonOptions.h"

#include "NameTemplate.h"

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

void addJson(CLI::App &options, bool &json) {
  options.add_flag("--json", json, "Print one JSON document, and nothing else, on standard output");
}

void addReportOptions(CLI::App &options, ReportOptions &report, const std::string &evidence) {
  options.add_flag("-v,--verbose", report.verbose, "Print also " + evidence);
  addJson(options, report.json);
}

void checkReportOptions(const CommonOptions &common, const ReportOptions &report) {
  if (common.quiet && report.verbose) throw CLI::ExcludesError("--quiet", "--verbose");
}

void addName(CLI::App &options, std::string &name) {
  options
      .add_option("--name", name,
                  "How outputs are called. {stem} is the photograph's name without\n"
                  "its extension, {ext} the extension, {name} both, {index} the\n"
                  "photograph's number; another extension asks for another format\n"
                  "[{name}]")
      ->check([](const std::string &text) { return NameTemplate::whyNot(text); })
      ->type_name("NAME");
}

void addChoice(CLI::App &options, const std::string &name, std::string &value, const std::string &type,
               const std::vector<std::string> &words, const std::string &explanation) {
  options.add_option(name, value, explanation)
      ->check(CLI::IsMember(words).description(""))
      ->type_name(type)
      ->capture_default_str();
}

} // namespace vindrel::cli
