// Nearest descriptor within a window of displacement, with a ratio test in the manner of Lowe 2004, "Distinctive image
// features from scale-invariant keypoints". Here the best distance is held against the distance that was best before
// it, not against the second-smallest one, so a runner-up seen after the best does not count.
//
// A candidate that is no nearer than one before it changes nothing. So only those count whose estimated distance leaves
// room for being nearer, about the logarithm of their number, and mostly their estimates settle the match: its distance
// is then the only one computed.
#include "features/PairMatcher.h"

#include "base/Buffer.h"
#include "features/Descriptor.h"
#include "features/PairSearchKernel.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <hwy/cache_control.h>
#include <limits>
#include <optional>

namespace vindrel {
namespace {

// Partners differ by at most this in scaleCode: half a step between filter sizes.
constexpr int kScaleWindow = 50;
// Greater than any distance; where a candidate has yet to come.
constexpr float kNoDistance = 1e8f;
// A match must be this much better than the candidate it displaced. Compared in double precision: the float nearest
// 0.4 lies above it and fails.
constexpr double kGreatestRatio = 0.4;
// Estimates are each up to kEstimateFactor off.
constexpr float kRatioSlack = kEstimateFactor * kEstimateFactor * kEstimateFactor;
// The search ends with this many matches.
constexpr int kMatchLimit = 100001;
// Matches whose distances are computed together.
constexpr int kPendingMatches = 64;

struct Match {
  std::int32_t indexA = 0;
  std::int32_t indexB = 0;
  float distance = 0;
};

// The int nearest to a bound: what lies within two bounds around an int stays the same, and nothing stays nothing.
std::int32_t bound(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

PairLimits limitsAround(const FeatureSet &a, std::ptrdiff_t i, MatchWindow window) {
  const std::int64_t scale = a.scaleCode[i], x = a.x[i], y = a.y[i];
  return {.scaleLow = bound(scale - kScaleWindow),
          .scaleHigh = bound(scale + kScaleWindow),
          .xLow = bound(x - window.rangeX),
          .xHigh = bound(x + window.rangeX),
          .yLow = bound(y - window.rangeY),
          .yHigh = bound(y + window.rangeY)};
}

// Searches one set B again and again.
class Candidates {
public:
  // Test before use: false means out of memory.
  explicit Candidates(const FeatureSet &b)
      : b_(b), columns_(Buffer<std::int32_t>::zeroed(3 * room())), highestBefore_(Buffer<std::int32_t>::zeroed(room())),
        listed_(Buffer<std::int32_t>::zeroed(room())), estimates_(Buffer<float>::zeroed(room())),
        lowestRow_(Buffer<std::int32_t>::zeroed(room())) {
    if (!*this) return;
    std::int32_t *x = columns_.data(), *y = x + room(), *scaleCode = y + room();
    std::copy_n(b.x, b.count, x);
    std::copy_n(b.y, b.count, y);
    std::copy_n(b.scaleCode, b.count, scaleCode);
    set_ = {.count = b.count, .x = x, .y = y, .scaleCode = scaleCode, .descriptor = b.descriptor};
    highestBefore_[0] = std::numeric_limits<std::int32_t>::min();
    std::int32_t lowest = std::numeric_limits<std::int32_t>::min(), highest = lowest;
    for (int j = 0; j < b.count; ++j) {
      lowestRow_[static_cast<std::size_t>(j)] = lowest = std::max(lowest, b.y[j]);
      highestBefore_[static_cast<std::size_t>(j) + 1] = highest = std::max(highest, b.scaleCode[j]);
    }
  }
  explicit operator bool() const { return columns_ && highestBefore_ && listed_ && estimates_ && lowestRow_; }

  // The B point that A point i matches, if there is one.
  std::optional<int> matchOf(const FeatureSet &a, int i, MatchWindow window) {
    const PairLimits limits = limitsAround(a, i, window);
    goToFirstRow(limits.yLow);
    fetchAhead(a, i, limits.yHigh);
    if (highestBefore_[static_cast<std::size_t>(first_)] > limits.scaleHigh) return std::nullopt;
    const int inWindow = listWindow(set_, first_, limits, listed_.data());
    if (inWindow == 0) return std::nullopt;
    const float *descriptor = a.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * i;
    const int near = keepNear(set_, descriptor, listed_.data(), inWindow, estimates_.data());
    switch (judge(near)) {
    case Verdict::LastMatches:
      return listed_[static_cast<std::size_t>(near) - 1];
    case Verdict::NoneMatches:
      return std::nullopt;
    case Verdict::Uncertain:
      break;
    }
    return measured(descriptor, near);
  }

private:
  std::size_t room() const { return static_cast<std::size_t>(b_.count) + kSearchSlack; }

  // All points before the first one that a row of the window or a later one has led to would be skipped, unless one of
  // them ends the search by its scale. A's rows ascend, nearly, so that each search starts near the one before.
  void goToFirstRow(std::int32_t yLow) {
    const std::int32_t *lowestRow = lowestRow_.data();
    if (first_ > 0 && lowestRow[first_ - 1] >= yLow)
      first_ = static_cast<int>(std::lower_bound(lowestRow, lowestRow + first_, yLow) - lowestRow);
    while (first_ < set_.count && lowestRow[first_] < yLow)
      ++first_;
  }

  // Has the descriptors that the next searches will read brought near: B's from the rows below the window on, a few at
  // a time, and A's own.
  void fetchAhead(const FeatureSet &a, int i, std::int32_t yHigh) {
    constexpr int kRowsAhead = 24, kMost = 4, kPointsAhead = 8;
    for (int n = 0; n < kMost && fetched_ < set_.count && std::int64_t{set_.y[fetched_]} - kRowsAhead <= yHigh; ++n)
      fetch(set_, fetched_++);
    if (i + kPointsAhead < a.count) fetch(a, i + kPointsAhead);
  }
  template <class Set>
  static void fetch(const Set &set, std::ptrdiff_t i) {
    constexpr int kCacheLine = 16; // floats
    for (int k = 0; k < kDescriptorLength; k += kCacheLine)
      hwy::Prefetch(set.descriptor + kDescriptorLength * i + k);
  }

  enum class Verdict { LastMatches, NoneMatches, Uncertain };

  static bool isReliable(float estimate) {
    const bool inRange = (estimate >= kLeastReliableEstimate) & (estimate < kNoDistance / kEstimateFactor);
    return inRange | (estimate == 0);
  }

  // What the estimates of the near points say for certain.
  Verdict judge(int near) const {
    const float *estimates = estimates_.data();
    const float last = estimates[near - 1];
    float before = kNoDistance; // the least but the last
    bool reliable = isReliable(last);
    for (int n = 0; n < near - 1; ++n) {
      reliable &= isReliable(estimates[n]);
      before = std::min(before, estimates[n]);
    }
    if (!reliable) return Verdict::Uncertain;
    if (near == 1) return Verdict::LastMatches;
    const float ratio = last / before;
    if (!(last * kEstimateFactor < before)) return Verdict::Uncertain;
    if (static_cast<double>(ratio * kRatioSlack) < kGreatestRatio) return Verdict::LastMatches;
    return static_cast<double>(ratio / kRatioSlack) > kGreatestRatio ? Verdict::NoneMatches : Verdict::Uncertain;
  }

  // The match by the distances of the near points.
  std::optional<int> measured(const float *descriptor, int near) const {
    float best = kNoDistance, second = kNoDistance;
    int bestIndex = 0;
    for (int n = 0; n < near; ++n) {
      const int j = listed_[static_cast<std::size_t>(n)];
      const float distance = descriptorDistance(
          descriptor, b_.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * j, kDescriptorLength);
      if (distance < best) {
        second = best;
        best = distance;
        bestIndex = j;
      }
    }
    if (best >= kNoDistance) return std::nullopt;
    if (second < kNoDistance && second > 0 && static_cast<double>(best / second) > kGreatestRatio) return std::nullopt;
    return bestIndex;
  }

  FeatureSet b_;
  SearchedSet set_;
  Buffer<std::int32_t> columns_;       // copies of B's, with room for whole vectors
  Buffer<std::int32_t> highestBefore_; // the greatest scaleCode of the points before each
  Buffer<std::int32_t> listed_;
  Buffer<float> estimates_;
  Buffer<std::int32_t> lowestRow_; // the lowest in the image, up to each point: refined points are not quite in order
  int first_ = 0;                  // where the search starts
  int fetched_ = 0;                // points whose descriptors have been brought near
};

// The matches so far: a B point has only one, with the A point of the least distance, the first of equal ones.
class MatchTable {
public:
  // Test before use: false means out of memory. No A point has two matches, so there is room for all.
  MatchTable(const FeatureSet &a, const FeatureSet &b)
      : a_(a), b_(b), matches_(Buffer<Match>::zeroed(mostMatches(a, b))),
        keys_(Buffer<std::uint64_t>::zeroed(mostMatches(a, b))),
        entryOfB_(Buffer<std::int32_t>::zeroed(static_cast<std::size_t>(b.count))) {}
  explicit operator bool() const { return matches_ && keys_ && entryOfB_; }

  bool isFull() const { return count_ == kMatchLimit; }

  void add(int indexA, int indexB) {
    pending_[pendingCount_] = {indexA, indexB, 0};
    pairs_[pendingCount_++] = {a_.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * indexA,
                               b_.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * indexB};
    if (pendingCount_ == kPendingMatches) settle();
  }

  // Writes the best matches after all have been added.
  int write(int maxPairs, const PairsOut &out) {
    settle();
    const int written = std::min(maxPairs, count_);
    if (written < 1) return written;
    // Of equal distances the earlier entry comes first. Distances are no less than 0, so that their bits ascend with
    // them.
    const auto first = keys_.begin();
    for (int n = 0; n < count_; ++n)
      first[n] = std::uint64_t{std::bit_cast<std::uint32_t>(matches_[static_cast<std::size_t>(n)].distance)} << 32 |
                 static_cast<std::uint32_t>(n);
    if (written < count_) std::nth_element(first, first + written, first + count_);
    std::sort(first, first + written);
    for (int n = 0; n < written; ++n) {
      const Match &match = matches_[first[n] & 0xFFFFFFFF];
      out.xA[n] = a_.x[match.indexA];
      out.yA[n] = a_.y[match.indexA];
      out.xB[n] = b_.x[match.indexB];
      out.yB[n] = b_.y[match.indexB];
      out.dist[n] = match.distance;
    }
    return written;
  }

private:
  static std::size_t mostMatches(const FeatureSet &a, const FeatureSet &b) {
    return static_cast<std::size_t>(std::min({a.count, b.count, kMatchLimit}));
  }

  // Enters the pending matches, in their order.
  void settle() {
    float distances[kPendingMatches];
    pairDistances(pairs_, pendingCount_, distances);
    for (int n = 0; n < pendingCount_ && !isFull(); ++n) {
      Match match = pending_[n];
      match.distance = distances[n];
      std::int32_t &entry = entryOfB_[static_cast<std::size_t>(match.indexB)];
      if (entry == 0) {
        matches_[static_cast<std::size_t>(count_)] = match;
        entry = ++count_;
      } else if (Match &taken = matches_[static_cast<std::size_t>(entry) - 1]; match.distance < taken.distance) {
        taken = match;
      }
    }
    pendingCount_ = 0;
  }

  FeatureSet a_, b_;
  Buffer<Match> matches_;
  Buffer<std::uint64_t> keys_;    // to sort them by
  Buffer<std::int32_t> entryOfB_; // 1 + index in matches, 0 for none
  int count_ = 0;
  Match pending_[kPendingMatches];
  DescriptorPair pairs_[kPendingMatches];
  int pendingCount_ = 0;
};

} // namespace

MatchResult matchPairs(const FeatureSet &a, const FeatureSet &b, MatchWindow window, int maxPairs,
                       const PairsOut &out) {
  const bool nothingWithin = window.rangeX < 0 || window.rangeY < 0;
  if (a.count < 1 || b.count < 1 || nothingWithin) return {.count = std::min(maxPairs, 0)};
  Candidates candidates(b);
  MatchTable table(a, b);
  if (!candidates || !table) return {.status = Status::OutOfMemory};
  for (int i = 0; i < a.count && !table.isFull(); ++i)
    if (const std::optional<int> match = candidates.matchOf(a, i, window)) table.add(i, *match);
  return {.count = table.write(maxPairs, out)};
}

} // namespace vindrel
