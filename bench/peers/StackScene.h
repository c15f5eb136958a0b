// A hand-held bracket of a photograph, with known truth, as one block of 8-bit RGB frames.
#pragma once

#include "simulate/Truth.h"

#include <cstdint>
#include <vector>

namespace vindrel::bench {

struct StackScene {
  Size size;
  std::vector<std::uint8_t> block;      // the frames back to back
  std::vector<PlaneMap> frameFromScene; // by frame

  int count() const { return static_cast<int>(frameFromScene.size()); }
  std::size_t frameBytes() const { return block.size() / frameFromScene.size(); }
  std::uint8_t *frame(int index) { return block.data() + static_cast<std::size_t>(index) * frameBytes(); }
  // Of the placement of a frame on a reference: the mean distance from the truth, pixels.
  double error(const PlaneMap &estimated, int frame, int reference) const;
};

// The photograph is enlarged where it is smaller. 1 EV between frames, perspective motion, noise of photons and
// readout. Throws where the photograph is missing.
StackScene makeStackScene(int frames, double megapixels);

} // namespace vindrel::bench
