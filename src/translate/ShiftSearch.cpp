#include "translate/ShiftSearch.h"

#include "translate/BitDifferenceKernel.h"
#include "translate/BitmapPyramid.h"
#include "translate/BrightnessOrder.h"
#include "translate/Percentile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace vindrel {
namespace {

struct Shift {
  int x = 0;
  int y = 0;
};

constexpr int kTrials = 9;

// A pyramid that knows what it was built from: the shape of a chain asks for the same one again.
struct BuiltPyramid {
  BitmapPyramid pyramid;
  int frame = -1;
  std::int64_t count = 0;

  bool shows(int otherFrame, std::int64_t otherCount) const { return frame == otherFrame && count == otherCount; }
};

class PairSearch {
public:
  bool allocate(Size size, int levels) {
    levels_ = levels;
    const Size small = halved(size);
    grey_ = Buffer<std::uint8_t>::zeroed(static_cast<std::size_t>(packedSamples(size, 1)));
    grey2_ = Buffer<std::uint8_t>::zeroed(static_cast<std::size_t>(packedSamples(small, 1)));
    reference_.pyramid = BitmapPyramid::allocated(size, levels);
    moving_.pyramid = BitmapPyramid::allocated(size, levels);
    return grey_ && grey2_ && reference_.pyramid && moving_.pyramid;
  }

  // Both thresholded at the same pixel count. False when a frame could not be had.
  bool load(FrameSource &frames, int reference, int moving, std::int64_t count) {
    if (moving_.shows(reference, count)) std::swap(reference_, moving_);
    return show(reference_, frames, reference, count) && show(moving_, frames, moving, count);
  }

  Shift search(std::int64_t &bestDifference) const {
    Shift shift;
    for (int l = levels_ - 1; l >= 0; --l) {
      const Shift step = bestStep(l, shift, bestDifference);
      shift = {shift.x + step.x, shift.y + step.y};
      if (l > 0) shift = {2 * shift.x, 2 * shift.y};
    }
    return shift;
  }

  // Whether no shift next to this one leaves fewer differing bits at full size. The search tries only what lies within
  // a pixel of where the coarser levels led it: misled by them, it ends on a slope.
  bool isLocalBest(Shift shift) const {
    const std::array<std::int64_t, kTrials> errors = countTrials(0, shift);
    return *std::min_element(errors.begin(), errors.end()) == errors[kTrials / 2];
  }

  ShiftEvidence evidenceAt(Shift shift) const {
    return gatherEvidence(reference_.pyramid, moving_.pyramid, levels_, shift.x, shift.y);
  }

private:
  bool show(BuiltPyramid &built, FrameSource &frames, int frame, std::int64_t count) {
    if (built.shows(frame, count)) return true;
    const std::optional<ImageView> view = frames.frame(frame);
    if (!view) return false;
    built.pyramid.build(*view, count, grey_.data(), grey2_.data());
    built.frame = frame;
    built.count = count;
    return true;
  }

  // The differing bits of all trials in one pass over the rows, dy outer and dx inner.
  std::array<std::int64_t, kTrials> countTrials(int l, Shift start) const {
    const BitmapView reference = reference_.pyramid.level(l);
    const BitmapView moving = moving_.pyramid.level(l);
    const auto [width, height] = reference.size;
    std::array<std::int64_t, kTrials> errors{};
    for (int y = 0; y < height; ++y) {
      const std::uint64_t *row = reference.row(y);
      for (int dy = -1; dy <= 1; ++dy) {
        std::int64_t *three = errors.data() + 3 * (dy + 1);
        const int source = y + start.y + dy;
        if (source < 1 || source >= height) { // row 0 is left out like column 0
          const std::int64_t set = countRowBits(row, width);
          for (int i = 0; i < 3; ++i)
            three[i] += set;
        } else {
          for (int i = 0; i < 3; ++i)
            three[i] += countRowDifferences(row, moving.row(source), width, start.x + i - 1);
        }
      }
    }
    return errors;
  }

