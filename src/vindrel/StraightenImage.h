// Straightening one photograph in two steps: prepareStraightening() turns the corrections into a transform and an
// output size, straightenFrame() resamples a frame by it. Unlike the flat interface's call, the crop never holds fill,
// nothing is printed, and arguments are checked.
#pragma once

#include "base/ImageView.h"

#include <array>
#include <string>

namespace vindrel {

struct StraightenOptions {
  // Factors beyond this bring the horizon near the frame (it reaches the frame's edge at 1 / pi): nothing useful is
  // left of a photograph there.
  static constexpr double kMaxFactor = 0.3;
  static constexpr double kMaxDegrees = 360;

  double vertical = 0; // keystone factor, the same for every picture size; negative widens the top, positive the bottom
  double horizontal = 0;  // keystone factor; negative widens the right side, positive the left
  double degrees = 0;     // rotation, anticlockwise
  bool crop = true;       // to the source's proportions and without fill; false: keep the frame, fill the rest white
  bool pinToEdge = false; // look for the crop round the middle of the frame instead of the middle of the picture's part
};

struct Straightening {
  enum class Outcome {
    Done,
    BadArgument, // message says which one and what to do
    NothingLeft, // no part of the corrected picture is free of fill
  };
  Outcome outcome = Outcome::Done;
  std::string message; // empty when Done

  Size frameSize;
  Size outputSize; // never more than the frame's
  // Output pixel (x, y) lies at (x - offsetX, y - offsetY) of the frame that the transform maps onto the source: a
  // perspective transform as the warp takes it, the last two coefficients stored multiplied by 100000.
  int offsetX = 0;
  int offsetY = 0;
  std::array<float, 8> sourceFromOutput = {1, 0, 0, 0, 1, 0, 0, 0};
};

Straightening prepareStraightening(Size frameSize, const StraightenOptions &options);

// Resamples the frame, of 1 to 4 channels, into out, which must have the straightening's output size, the frame's
// channels and depth, and packed rows, and must not overlap the frame. threads: 1 to 1024; the bytes are the same for
// any number. Returns false when something does not fit; nothing is written then.
bool straightenFrame(const Straightening &straightening, const ImageView &frame, const MutableImageView &out,
                     int threads);

} // namespace vindrel
