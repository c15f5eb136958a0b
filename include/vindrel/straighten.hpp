// Straightening one photograph in two steps: prepareStraightening() turns the corrections into a transform and a
// rectangle, straightenFrame() resamples the photograph by them.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/apply.hpp"
#include "vindrel/image.hpp"
#include "vindrel/result.hpp"
#include "vindrel/transform.hpp"

namespace vindrel {

/// What is to be corrected, by how much, and what becomes of the edges.
struct StraightenOptions {
  /// Factors beyond this bring the horizon near the frame (it reaches the frame's edge at 1 / pi): nothing useful is
  /// left of a photograph there.
  static constexpr double kMaxFactor = 0.3;
  static constexpr double kMaxDegrees = 360; ///< either way

  double vertical = 0;    ///< keystone factor, -0.3 to 0.3, the same for every picture size; negative widens the top
  double horizontal = 0;  ///< keystone factor, -0.3 to 0.3; negative widens the right side
  double degrees = 0;     ///< rotation, -360 to 360, anticlockwise
  bool crop = true;       ///< to the source's proportions and without fill; false: keep the frame, fill the rest white
  bool pinToEdge = false; ///< look for the crop round the middle of the frame, not of what the picture covers of it
};

/// Corrections of a frame size, ready to be applied to any frame of it.
struct Straightening {
  Size frameSize = {};             ///< that it was prepared for
  Rectangle output = {};           ///< of the corrected frame; never larger than frameSize
  Transform sourceFromOutput = {}; ///< maps points of the corrected frame, before the crop, onto the photograph
};

/// Turns corrections into a transform and a rectangle; no pixels are needed. The frame must be 2 to 65536 pixels wide
/// and high. ErrorCode::InvalidArgument names the correction or the size that is out of range;
/// ErrorCode::NothingLeft: no part of the corrected picture is free of fill.
VINDREL_API Result<Straightening> prepareStraightening(Size frameSize, const StraightenOptions &options);

/// Resamples the frame, which must have the straightening's frameSize, into out, which must have the size of its
/// output, the frame's channels (1 to 4) and depth (any), and must not overlap it. ErrorCode::InvalidArgument, and out
/// unchanged, when anything does not fit. As warpImage() with the straightening's transform and output.
VINDREL_API Result<void> straightenFrame(const Straightening &straightening, const ImageView &frame,
                                         const MutableImageView &out, const WarpOptions &options = {});

} // namespace vindrel
