#include "JsonReport.h"

#include "Report.h"

#include <cmath>
#include <new>

namespace vindrel::cli {
namespace {

void printFailure(const std::string &format, int version, const Failure &failure) {
  nlohmann::ordered_json document = jsonHead(format, version, failure.code);
  document["error"] = failure.what();
  printJson(document);
}

} // namespace

nlohmann::ordered_json jsonHead(const std::string &format, int version, ExitCode code) {
  nlohmann::ordered_json document;
  document["format"] = format;
  document["version"] = version;
  document["exitCode"] = static_cast<int>(code);
  return document;
}

void printJson(const nlohmann::ordered_json &document) {
  // Names of files need not be UTF-8, which JSON is.
  printLine(document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

ExitCode runWithJson(const std::string &format, int version, const std::function<ExitCode()> &run) {
  try {
    return run();
  } catch (const Failure &failure) {
    printFailure(format, version, failure);
    throw;
  } catch (const std::bad_alloc &) {
    const Failure failure(ExitCode::Failed, kOutOfMemory);
    printFailure(format, version, failure);
    throw failure;
  }
}

nlohmann::ordered_json jsonNumber(double value) {
  return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json jsonText(const std::string &text) {
  return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

nlohmann::ordered_json jsonSize(Size size) {
  return {{"width", size.width}, {"height", size.height}};
}

nlohmann::ordered_json jsonRectangle(const Rectangle &rectangle) {
  return {{"x", rectangle.x}, {"y", rectangle.y}, {"width", rectangle.width}, {"height", rectangle.height}};
}

nlohmann::ordered_json jsonMatrix(const std::array<double, 9> &matrix) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const double element : matrix)
    json.push_back(jsonNumber(element));
  return json;
}

const char *modelName(Model model) {
  switch (model) {
  case Model::Shift:
    return "shift";
  case Model::Affine:
    return "affine";
  case Model::Perspective:
    return "perspective";
  case Model::Auto:
    break;
  }
  return "auto";
}

const char *verdictName(Verdict verdict) {
  if (verdict == Verdict::Reference) return "reference";
  return verdict == Verdict::Found ? "aligned" : "not aligned";
}

} // namespace vindrel::cli