  // Where all nine are as good as what came before them, nothing speaks for any of them: no step is taken.
  Shift bestStep(int l, Shift start, std::int64_t &best) const {
    const std::array<std::int64_t, kTrials> errors = countTrials(l, start);
    best = packedSamples(reference_.pyramid.level(l).size, 1);
    Shift step;
    int good = 0;
    for (int i = 0; i < kTrials; ++i) {
      if (errors[i] <= best) ++good;
      if (errors[i] < best) {
        best = errors[i];
        step = {i % 3 - 1, i / 3 - 1};
      }
    }
    return good < kTrials ? step : Shift{};
  }

  int levels_ = 0;
  Buffer<std::uint8_t> grey_, grey2_;
  BuiltPyramid reference_, moving_;
};

// A step for each frame that is looked at and for each pair that is compared.
class Steps {
public:
  Steps(const Progress &progress, int total) : progress_(progress), total_(total) {}
  // False when cancelled.
  bool next() { return progress_.report(static_cast<double>(++done_) / total_); }

private:
  const Progress &progress_;
  int total_;
  int done_ = 0;
};

// Compares a frame with its partner, whose position is known, at one pixel count for both.
Status placeFrame(PairSearch &search, FrameSource &frames, int partner, int frame, std::int64_t count,
                  ShiftEstimate &estimate) {
  if (!search.load(frames, partner, frame, count)) return Status::FrameMissing;
  FrameShift &result = estimate.shifts[frame];
  const Shift shift = search.search(result.bestDifference);
  const FrameShift &base = estimate.shifts[partner];
  result.x = base.x + shift.x;
  result.y = base.y + shift.y;
  result.partner = partner;
  result.pairX = shift.x;
  result.pairY = shift.y;
  result.comparedBits = packedSamples(frames.format().size, 1);
  result.searched = true;
  const int reach = static_cast<int>((std::int64_t{1} << estimate.levels) - 1);
  result.atReachEdge = std::max(std::abs(shift.x), std::abs(shift.y)) >= reach;
  result.evidence = search.evidenceAt(shift);
  result.meanDifference = result.evidence.chanceShare * static_cast<double>(result.comparedBits);
  if (result.atReachEdge) {
    result.doubt = ShiftDoubt::AtReachEdge;
  } else if (!isBetterThanChance(result.evidence)) {
    result.doubt = ShiftDoubt::NoBetterThanChance;
  } else {
    const bool exact = edgesAgree(result.evidence) && search.isLocalBest(shift);
    result.doubt = exact ? ShiftDoubt::None : ShiftDoubt::Inexact;
  }
  result.trustworthy = result.doubt == ShiftDoubt::None;
  estimate.lastError = static_cast<int>(std::min<std::int64_t>(result.bestDifference, std::numeric_limits<int>::max()));
  return Status::Ok;
}

Status searchChain(FrameSource &frames, const std::uint32_t *histograms, const Brightness *brightness,
                   const PercentileCounts &counts, Steps &steps, ShiftEstimate &estimate) {
  PairSearch search;
  if (!search.allocate(frames.format().size, estimate.levels)) return Status::OutOfMemory;
  const int *order = estimate.order.data();
  const auto adjusted = [&](int frame, std::int64_t count) {
    return adjustCount(histograms + static_cast<std::int64_t>(kGreyLevels) * frame, 0, count);
  };

  // The brightest frame is the one placed first, on the second brightest: its own exposure is the least reliable.
  std::int64_t count = brightness[order[0]].target;
  if (count != counts.low && brightness[order[1]].target != counts.half) count = brightness[order[1]].target;
  count = adjusted(order[1], count);
  const auto place = [&](int partner, int frame) {
    const Status status = placeFrame(search, frames, partner, frame, count, estimate);
    return status == Status::Ok && !steps.next() ? Status::Cancelled : status;
  };
  if (const Status status = place(order[1], order[0]); status != Status::Ok) return status;

  for (int k = 1; k + 1 < estimate.count; ++k) {
    std::int64_t next = brightness[order[k]].target;
    if (brightness[order[k + 1]].target == counts.half) next = counts.half;
    // The first chained pair takes over the adjusted count of the pair before it where the target is that very count.
    if (k > 1 || next != count) count = adjusted(order[k], next);
    if (const Status status = place(order[k], order[k + 1]); status != Status::Ok) return status;
  }
  return Status::Ok;
}

void findExtent(ShiftEstimate &estimate) {
  for (const FrameShift &shift : estimate.shifts) {
    estimate.minX = std::min(estimate.minX, shift.x);
    estimate.maxX = std::max(estimate.maxX, shift.x);
    estimate.minY = std::min(estimate.minY, shift.y);
    estimate.maxY = std::max(estimate.maxY, shift.y);
  }
}

ShiftEstimate failed(Status status) {
  ShiftEstimate estimate;
  estimate.status = status;
  return estimate;
}

} // namespace

