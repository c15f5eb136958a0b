#include "Tables.h"

#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace vindrel::accuracy {
namespace {

using Label = std::function<std::string(const Case &)>;

// Frames listed one by one; the JSON file has them all.
constexpr int kListedFrames = 60;

bool isOurs(const std::string &method) {
  return method.starts_with("vindrel");
}

std::string pixels(double value) {
  if (std::isnan(value)) return "-";
  char text[32];
  std::snprintf(text, sizeof text, value < 99.9995 ? "%.3f" : "%.0f", value);
  return text;
}

double percent(int part, int whole) {
  return whole > 0 ? 100.0 * part / whole : 0;
}

void printHeader(const std::string &title, bool withTime) {
  std::printf("\n%-34s %6s %6s %5s %6s %6s %8s %8s %8s %8s %7s%s\n", title.c_str(), "frames", "found", "lost", "(good)",
              "wrong", "median", "95 %", "largest", "<0.5 px", "<1 px", withTime ? "  s/frame" : "");
}

void printLine(const std::string &label, const Statistics &s, double secondsPerFrame) {
  std::printf("%-34s %6d %6d %5d %6d %6d %8s %8s %8s %7.1f%% %6.1f%%", label.c_str(), s.frames, s.found, s.lost,
              s.overcautious, s.wrong, pixels(s.median).c_str(), pixels(s.percentile95).c_str(),
              pixels(s.largest).c_str(), percent(s.wellAligned, s.frames), percent(s.aligned, s.frames));
  if (secondsPerFrame >= 0) std::printf(" %9.2f", secondsPerFrame);
  std::printf("\n");
}

// Of all frames of the stacks, the reference among them.
double secondsPerFrame(const std::vector<Case> &cases, const std::string &method, const Measurements &measured) {
  double seconds = 0;
  int frames = 0;
  for (const Timing &timing : measured.timings) {
    if (timing.method != method) continue;
    seconds += timing.seconds;
    frames += cases[timing.caseIndex].bracket.frames;
  }
  return frames > 0 ? seconds / frames : 0;
}

void printBy(const std::string &title, const std::vector<Case> &cases, const std::string &method,
             const Measurements &measured, const Label &label) {
  std::vector<std::string> labels;
  for (const Case &c : cases)
    if (std::find(labels.begin(), labels.end(), label(c)) == labels.end()) labels.push_back(label(c));
  if (labels.size() < 2) return;
  std::printf("by %s\n", title.c_str());
  for (const std::string &wanted : labels)
    printLine(
        "  " + wanted,
        statisticsOf(measured.rows,
                     [&](const Row &row) { return row.method == method && label(cases[row.caseIndex]) == wanted; }),
        -1);
}

void listBadFrames(const std::vector<Case> &cases, const std::string &method, const Measurements &measured) {
  int bad = 0;
  for (const Row &row : measured.rows) {
    if (row.method != method || (row.found && row.error <= kAlignedPixels)) continue;
    if (++bad > kListedFrames) continue;
    const Case &c = cases[row.caseIndex];
    if (bad == 1) std::printf("lost or misplaced by %s\n", method.c_str());
    std::printf(
        "  %-5s %s %dx%gEV %s %d bits, frame %d at %+g EV: error %s, unaligned %s, pairs %d, inliers %d, rms %s, "
        "expected %s%s%s\n",
        row.found ? "WRONG" : "lost", c.name.c_str(), c.bracket.frames, c.bracket.evStep,
        motionName(c.bracket.motion).c_str(), static_cast<int>(c.bracket.depth), row.frame, row.ev,
        pixels(row.error).c_str(), pixels(row.unaligned).c_str(), row.pairs, row.inliers, pixels(row.rms).c_str(),
        pixels(row.expectedError).c_str(), row.reason.empty() ? "" : ": ", row.reason.c_str());
  }
  if (bad > kListedFrames) std::printf("  and %d more\n", bad - kListedFrames);
}

} // namespace

void printTables(const std::vector<Case> &cases, const std::vector<std::string> &methods,
                 const Measurements &measured) {
  const auto photograph = [](const Case &c) { return c.name; };
  const auto motion = [](const Case &c) { return motionName(c.bracket.motion) + " motion"; };
  const auto frames = [](const Case &c) { return std::to_string(c.bracket.frames) + " frames"; };
  const auto ev = [](const Case &c) { return std::to_string(static_cast<int>(c.bracket.evStep)) + " EV"; };
  const auto depth = [](const Case &c) { return std::to_string(static_cast<int>(c.bracket.depth)) + " bits"; };
  const auto span = [](const Case &c) {
    return std::to_string(static_cast<int>((c.bracket.frames - 1) * c.bracket.evStep)) + " EV in all";
  };

  printHeader("method", true);
  for (const std::string &method : methods)
    printLine(method, statisticsOf(measured.rows, [&](const Row &row) { return row.method == method; }),
              secondsPerFrame(cases, method, measured));

  for (const char *kind : {"shift", "affine", "perspective"}) {
    if (std::none_of(cases.begin(), cases.end(), [&](const Case &c) { return motionName(c.bracket.motion) == kind; }))
      continue;
    printHeader(std::string(kind) + " motion", false);
    for (const std::string &method : methods)
      printLine(method,
                statisticsOf(measured.rows,
                             [&](const Row &row) {
                               return row.method == method && motionName(cases[row.caseIndex].bracket.motion) == kind;
                             }),
                -1);
  }

  for (const std::string &method : methods) {
    if (!isOurs(method)) continue;
    printHeader(method, false);
    printBy("motion", cases, method, measured, motion);
    printBy("frames", cases, method, measured, frames);
    printBy("exposure step", cases, method, measured, ev);
    printBy("exposure span", cases, method, measured, span);
    printBy("depth", cases, method, measured, depth);
    printBy("photograph", cases, method, measured, photograph);
    listBadFrames(cases, method, measured);
  }
}

} // namespace vindrel::accuracy
