// Straightening one photograph: undo a tilt about the horizontal axis, a tilt about the vertical axis and a rotation,
// then crop. Planning is separate from resampling: a plan is a small value that says which transform, offsets and size
// the warp will use, so that it can be printed, changed (see TightCrop.h) or thrown away before any pixel is touched.
#pragma once

#include "base/ImageView.h"
#include "transform/Transform.h"
#include "warp/Warp.h"

namespace vindrel {

struct StraightenRequest {
  float factorV = 0;      // vertical keystone: a tilt by 2 pi factorV / height radians about the horizontal axis
  float factorH = 0;      // horizontal keystone: a tilt by 2 pi factorH / width radians about the vertical axis
  float angleDegrees = 0; // in-plane rotation
  bool crop = true;       // false: the output keeps the source's size and position
  bool pinToEdge = false; // search the crop round the middle of the source frame
};

struct StraightenPlan {
  Trans8 sourceFromOutput = kIdentity8; // what the warp maps output coordinates minus the offsets with
  bool cropped = false;                 // false: not asked for, or no crop was found; the frame is the source's
  float cropX = 0, cropY = 0;           // crop offsets in output pixels, before they are truncated ...
  int offsetX = 0, offsetY = 0;         // ... to those the warp subtracts from output coordinates
  Size size;                            // of the output: never more than the source's size either way
};

// The chain of the three corrections alone. Sizes are whole pixels, the corner positions between the rounds are
// rounded to single precision. Factors that bring the horizon into the frame (from about 0.3 upwards) fold the picture;
// the coefficients may then be infinite or NaN.
Trans8 straighteningTransform(Size source, const StraightenRequest &request);

StraightenPlan planStraightening(Size source, const StraightenRequest &request);

// The warp of source by the plan, which must outlive the job.
WarpJob straighteningJob(const StraightenPlan &plan, const ImageView &source);

} // namespace vindrel
