// Straightening one photograph in two steps: prepareStraightening() turns the corrections into a transform and a
// rectangle, straightenFrame() resamples the photograph by them.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/apply.hpp"
#include "vindrel/image.hpp"
#include "vindrel/result.hpp"
#include "vindrel/transform.hpp"

namespace vindrel {

struct StraightenOptions {
  /// Factors beyond this bring the horizon near the frame (it reaches the frame's edge at 1 / pi): nothing useful is
  /// left of a photograph there.
  static constexpr double kMaxFactor = 0.3;
  static constexpr double kMaxDegrees = 360;

  double vertical = 0;    ///< keystone factor, the same for every picture size; negative widens the top
  double horizontal = 0;  ///< keystone factor; negative widens the right side
  double degrees = 0;     ///< rotation, anticlockwise
  bool crop = true;       ///< to the source's proportions and without fill; false: keep the frame, fill the rest white
  bool pinToEdge = false; ///< look for the crop round the middle of the frame, not of what the picture covers of it
};

struct Straightening {
  Size frameSize = {};
  Rectangle output = {}; ///< of the corrected frame; never larger than frameSize
  Transform sourceFromOutput = {};
};

/// The frame must be 2 to 65536 pixels wide and high. ErrorCode::NothingLeft when no part of the corrected picture is
/// free of fill.
VINDREL_API Result<Straightening> prepareStraightening(Size frameSize, const StraightenOptions &options);

/// Resamples the frame into out, which must have the size of the straightening's output, the frame's channels (1 to 4)
/// and depth, and must not overlap it.
VINDREL_API Result<void> straightenFrame(const Straightening &straightening, const ImageView &frame,
                                         const MutableImageView &out, const WarpOptions &options = {});

} // namespace vindrel
