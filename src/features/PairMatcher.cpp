// Nearest descriptor within a window of displacement, with a ratio test in the manner of Lowe 2004, "Distinctive image
// features from scale-invariant keypoints". Here the best distance is held against the distance that was best before
// it, not against the second-smallest one, so a runner-up seen after the best does not count.
#include "features/PairMatcher.h"

#include "base/Buffer.h"
#include "features/Descriptor.h"
#include "features/PairDistanceKernel.h"

#include <algorithm>
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
// The search ends with this many matches.
constexpr int kMatchLimit = 100001;
// From this many wanted distances on, a whole group of lanes is cheaper than one at a time.
constexpr int kWorthwhileLanes = 4;

struct Match {
  std::int32_t indexA;
  std::int32_t indexB;
  float distance;
};

// The limits of one A point; wide enough for any position plus any range.
struct Limits {
  std::int64_t scaleLow, scaleHigh, xLow, xHigh, yLow, yHigh;
};

Limits limitsAround(const FeatureSet &a, std::ptrdiff_t i, MatchWindow window) {
  const std::int64_t scale = a.scaleCode[i], x = a.x[i], y = a.y[i];
  return {scale - kScaleWindow, scale + kScaleWindow, x - window.rangeX,
          x + window.rangeX,    y - window.rangeY,    y + window.rangeY};
}

// Measures the candidates of one set B again and again.
class Candidates {
public:
  // Test before use: false means out of memory.
  explicit Candidates(const FeatureSet &b)
      : b_(b), interleaved_(Buffer<float>::zeroed(groupCount(b.count) * kGroupFloats)),
        highestScale_(Buffer<std::int32_t>::zeroed(groupCount(b.count))),
        ascending_(std::is_sorted(b.y, b.y + b.count)) {
    if (!*this) return;
    for (std::size_t g = 0; g < groupCount(b.count); ++g) {
      const int first = static_cast<int>(g) * kDistanceLanes;
      const int count = std::min(kDistanceLanes, b.count - first);
      interleave(descriptor(first), count, interleaved_.data() + g * kGroupFloats);
      const std::int32_t highest = *std::max_element(b.scaleCode + first, b.scaleCode + first + count);
      highestScale_[g] = g == 0 ? highest : std::max(highest, highestScale_[g - 1]);
    }
  }
  explicit operator bool() const { return interleaved_ && highestScale_; }

  // The match of A point i, if it has one.
  std::optional<Match> bestFor(const FeatureSet &a, int i, MatchWindow window) const {
    const Limits limits = limitsAround(a, i, window);
    const float *descriptorA = a.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * i;
    float best = kNoDistance, second = kNoDistance;
    int bestIndex = 0;
    bool stopped = false;
    for (int first = firstGroup(limits); first < b_.count && !stopped; first += kDistanceLanes) {
      int wanted[kDistanceLanes];
      int count = 0;
      const int end = std::min(b_.count, first + kDistanceLanes);
      for (int j = first; j < end; ++j) {
        // Both exits rely on B being in the order of detection: rows ascending. The one on the scale ends the scan at
        // the first point beyond the window wherever it lies.
        if (b_.scaleCode[j] < limits.scaleLow) continue;
        if (b_.scaleCode[j] > limits.scaleHigh || (b_.y[j] >= limits.yLow && b_.y[j] > limits.yHigh)) {
          stopped = true;
          break;
        }
        if (b_.y[j] < limits.yLow || b_.x[j] < limits.xLow || b_.x[j] > limits.xHigh) continue;
        wanted[count++] = j;
      }
      if (count == 0) continue;
      float lanes[kDistanceLanes];
      const bool together = count >= kWorthwhileLanes;
      if (together)
        laneDistances(descriptorA, interleaved_.data() + static_cast<std::ptrdiff_t>(first) * kDescriptorLength, lanes);
      for (int w = 0; w < count; ++w) {
        const int j = wanted[w];
        const float distance =
            together ? lanes[j - first] : descriptorDistance(descriptorA, descriptor(j), kDescriptorLength);
        if (distance < best) {
          second = best;
          best = distance;
          bestIndex = j;
        }
      }
    }
    if (best >= kNoDistance) return std::nullopt;
    if (second < kNoDistance && second > 0 && static_cast<double>(best / second) > kGreatestRatio) return std::nullopt;
    return Match{i, bestIndex, best};
  }

private:
  static constexpr std::size_t kGroupFloats = kDescriptorLength * kDistanceLanes;
  static constexpr std::size_t groupCount(int count) {
    return (static_cast<std::size_t>(count) + kDistanceLanes - 1) / kDistanceLanes;
  }
  // The first point of the group that the scan can start with; b_.count if it would end before. Where rows ascend, all
  // points before the window's first row would be skipped, unless one of them ends the scan by its scale.
  int firstGroup(const Limits &limits) const {
    if (!ascending_) return 0;
    const std::int32_t *inWindow = std::lower_bound(b_.y, b_.y + b_.count, limits.yLow);
    const std::ptrdiff_t group = (inWindow - b_.y) / kDistanceLanes;
    if (group > 0 && highestScale_[static_cast<std::size_t>(group) - 1] > limits.scaleHigh) return b_.count;
    return static_cast<int>(group) * kDistanceLanes;
  }

