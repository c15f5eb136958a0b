#include "translate/ShiftSearch.h"

#include "translate/BitmapCache.h"
#include "translate/BitmapPyramid.h"
#include "translate/BrightnessOrder.h"
#include "translate/Percentile.h"
#include "translate/ShiftTrialsKernel.h"

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

// Two pyramids of one layout.
class PairSearch {
public:
  // False when an allocation failed.
  bool allocate(const PyramidLayout &layout, RowTeam *team) {
    layout_ = &layout;
    team_ = team;
    const std::size_t members = team != nullptr ? static_cast<std::size_t>(team->size()) : 1;
    scratch_ = Buffer<std::uint64_t>::unfilled(members * trialScratch(layout.level(0, nullptr).rowWords));
    return static_cast<bool>(scratch_);
  }

  void load(const std::uint64_t *reference, const std::uint64_t *moving) {
    reference_ = {layout_, reference};
    moving_ = {layout_, moving};
  }

  Shift search(std::int64_t &bestDifference) {
    Shift shift;
    for (int l = layout_->levels() - 1; l >= 0; --l) {
      const Shift step = bestStep(l, shift, bestDifference);
      shift = {shift.x + step.x, shift.y + step.y};
      if (l > 0) shift = {2 * shift.x, 2 * shift.y};
    }
    return shift;
  }

  // Whether no shift next to this one, where the search ended, leaves fewer differing bits at full size. The search
  // tries only what lies within a pixel of where the coarser levels led it: misled by them, it ends on a slope.
  bool isLocalBest(Shift shift) {
    // Where the last step was none, the last trials were those round the shift.
    if (shift.x != lastStart_.x || shift.y != lastStart_.y) lastErrors_ = trialsAt(0, shift);
    return *std::min_element(lastErrors_.begin(), lastErrors_.end()) == lastErrors_[kTrials / 2];
  }

  ShiftEvidence evidenceAt(Shift shift) const {
    return gatherEvidence(reference_, moving_, layout_->levels(), shift.x, shift.y, team_);
  }

private:
  std::array<std::int64_t, kTrials> trialsAt(int l, Shift start) {
    return countTrials(reference_.level(l), moving_.level(l), start.x, start.y, scratch_.data(), team_);
  }

  // Where all nine are as good as what came before them, nothing speaks for any of them: no step is taken.
  Shift bestStep(int l, Shift start, std::int64_t &best) {
    lastStart_ = start;
    lastErrors_ = trialsAt(l, start);
    best = packedSamples(reference_.level(l).size, 1);
    Shift step;
    int good = 0;
    for (int i = 0; i < kTrials; ++i) {
      const std::int64_t error = lastErrors_[static_cast<std::size_t>(i)];
      if (error <= best) ++good;
      if (error < best) {
        best = error;
        step = {i % 3 - 1, i / 3 - 1};
      }
    }
    return good < kTrials ? step : Shift{};
  }

  const PyramidLayout *layout_ = nullptr;
  PyramidView reference_, moving_;
  RowTeam *team_ = nullptr;
  Buffer<std::uint64_t> scratch_; // of each member
  Shift lastStart_;               // of the trials that were counted last
  std::array<std::int64_t, kTrials> lastErrors_{};
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

// What the trials round a shift, and the edges that meet there, say about it.
void judge(PairSearch &search, Shift shift, FrameShift &result) {
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
}

// The frames of a stack along their order, each compared with the one before it.
class ChainSearch {
public:
  ChainSearch(FrameSource &frames, BitmapCache &bitmaps, const std::uint32_t *histograms, const ShiftSettings &settings,
              ShiftEstimate &estimate)
      : frames_(frames), bitmaps_(bitmaps), histograms_(histograms), settings_(settings), estimate_(estimate) {}

  Status run(const Brightness *brightness, const PercentileCounts &counts, Steps &steps) {
    if (!search_.allocate(bitmaps_.layout(), settings_.team)) return Status::OutOfMemory;
    const int *order = estimate_.order.data();

    // The brightest frame is the one placed first, on the second brightest: its own exposure is the least reliable.
    std::int64_t count = brightness[order[0]].target;
    if (count != counts.low && brightness[order[1]].target != counts.half) count = brightness[order[1]].target;
    count = adjusted(order[1], count);
    if (const Status status = place(order[1], order[0], count); status != Status::Ok) return status;
    if (!steps.next()) return Status::Cancelled;

    for (int k = 1; k + 1 < estimate_.count; ++k) {
      bitmaps_.release(order[k - 1]); // has met all its partners
      std::int64_t next = brightness[order[k]].target;
      if (brightness[order[k + 1]].target == counts.half) next = counts.half;
      // The first chained pair takes over the adjusted count of the pair before it where the target is that very count.
      if (k > 1 || next != count) count = adjusted(order[k], next);
      if (const Status status = place(order[k], order[k + 1], count); status != Status::Ok) return status;
      if (!steps.next()) return Status::Cancelled;
    }
    return Status::Ok;
  }

private:
  const std::uint32_t *histogram(int frame) const {
    return histograms_ + static_cast<std::int64_t>(kGreyLevels) * frame;
  }
  std::int64_t adjusted(int frame, std::int64_t count) const { return adjustCount(histogram(frame), 0, count); }

