// How far an estimated alignment is from the known one, in pixels of the frame that was to be aligned.
#pragma once

#include "simulate/PlaneMap.h"
#include "vindrel/image.hpp"

namespace vindrel {

// The true map from one frame of a bracket into another: F_frame * inverse(F_reference).
PlaneMap frameFromReference(const PlaneMap &frameFromScene, const PlaneMap &referenceFromScene);

// Distances between where the estimate and the truth put points of the reference frame. Positions that either sends to
// infinity make the error infinite.
struct PlacementError {
  double gridMean = 0;  // mean over a grid of 9 x 7 points that spans the frame from corner to corner
  double cornerMax = 0; // the worst of the frame's four corners
};

// Both maps take reference-frame pixels into the frame; frame is the size of either.
PlacementError placementError(const PlaneMap &estimated, const PlaneMap &truth, Size frame);

} // namespace vindrel
