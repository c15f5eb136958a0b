// The extrema of the size-15 response, row after row.
//
// Whole response maps of a tile would take twelve megabytes and pass through memory twice. Here every pixel gets an
// estimate of one of its three responses only, of which three rows are kept; the few that may be extrema are computed
// exactly, with their neighbours.
#pragma once

#include "base/Buffer.h"
#include "features/ResponseKernel.h"

#include <cstdint>
#include <span>

namespace vindrel {

class ExtremumRows {
public:
  // The integral image is that of an image of size pixels, at least kScanMargin of them on all sides of one. Test
  // before use: false means that memory could not be allocated.
  ExtremumRows(const std::uint16_t *sums, Size size);
  explicit operator bool() const { return work_ && estimates_ && columns_ && extrema_; }

  // The extrema of row y, columns ascending, of those that keep kScanMargin from every border. Expects each y in turn,
  // from kScanMargin on. Valid until the next call.
  std::span<const Extremum> in(int y);

private:
  float *estimates(int y) { return estimates_.data() + y % 3 * stride_; }

  IntegralView<std::uint16_t> integral_;
  std::ptrdiff_t stride_;
  Buffer<std::int16_t> work_;
  Buffer<float> estimates_; // of row y in slot y mod 3
  Buffer<std::int32_t> columns_;
  Buffer<Extremum> extrema_;
  int next_; // first row not yet estimated
};

} // namespace vindrel
