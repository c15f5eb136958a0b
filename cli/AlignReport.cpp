#include "AlignReport.h"

#include "Colours.h"
#include "JsonReport.h"
#include "vindrel/version.hpp"

#include <algorithm>
#include <cstdio>

namespace vindrel::cli {
namespace {

using Json = nlohmann::ordered_json;

std::vector<FrameReport> frameReports(const AlignReport &report) {
  std::vector<FrameReport> frames;
  for (std::size_t i = 0; i < report.frames.size(); ++i) {
    frames.push_back(
        {report.frames[i].photo, report.stack.frames[i], report.frames[i].cornerError, report.stack.model});
  }
  return frames;
}

std::string fate(const AlignReport &report, const AlignedFrame &frame) {
  if (report.onUnaligned == "fail") return "; nothing is written";
  if (report.onUnaligned == "drop") return "; it is left out";
  if (frame.output.empty()) return "";
  if (report.onUnaligned == "keep") return "; " + frame.output.string() + " shows it where it was";
  return "; " + frame.output.string() + " may not lie on the others";
}

Json frameJson(const AlignedFrame &frame, const FrameEstimate &estimate) {
  Json json;
  json["file"] = frame.photo;
  json["output"] = jsonText(frame.output.string());
  json["verdict"] = verdictName(estimate.verdict);
  json["reason"] = jsonText(estimate.reason);
  json["rank"] = estimate.rank;
  json["pairs"] = estimate.pairs;
  json["inliers"] = estimate.inliers;
  json["rms"] = jsonNumber(estimate.rms);
  json["coverage"] = jsonNumber(estimate.coverage);
  json["expectedError"] = jsonNumber(estimate.expectedError);
  json["cornerDeviation"] = jsonNumber(estimate.cornerDeviation);
  json["scale"] = jsonNumber(estimate.scale);
  json["frameFromReference"] = jsonMatrix(estimate.frameFromReference.matrix);
  json["cornerError"] = frame.cornerError ? jsonNumber(*frame.cornerError) : Json(nullptr);
  return json;
}

std::string text(const char *format, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

std::string sizeText(Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

std::string wholeRun(const AlignReport &report) {
  const StackEstimate &stack = report.stack;
  std::string line = std::string("model ") + modelName(stack.model);
  for (const ModelScore &score : stack.modelScores)
    line += std::string(&score == stack.modelScores.data() ? " (" : ", ") + modelName(score.model) +
            text(" %.0f", score.criterion) + (&score == &stack.modelScores.back() ? ")" : "");
  line += "  crop " + sizeText(report.crop.size()) + " at " + std::to_string(report.crop.x) + "," +
          std::to_string(report.crop.y) + " of " + sizeText(stack.frameSize);
  return line;
}

} // namespace

ExitCode AlignReport::exitCode() const {
  const bool lost = std::any_of(stack.frames.begin(), stack.frames.end(),
                                [](const FrameEstimate &frame) { return frame.verdict == Verdict::NotFound; });
  return lost ? ExitCode::NotAligned : ExitCode::Done;
}

void warnOfUnaligned(AlignReport &report) {
  for (std::size_t i = 0; i < report.frames.size(); ++i) {
    const FrameEstimate &estimate = report.stack.frames[i];
    if (estimate.verdict != Verdict::NotFound) continue;
    report.warnings.push_back(report.frames[i].photo + ": could not be aligned: " + estimate.reason +
                              fate(report, report.frames[i]));
  }
}

void adviseOnReference(AlignReport &report) {
  constexpr std::size_t kFewestFrames = 3; // of two, the other one is no better a reference
  const std::vector<FrameEstimate> &frames = report.stack.frames;
  const auto lost =
      std::count_if(frames.begin(), frames.end(), [](const auto &frame) { return frame.verdict == Verdict::NotFound; });
  if (frames.size() < kFewestFrames || static_cast<std::size_t>(lost) + 1 != frames.size()) return;
  report.warnings.push_back("no frame could be aligned with " +
                            report.frames[static_cast<std::size_t>(report.stack.reference)].photo +
                            ", the reference; if it does not show what the others do, give the number of one that does "
                            "with --reference");
}

void printReport(const AlignReport &report, bool verbose) {
  const std::vector<FrameReport> frames = frameReports(report);
  const Colours colours = Colours::ofStandardOutput();
  printAlignment(frames, {.colours = colours, .evidence = verbose});
  if (!verbose) return;
  printLine(colours.faint(wholeRun(report)));
  printLine(colours.faint("seconds: reading " + text("%.2f", report.seconds.reading) + "  estimating " +
                          text("%.2f", report.seconds.estimating) + "  writing " +
                          text("%.2f", report.seconds.writing) + "  on " + std::to_string(report.threads) +
                          (report.threads == 1 ? " thread" : " threads")));
}

void printJson(const AlignReport &report) {
  Json document = jsonHead(kAlignFormat, kAlignVersion, report.exitCode());
  document["library"] = version();
  document["threads"] = report.threads;
  document["written"] = report.written;
  document["onUnaligned"] = report.onUnaligned;
  document["model"] = modelName(report.stack.model);
  document["modelScores"] = Json::object();
  for (const ModelScore &score : report.stack.modelScores)
    document["modelScores"][modelName(score.model)] = jsonNumber(score.criterion);
  document["frameSize"] = jsonSize(report.stack.frameSize);
  document["reference"] = report.stack.reference;
  document["common"] = jsonRectangle(report.stack.common);
  document["crop"] = jsonRectangle(report.crop);
  document["frames"] = Json::array();
  for (std::size_t i = 0; i < report.frames.size(); ++i)
    document["frames"].push_back(frameJson(report.frames[i], report.stack.frames[i]));
  document["warnings"] = report.warnings;
  document["seconds"] = {{"reading", report.seconds.reading},
                         {"estimating", report.seconds.estimating},
                         {"writing", report.seconds.writing}};
  printJson(document);
}

} // namespace vindrel::cli
