#include "Report.h"

#include "Failure.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace vindrel::cli {
namespace {

std::string fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string evidenceText(const FrameEstimate &estimate, Model model) {
  std::string text;
  if (model == Model::Shift) {
    char shift[64];
    std::snprintf(shift, sizeof shift, "shift %+.0f %+.0f px", estimate.frameFromReference.matrix[2],
                  estimate.frameFromReference.matrix[5]);
    if (estimate.pairs == 0) return shift;
    text = std::string(shift) + "  ";
  }
  return text + std::to_string(estimate.pairs) + " pairs  " + std::to_string(estimate.inliers) + " inliers  RMS " +
         fixed(estimate.rms, 3) + " px";
}

std::string verdictText(const FrameEstimate &estimate, const Colours &colours) {
  switch (estimate.verdict) {
  case Verdict::Reference:
    return "reference";
  case Verdict::Found:
    return colours.good("aligned");
  case Verdict::NotFound:
    break;
  }
  return colours.bad("NOT ALIGNED") + " (" + (estimate.reason.empty() ? "no reason given" : estimate.reason) + ")";
}

} // namespace

std::string frameLine(const FrameReport &frame, int photoWidth, const Colours &colours) {
  const FrameEstimate &estimate = frame.estimate;
  std::string line = frame.photo;
  line.resize(std::max(line.size(), static_cast<std::size_t>(std::max(photoWidth, 0))), ' ');
  line += "  " + verdictText(estimate, colours);
  if (estimate.verdict != Verdict::Reference) line += "  " + evidenceText(estimate, frame.model);
  if (frame.cornerError) line += "  corner error " + fixed(*frame.cornerError, 3) + " px";
  return line;
}

std::string evidenceLine(const FrameReport &frame) {
  const FrameEstimate &estimate = frame.estimate;
  std::string line = "brightness " + std::to_string(estimate.rank + 1);
  if (estimate.verdict == Verdict::Reference) return line;
  line += "  expected error " +
          (std::isfinite(estimate.expectedError) ? fixed(estimate.expectedError, 2) + " px" : std::string("unknown"));
  if (estimate.pairs > 0) line += "  coverage " + fixed(100 * estimate.coverage, 0) + " %";
  return line + "  corners off by " + fixed(estimate.cornerDeviation, 2) + " degrees  scale " +
         fixed(estimate.scale, 4);
}

void printAlignment(std::span<const FrameReport> frames, const PrintStyle &style) {
  std::size_t width = 0;
  for (const FrameReport &frame : frames)
    width = std::max(width, frame.photo.size());
  const FrameReport *worst = nullptr;
  for (const FrameReport &frame : frames) {
    printLine(frameLine(frame, static_cast<int>(width), style.colours));
    if (style.evidence) printLine(std::string(width + 2, ' ') + style.colours.faint(evidenceLine(frame)));
    if (frame.cornerError && (worst == nullptr || *frame.cornerError > *worst->cornerError)) worst = &frame;
  }
  if (worst != nullptr) {
    printLine("worst corner error " + fixed(*worst->cornerError, 3) + " px (" + worst->photo + ")");
  }
}

void printLine(const std::string &line) {
  std::printf("%s\n", line.c_str());
}

void flushResults() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Failure(ExitCode::Failed, std::string("standard output cannot be written: ") + std::strerror(errno));
  }
}

void message(std::string_view text) {
  std::fprintf(stderr, "vindrel: %.*s\n", static_cast<int>(text.size()), text.data());
}

} // namespace vindrel::cli
