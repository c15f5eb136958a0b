#include "driver/BandedWarp.h"

#include "transform/Transform.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vindrel {
namespace {

// The warp maps in single precision: each term of a sum is off by some 2^-24 of it, and so are the sum and what becomes
// of it. This leaves room for sixteen such roundings.
constexpr double kRounding = 0x1p-20;
constexpr double kLeastDenominator = 0x1p-10; // below this the horizon is too near to say anything
constexpr int kSpareRows = 2;
constexpr std::int64_t kPixelsAtATime = 1 << 16; // of the output, that are warped in about a tenth of a millisecond

int bandsOf(const BandedWarp &warp) {
  if (warp.out.width < 1 || warp.out.height < 1) return 0;
  return (warp.out.height + warp.bandRows - 1) / warp.bandRows;
}

int rowsOf(const BandedWarp &warp, int band) {
  return std::min(warp.bandRows, warp.out.height - band * warp.bandRows);
}

std::int64_t outRowBytes(const BandedWarp &warp) {
  return packedSamples({warp.out.width, 1}, warp.job.source.channels) * bytesPerSample(warp.job.source.depth);
}

std::int64_t sourceRowBytes(const BandedWarp &warp) {
  return warp.job.source.rowStride * bytesPerSample(warp.job.source.depth);
}

// No output row from firstRow on reads a source row before this one. On one side of its horizon a transform maps a
// rectangle into the hull of its mapped corners, so that they speak for all of it; where they do not lie on one side,
// this is the first row.
std::int64_t lowestRowRead(const BandedWarp &warp, int firstRow) {
  const float *t = warp.job.transform.coefficients;
  const auto height = static_cast<double>(warp.job.source.size.height);
  double lowest = height;
  for (const int row : {firstRow, warp.out.height - 1})
    for (const int column : {0, warp.out.width - 1}) {
      const double x = static_cast<double>(column) - warp.job.offsetX, y = static_cast<double>(row) - warp.job.offsetY;
      const double w = warp.job.transform.perspective
                           ? 1 + (static_cast<double>(t[6]) * x + static_cast<double>(t[7]) * y) * kPerspectiveUnit
                           : 1.0;
      const double terms[] = {static_cast<double>(t[3]) * x, static_cast<double>(t[4]) * y, static_cast<double>(t[5])};
      const double rounding = (std::abs(terms[0]) + std::abs(terms[1]) + std::abs(terms[2])) * kRounding;
      const double mapped = (terms[0] + terms[1] + terms[2] - rounding) / w;
      if (!(w >= kLeastDenominator) || !std::isfinite(mapped)) return 0;
      lowest = std::min(lowest, mapped);
    }
  return static_cast<std::int64_t>(std::max(0.0, lowest - kSpareRows));
}

// How many bands may be written to their place before this band is warped; before the one behind the last, all.
int readyBefore(const BandedWarp &warp, int band) {
  const int bands = bandsOf(warp);
  if (band >= bands) return bands;
  const auto *source = static_cast<const std::uint8_t *>(warp.job.source.samples);
  const std::int64_t firstRead = source - warp.place + lowestRowRead(warp, band * warp.bandRows) * sourceRowBytes(warp);
  return static_cast<int>(std::min<std::int64_t>(band, firstRead / (outRowBytes(warp) * warp.bandRows)));
}

// One step: bands that have become ready are written to their place, and another one is warped.
struct Step {
  const BandedWarp &warp;
  std::uint8_t *ring;
  int slots;
  int readyFrom, readyTo; // bands
  int band;               // one past the last: nothing is left to warp

  std::uint8_t *slot(int b) const { return ring + static_cast<std::size_t>(b % slots) * bandBytes(warp); }

  // Of each of the bands, the same rows.
  void run(RowRange rows) const {
    const std::int64_t rowBytes = outRowBytes(warp);
    for (int b = readyFrom; b < readyTo; ++b) {
      const int end = std::min(rows.end, rowsOf(warp, b));
      if (rows.begin >= end) continue;
      const std::int64_t first = std::int64_t{b} * warp.bandRows + rows.begin;
      std::memcpy(warp.place + first * rowBytes, slot(b) + rows.begin * rowBytes,
                  static_cast<std::size_t>((end - rows.begin) * rowBytes));
    }
    if (band >= bandsOf(warp)) return;
    const int end = std::min(rows.end, rowsOf(warp, band));
    if (rows.begin >= end) return;
    const int first = band * warp.bandRows;
    warpBand(warp.job, {first + rows.begin, first + end}, slot(band) + rows.begin * rowBytes);
  }
};

} // namespace

int ringBands(const BandedWarp &warp) {
  int most = 0;
  // A slot is free again from the step on that follows the one in which its band is written.
  for (int band = 0, free = 0; band < bandsOf(warp); ++band) {
    most = std::max(most, band + 1 - free);
    free = std::max(free, readyBefore(warp, band));
  }
  return most;
}

std::size_t bandBytes(const BandedWarp &warp) {
  return bandsOf(warp) < 1 ? 0 : static_cast<std::size_t>(outRowBytes(warp) * rowsOf(warp, 0));
}

void warpInBands(const BandedWarp &warp, RowTeam &team, std::uint8_t *ring) {
  const int slots = ringBands(warp), bands = bandsOf(warp);
  int ready = 0;
  for (int band = 0; bands > 0 && band <= bands; ++band) {
    Step step = {.warp = warp, .ring = ring, .slots = slots, .readyFrom = ready, .readyTo = ready, .band = band};
    step.readyTo = ready = std::max(ready, readyBefore(warp, band));
    team.share(rowsOf(warp, 0), rowsWorthSharing(kPixelsAtATime, warp.out.width),
               [&step](int, RowRange rows) { step.run(rows); });
  }
}

} // namespace vindrel
