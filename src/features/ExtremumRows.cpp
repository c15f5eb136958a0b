#include "features/ExtremumRows.h"

#include "features/BoxFilter.h"
#include "features/CandidateKernel.h"

namespace vindrel {

ExtremumRows::ExtremumRows(const std::uint16_t *sums, Size size)
    : integral_{sums, size.width}, stride_(std::ptrdiff_t{size.width} + kCandidateSlack),
      work_(Buffer<std::int16_t>::zeroed(kEstimateWorkRows * static_cast<std::size_t>(stride_))),
      estimates_(Buffer<float>::zeroed(3 * static_cast<std::size_t>(stride_))),
      columns_(Buffer<std::int32_t>::zeroed(static_cast<std::size_t>(stride_))),
      extrema_(Buffer<Extremum>::zeroed(static_cast<std::size_t>(size.width))), next_(kScanMargin - 1) {}

std::span<const Extremum> ExtremumRows::in(int y) {
  for (; next_ <= y + 1; ++next_)
    estimateRow(integral_, next_, work_.data(), estimates(next_));
  const int count = findCandidates(estimates(y - 1), estimates(y), estimates(y + 1), kScanMargin,
                                   static_cast<int>(integral_.width) - kScanMargin, columns_.data());
  const int kept = keepExtrema(integral_, y, estimates(y), columns_.data(), count, extrema_.data());
  return {extrema_.data(), static_cast<std::size_t>(kept)};
}

} // namespace vindrel
