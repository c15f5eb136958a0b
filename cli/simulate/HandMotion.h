// How the camera moves in the photographer's hands between the frames of a burst. Each frame has a pose of its own
// around the same resting pose, drawn uniformly within the bounds of HandMotion.cpp, so that frames far apart in the
// burst differ no more than neighbours do.
#pragma once

#include "simulate/PlaneMap.h"
#include "vindrel/image.hpp"

#include <cstdint>

namespace vindrel {

enum class Motion {
  Shift,       // sub-pixel translation only
  Affine,      // and rotation, scale and shear
  Perspective, // and tilt: the full motion of a camera turned about its lens, plus a little of every other kind
};

// The size of frames within a scene: the scene less, on every side, the farthest that the motion can carry a frame's
// corner and the reach of the resampling kernel. Zero or negative when the scene is too small.
Size frameSizeWithin(Size scene, Motion motion);

// The pose of frame `index` of the burst `seed`: maps scene pixels onto the frame's. The same seed and index give the
// same translation for every kind of motion.
PlaneMap handHeldPose(Size scene, Motion motion, std::uint64_t seed, int index);

} // namespace vindrel
