// A frame of a block warped to where it lies itself, a band of rows after the other. A finished band waits in a ring
// until no row of the source that it is to replace will be read again. For the small motions of a hand that is a band
// or two later: the ring takes the place of a whole output frame, and stays in the cache.
#pragma once

#include "base/RowTeam.h"
#include "warp/Warp.h"

#include <cstddef>
#include <cstdint>

namespace vindrel {

struct BandedWarp {
  WarpJob job;                   // with packed source rows
  Size out;                      // rows and columns produced
  std::uint8_t *place = nullptr; // where they go, packed: at or before the source's first sample, in the same block
  int bandRows = 0;              // of every band but the last; at least 1
};

// Bands that the ring has to hold, at most as many as there are.
int ringBands(const BandedWarp &warp);

// Bytes of one band.
std::size_t bandBytes(const BandedWarp &warp);

// ring: ringBands() x bandBytes(). What lies in the block before the place and behind the source is left alone.
void warpInBands(const BandedWarp &warp, RowTeam &team, std::uint8_t *ring);

} // namespace vindrel
