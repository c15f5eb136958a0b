// One exposure of the simulated camera: the scene resampled through the frame's pose, exposed, with photon and
// electronic noise, clipped at saturation, run through the camera's tone curve and quantised.
#pragma once

#include "simulate/LinearScene.h"
#include "simulate/PlaneMap.h"
#include "vindrel/image.hpp"

#include <cstdint>

namespace vindrel {

struct Exposure {
  double ev = 0;               // stops; 0 saturates at scene light 1, +1 at scene light 1/2
  std::uint64_t noiseSeed = 0; // the noise of a sample is a function of this and the sample's place
  PlaneMap frameFromScene = kPlaneIdentity;
};

// Fills out, whose channels must be 3, in the order red, green, blue. Frame pixel (x, y) shows the scene at the point
// that the pose maps onto (x, y). Points within two pixels of the scene's edge or beyond show the nearest inner point.
// The result is the same for any number of threads.
void exposeFrame(const LinearScene &scene, const Exposure &exposure, const MutableImageView &out);

} // namespace vindrel