int searchLevels(Size size, float searchFraction) {
  const float product = 2.0F * (static_cast<float>(size.width) * searchFraction * 0.25F);
  const double levels = std::log(static_cast<double>(product)) * 1.4426950408889634;
  if (!(levels >= 1)) return 0; // a NaN as well
  int withPixels = 0;
  for (; hasPixels(size) && withPixels < kMaxPyramidLevels; size = halved(size))
    ++withPixels;
  return levels < withPixels ? static_cast<int>(levels) : withPixels;
}

float fractionForShift(Size size, int shift) {
  if (shift <= 0) return 0;
  int levels = 1;
  while ((std::int64_t{1} << levels) - 1 <= shift)
    ++levels;
  // Halfway to the next level: the logarithm is truncated and its argument rounded, and neither may cost a level.
  return static_cast<float>(std::ldexp(1.5, levels + 1) / size.width);
}

ShiftEstimate estimateShifts(std::span<const ImageView> frames, float searchFraction, const Progress &progress) {
  ViewFrames source(frames);
  return estimateShifts(source, searchFraction, progress);
}

ShiftEstimate estimateShifts(FrameSource &frames, float searchFraction, const Progress &progress) {
  ShiftEstimate estimate;
  estimate.count = frames.count();
  const auto n = static_cast<std::size_t>(estimate.count);
  estimate.shifts = Buffer<FrameShift>::zeroed(n);
  estimate.order = Buffer<int>::zeroed(n);
  Buffer<std::uint32_t> histograms = Buffer<std::uint32_t>::zeroed(n * kGreyLevels);
  Buffer<Brightness> brightness = Buffer<Brightness>::zeroed(n);
  if (!estimate.shifts || !estimate.order || !histograms || !brightness) return failed(Status::OutOfMemory);
  std::fill(estimate.shifts.begin(), estimate.shifts.end(), FrameShift{});
  if (n == 0) return estimate;

  Steps steps(progress, 2 * estimate.count - 1);
  const Size size = frames.format().size;
  const PercentileCounts counts = percentileCounts(packedSamples(size, 1));
  for (std::size_t i = 0; i < n; ++i) {
    const std::optional<ImageView> frame = frames.frame(static_cast<int>(i));
    if (!frame) return failed(Status::FrameMissing);
    std::uint32_t *histogram = histograms.data() + i * kGreyLevels;
    greyHistogram(*frame, histogram);
    brightness[i] = brightnessOf(histogram, counts);
    if (!steps.next()) return failed(Status::Cancelled);
  }
  orderByBrightness(brightness.data(), estimate.count, estimate.order.data());

  FrameShift &anchor = estimate.shifts[estimate.order[n > 1 ? 1 : 0]];
  anchor.doubt = ShiftDoubt::None;
  anchor.trustworthy = true;
  if (n > 1) estimate.levels = searchLevels(size, searchFraction);
  if (estimate.levels > 0) {
    const Status status = searchChain(frames, histograms.data(), brightness.data(), counts, steps, estimate);
    if (status != Status::Ok) return failed(status);
  }
  findExtent(estimate);
  return estimate;
}

} // namespace vindrel
