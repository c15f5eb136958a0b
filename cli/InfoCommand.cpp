// vindrel info: prints what the program sees in files, without reading their pixels.
#include "Commands.h"
#include "Failure.h"
#include "FileFacts.h"
#include "Report.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <vector>

namespace vindrel::cli {
namespace {

constexpr int kJsonVersion = 1;

constexpr const char *kHelpEnd = R"(
Prints one line a file: format, size as the picture is looked at, channels, bits a sample,
exposure time, aperture, ISO speed, exposure bias, date, how the picture is stored, colour
profile, and whether the place is noted. "-" stands for what a file does not tell. Raw files are
shown as they are developed. A file that cannot be read is named on standard error and does not
keep the others from being printed; the exit code is 4 then.

Example:
  vindrel info IMG_*.jpg)";

struct InfoArguments {
  std::vector<std::string> files;
  bool json = false;
};

// Columns in characters, of which UTF-8 needs several bytes for some.
std::size_t characters(const std::string &text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }));
}

void printTable(const std::vector<std::vector<std::string>> &rows) {
  std::vector<std::size_t> widths;
  for (const std::vector<std::string> &row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], characters(row[i]));
  }
  for (const std::vector<std::string> &row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - characters(row[i]) + 2, ' ');
    }
    printLine(line);
  }
}

ExitCode runInfo(const InfoArguments &arguments) {
  ExitCode code = ExitCode::Done;
  std::vector<std::vector<std::string>> rows = {factHeads()};
  nlohmann::ordered_json entries = nlohmann::ordered_json::array();
  for (const std::string &file : arguments.files) {
    try {
      const FileFacts facts = factsOf(file);
      rows.push_back(factCells(facts));
      entries.push_back(toJson(facts));
    } catch (const Failure &failure) {
      if (failure.code != ExitCode::Unreadable) throw;
      code = failure.code;
      message(failure.what());
      entries.push_back({{"file", file}, {"error", failure.what()}});
    }
  }
  if (arguments.json) {
    nlohmann::ordered_json document;
    document["format"] = "vindrel-info";
    document["version"] = kJsonVersion;
    document["files"] = std::move(entries);
    // Names of files need not be UTF-8, which JSON is.
    printLine(document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  } else if (rows.size() > 1) {
    printTable(rows);
  }
  return code;
}

} // namespace

Run declareInfo(CLI::App &options) {
  const auto arguments = std::make_shared<InfoArguments>();
  options.add_option("FILE", arguments->files, "The files to look into")->required()->type_name("");
  options.add_flag("--json", arguments->json, "Print a JSON document instead of a table");
  options.footer(kHelpEnd);
  return [arguments] { return runInfo(*arguments); };
}

} // namespace vindrel::cli
