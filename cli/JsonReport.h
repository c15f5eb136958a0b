// Results for other programs: a document of one format name and version, on standard output with nothing beside it.
#pragma once

#include "Failure.h"
#include "vindrel/stack.hpp"

#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace vindrel::cli {

// The head of every document.
nlohmann::ordered_json jsonHead(const std::string &format, int version, ExitCode code);

void printJson(const nlohmann::ordered_json &document);

// Runs what prints a document of that format in the end. A run that fails before has one printed that holds the error.
ExitCode runWithJson(const std::string &format, int version, const std::function<ExitCode()> &run);

// A number; null where there is none that JSON knows.
nlohmann::ordered_json jsonNumber(double value);

// A text; null where there is none.
nlohmann::ordered_json jsonText(const std::string &text);

nlohmann::ordered_json jsonSize(Size size);
nlohmann::ordered_json jsonRectangle(const Rectangle &rectangle);
nlohmann::ordered_json jsonMatrix(const std::array<double, 9> &matrix); // row by row

// "shift", "affine" or "perspective"; "auto" for a model that is still to be chosen.
const char *modelName(Model model);

// "reference", "aligned" or "not aligned".
const char *verdictName(Verdict verdict);

} // namespace vindrel::cli
