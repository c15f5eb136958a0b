// What the program says: result lines on standard output, messages on standard error.
#pragma once

#include "Colours.h"
#include "vindrel/stack.hpp"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vindrel::cli {

struct FrameReport {
  std::string photo; // as given on the command line
  FrameEstimate estimate;
  std::optional<double> cornerError; // pixels, where the truth is known
  Model model = Model::Perspective;
};

// The line of one frame, without its end:
//   b.jpg  aligned  412 pairs  377 inliers  RMS 0.412 px  corner error 0.213 px
// A shift rests on no pairs; in their place stands how much farther right and down the scene lies than in the
// reference:
//   b.jpg  aligned  shift +12 -3 px  corner error 0.213 px
// photoWidth: the columns that the names take up, so that the lines of a stack stand under each other.
std::string frameLine(const FrameReport &frame, int photoWidth, const Colours &colours = {});

// What speaks for it, in a line to stand below:
//   brightness 2  expected error 0.21 px  coverage 58 %  corners off by 0.1 degrees  scale 1.002
std::string evidenceLine(const FrameReport &frame);

struct PrintStyle {
  Colours colours = {};
  bool evidence = false; // a second line for each frame
};

// One line a frame in the order given; where the truth is known, a last line names the worst frame.
void printAlignment(std::span<const FrameReport> frames, const PrintStyle &style = {});

// A line of results.
void printLine(const std::string &line);

// Throws a Failure when results could not be written, as on a full disk or into a closed pipe.
void flushResults();

// "vindrel: " and the text, on standard error.
void message(std::string_view text);

} // namespace vindrel::cli