  const float *descriptor(int j) const { return b_.descriptor + static_cast<std::ptrdiff_t>(kDescriptorLength) * j; }

  FeatureSet b_;
  Buffer<float> interleaved_;         // group g holds points 16 g .. 16 g + 15 of B
  Buffer<std::int32_t> highestScale_; // of groups 0 .. g
  bool ascending_;                    // rows never decrease
};

} // namespace

MatchResult matchPairs(const FeatureSet &a, const FeatureSet &b, MatchWindow window, int maxPairs,
                       const PairsOut &out) {
  if (a.count < 1 || b.count < 1) return {.count = std::min(maxPairs, 0)};
  const Candidates candidates(b);
  // A match takes a B point of its own, and no A point has two.
  const int capacity = std::min({a.count, b.count, kMatchLimit});
  auto matches = Buffer<Match>::zeroed(static_cast<std::size_t>(capacity));
  auto entryOfB = Buffer<std::int32_t>::zeroed(static_cast<std::size_t>(b.count)); // 1 + index in matches, 0 for none
  if (!candidates || !matches || !entryOfB) return {.status = Status::OutOfMemory};

  int count = 0;
  for (int i = 0; i < a.count && count < kMatchLimit; ++i) {
    const std::optional<Match> match = candidates.bestFor(a, i, window);
    if (!match) continue;
    std::int32_t &entry = entryOfB[static_cast<std::size_t>(match->indexB)];
    if (entry == 0) {
      matches[static_cast<std::size_t>(count)] = *match;
      entry = ++count;
    } else if (Match &taken = matches[static_cast<std::size_t>(entry - 1)]; match->distance < taken.distance) {
      taken = *match;
    }
  }

  const int written = std::min(maxPairs, count);
  if (written < 1) return {.count = written};
  // Of equal distances the earlier entry of the table comes first. That makes the order total, so that the sort need
  // not be stable.
  const auto before = [&](const Match &l, const Match &r) {
    return l.distance != r.distance
               ? l.distance < r.distance
               : entryOfB[static_cast<std::size_t>(l.indexB)] < entryOfB[static_cast<std::size_t>(r.indexB)];
  };
  std::partial_sort(matches.begin(), matches.begin() + written, matches.begin() + count, before);
  for (int n = 0; n < written; ++n) {
    const Match &match = matches[static_cast<std::size_t>(n)];
    out.xA[n] = a.x[match.indexA];
    out.yA[n] = a.y[match.indexA];
    out.xB[n] = b.x[match.indexB];
    out.yB[n] = b.y[match.indexB];
    out.dist[n] = match.distance;
  }
  return {.count = written};
}

} // namespace vindrel
