#include "JsonReport.h"

#include "Statistics.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace vindrel::accuracy {
namespace {

std::string quoted(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += escape;
    } else {
      out += c;
    }
  }
  return out + '"';
}

// Six significant digits; null where there is no number.
std::string number(double value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

const char *yes(bool value) {
  return value ? "true" : "false";
}

void writeOptions(std::FILE *file, const Options &options) {
  std::fprintf(file, "  \"options\": {\"megapixels\": %s, \"seed\": %llu, \"quick\": %s, \"bothDepths\": %s},\n",
               number(options.megapixels).c_str(), static_cast<unsigned long long>(options.seed), yes(options.quick),
               yes(options.bothDepths));
}

void writeSummary(std::FILE *file, const std::vector<std::string> &methods, const Measurements &measured) {
  std::fprintf(file, "  \"methods\": [");
  const char *separator = "\n";
  for (const std::string &method : methods) {
    const Statistics s = statisticsOf(measured.rows, [&](const Row &row) { return row.method == method; });
    double seconds = 0;
    for (const Timing &timing : measured.timings)
      seconds += timing.method == method ? timing.seconds : 0;
    std::fprintf(file,
                 "%s    {\"method\": %s, \"frames\": %d, \"found\": %d, \"lost\": %d, \"overcautious\": %d, \"wrong\": "
                 "%d, \"median\": %s, "
                 "\"percentile95\": %s, \"largest\": %s, \"under1\": %d, \"under05\": %d, \"seconds\": %s}",
                 separator, quoted(method).c_str(), s.frames, s.found, s.lost, s.overcautious, s.wrong,
                 number(s.median).c_str(), number(s.percentile95).c_str(), number(s.largest).c_str(), s.aligned,
                 s.wellAligned, number(seconds).c_str());
    separator = ",\n";
  }
  std::fprintf(file, "\n  ],\n");
}

std::string stackFields(const Case &c) {
  return "\"photo\": " + quoted(c.name) + ", \"frames\": " + std::to_string(c.bracket.frames) +
         ", \"evStep\": " + number(c.bracket.evStep) + ", \"motion\": " + quoted(motionName(c.bracket.motion)) +
         ", \"depth\": " + std::to_string(static_cast<int>(c.bracket.depth));
}

void writeStacks(std::FILE *file, const std::vector<Case> &cases, const Measurements &measured) {
  std::fprintf(file, "  \"stacks\": [");
  const char *separator = "\n";
  for (std::size_t i = 0; i < cases.size(); ++i) {
    std::fprintf(file, "%s    {%s, \"seed\": \"%llu\", \"width\": %d, \"height\": %d, \"seconds\": {", separator,
                 stackFields(cases[i]).c_str(), static_cast<unsigned long long>(cases[i].bracket.seed),
                 measured.frameSizes[i].width, measured.frameSizes[i].height);
    const char *inner = "";
    for (const Timing &timing : measured.timings) {
      if (timing.caseIndex != i) continue;
      std::fprintf(file, "%s%s: %s", inner, quoted(timing.method).c_str(), number(timing.seconds).c_str());
      inner = ", ";
    }
    std::fprintf(file, "}}");
    separator = ",\n";
  }
  std::fprintf(file, "\n  ],\n");
}

void writeRows(std::FILE *file, const std::vector<Case> &cases, const Measurements &measured) {
  std::fprintf(file, "  \"rows\": [");
  const char *separator = "\n";
  for (const Row &row : measured.rows) {
    std::fprintf(file,
                 "%s    {%s, \"frame\": %d, \"ev\": %s, \"method\": %s, \"found\": %s, \"error\": %s, "
                 "\"cornerError\": %s, \"unaligned\": %s, \"pairs\": %d, \"inliers\": %d, \"rms\": %s, "
                 "\"expectedError\": %s, \"reason\": %s}",
                 separator, stackFields(cases[row.caseIndex]).c_str(), row.frame, number(row.ev).c_str(),
                 quoted(row.method).c_str(), yes(row.found), number(row.error).c_str(), number(row.cornerError).c_str(),
                 number(row.unaligned).c_str(), row.pairs, row.inliers, number(row.rms).c_str(),
                 number(row.expectedError).c_str(), quoted(row.reason).c_str());
    separator = ",\n";
  }
  std::fprintf(file, "\n  ]\n");
}

} // namespace

bool writeJson(const Options &options, const std::vector<Case> &cases, const std::vector<std::string> &methods,
               const Measurements &measured) {
  const std::string aside = options.jsonFile + ".part";
  std::FILE *file = std::fopen(aside.c_str(), "w");
  if (file == nullptr) return false;
  std::fprintf(file, "{\n");
  writeOptions(file, options);
  writeSummary(file, methods, measured);
  writeStacks(file, cases, measured);
  writeRows(file, cases, measured);
  std::fprintf(file, "}\n");
  const bool written = std::ferror(file) == 0;
  const bool closed = std::fclose(file) == 0;
  std::error_code error;
  if (written && closed) std::filesystem::rename(aside, options.jsonFile, error);
  if (written && closed && !error) return true;
  std::filesystem::remove(aside, error);
  return false;
}

} // namespace vindrel::accuracy
