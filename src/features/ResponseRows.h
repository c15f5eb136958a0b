// The rows of the three response maps that are looked at together: a level's row and its two neighbours, at each
// filter size.
//
// Whole maps of a tile would take twelve megabytes and pass through memory twice. Nothing ever looks further than one
// row away, so three rows of each map are kept in a ring and computed as the scan moves down.
//
// A map is laid out once, at full resolution: the response at (column c, row r) stands at index r x width + c, and
// entries nearer than kResponseMargin to a border are zero. A pyramid level reads the same maps with its own, smaller
// width as row length, so that its row y is the run of entries from y x levelWidth on. For level 0 that is row y of
// the image; for others the run may cross into a second image row. Levels beyond the first are therefore not scaled
// images; the detector is built for one level and only stays well defined with more.
#pragma once

#include "base/Buffer.h"
#include "features/ResponseKernel.h"

#include <cstdint>

namespace vindrel {

// Rows y - 1, y and y + 1 of each map, [0] to [2].
struct ResponseNeighbourhood {
  const float *size9[3];
  const float *size15[3];
  const float *size21[3];
};

class ResponseRing {
public:
  // The integral image is that of an image of imageSize pixels; rows will be levelWidth > 0 entries long. Test the
  // ring before use: false means that its memory could not be allocated.
  ResponseRing(IntegralView integral, Size imageSize, int levelWidth);
  explicit operator bool() const { return static_cast<bool>(memory_); }

  // The neighbourhood of level row y. The first call computes three rows; later calls expect the next y and compute
  // one. Valid until the next call.
  ResponseNeighbourhood around(int y);

private:
  ResponseSpans slot(int y);
  void compute(int y);

  IntegralView integral_;
  Size imageSize_;
  std::ptrdiff_t levelWidth_;
  Buffer<float> memory_; // three slots of three rows; level row y lives in slot y mod 3
  int next_ = -1;        // first level row not yet computed, -1 before the first
};

} // namespace vindrel