  // Compares a frame with its partner, whose position is known, at one pixel count for both.
  Status place(int partner, int frame, std::int64_t count) {
    const auto thresholded = [&](int index) { return Thresholded{index, firstBinAbove(histogram(index), count)}; };
    const std::optional<BitmapCache::Pair> pair = bitmaps_.pair(frames_, thresholded(partner), thresholded(frame));
    if (!pair) return Status::FrameMissing;
    search_.load(pair->reference, pair->moving);
    FrameShift &result = estimate_.shifts[frame];
    const Shift shift = search_.search(result.bestDifference);
    const FrameShift &base = estimate_.shifts[partner];
    result.x = base.x + shift.x;
    result.y = base.y + shift.y;
    result.partner = partner;
    result.pairX = shift.x;
    result.pairY = shift.y;
    result.comparedBits = packedSamples(frames_.format().size, 1);
    result.searched = true;
    const int reach = static_cast<int>((std::int64_t{1} << estimate_.levels) - 1);
    result.atReachEdge = std::max(std::abs(shift.x), std::abs(shift.y)) >= reach;
    if (settings_.verdicts == ShiftVerdicts::Reached) judge(search_, shift, result);
    estimate_.lastError =
        static_cast<int>(std::min<std::int64_t>(result.bestDifference, std::numeric_limits<int>::max()));
    return Status::Ok;
  }

  FrameSource &frames_;
  BitmapCache &bitmaps_;
  const std::uint32_t *histograms_;
  const ShiftSettings &settings_;
  ShiftEstimate &estimate_;
  PairSearch search_;
};

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

ShiftEstimate estimateShifts(std::span<const ImageView> frames, float searchFraction) {
  ViewFrames source(frames);
  return estimateShifts(source, {.searchFraction = searchFraction});
}

ShiftEstimate estimateShifts(FrameSource &frames, const ShiftSettings &settings) {
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

  Steps steps(settings.progress, 2 * estimate.count - 1);
  const FrameFormat format = frames.format();
  if (n > 1) estimate.levels = searchLevels(format.size, settings.searchFraction);
  BitmapCache bitmaps;
  if (estimate.levels > 0 && !bitmaps.allocate(format, estimate.count, estimate.levels, settings.team)) {
    return failed(Status::OutOfMemory);
  }
  const PercentileCounts counts = percentileCounts(packedSamples(format.size, 1));
  for (std::size_t i = 0; i < n; ++i) {
    const std::optional<ImageView> frame = frames.frame(static_cast<int>(i));
    if (!frame) return failed(Status::FrameMissing);
    std::uint32_t *histogram = histograms.data() + i * kGreyLevels;
    if (estimate.levels > 0)
      bitmaps.count(*frame, histogram);
    else
      greyHistogram(*frame, histogram);
    brightness[i] = brightnessOf(histogram, counts);
    // The count that its pairs ask for most likely: of a dark frame too, whose brighter partner is mostly none.
    const std::int64_t likely = brightness[i].target == counts.low ? counts.low : counts.half;
    if (estimate.levels > 0) bitmaps.keep({static_cast<int>(i), firstBinAbove(histogram, likely)});
    if (!steps.next()) return failed(Status::Cancelled);
  }
  orderByBrightness(brightness.data(), estimate.count, estimate.order.data());

  FrameShift &anchor = estimate.shifts[estimate.order[n > 1 ? 1 : 0]];
  anchor.doubt = ShiftDoubt::None;
  anchor.trustworthy = true;
  if (estimate.levels > 0) {
    ChainSearch chain(frames, bitmaps, histograms.data(), settings, estimate);
    if (const Status status = chain.run(brightness.data(), counts, steps); status != Status::Ok) return failed(status);
  }
  findExtent(estimate);
  return estimate;
}

} // namespace vindrel
