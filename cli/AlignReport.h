// What `vindrel align` tells of a run, for people and for other programs.
#pragma once

#include "Failure.h"
#include "Report.h"
#include "vindrel/stack.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vindrel::cli {

struct AlignedFrame {
  std::string photo;            // as given on the command line
  std::filesystem::path output; // empty: none was written
  std::optional<double> cornerError;
};

// Where the time went.
struct Seconds {
  double reading = 0; // of the photographs, for the estimate and for the outputs
  double estimating = 0;
  double writing = 0; // resampling included
};

struct AlignReport {
  StackEstimate stack;
  std::vector<AlignedFrame> frames; // in the stack's order
  Rectangle crop;                   // what the outputs show, or would show
  std::string onUnaligned;
  bool written = false; // false: a run that was only to say what it would do, or one that failed for a lost frame
  int threads = 1;
  Seconds seconds;
  std::vector<std::string> warnings; // of which frames could not be aligned, among others

  // NotAligned when a frame is not.
  ExitCode exitCode() const;
};

// Adds, for each frame that was not found, a text that says why, and what becomes of it.
void warnOfUnaligned(AlignReport &report);

// Adds what can be done where nothing could be aligned with the reference: it is then more likely the one that shows
// something else, and every frame hangs on it.
void adviseOnReference(AlignReport &report);

// The lines of frames; with `verbose` the evidence for each, and the run as a whole.
void printReport(const AlignReport &report, bool verbose);

constexpr const char *kAlignFormat = "vindrel-align";
constexpr int kAlignVersion = 1;

void printJson(const AlignReport &report);

} // namespace vindrel::cli
