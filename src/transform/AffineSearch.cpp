#include "transform/AffineSearch.h"

#include "base/Buffer.h"
#include "transform/AffineCost.h"
#include "transform/AffineScore.h"
#include "transform/RankByDistance.h"
#include "transform/Simplex.h"
#include "transform/ThreePairs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vindrel {

namespace {

constexpr int kDraws = 6;                // tries at spreading an anchor's partners
constexpr int kWeakSupport = 4;          // pairs: up to here agreement may be chance
constexpr double kQualifyingShare = 0.8; // of the largest support: whose candidates are pooled
constexpr float kNoError = 999999.0f;    // above any candidate's mean squared error
constexpr double kMaxShift = 0.2;        // of the frame's width or height
constexpr int kParameters = 6;
constexpr int kSimplexPoints = kParameters + 1;

struct Candidate {
  Trans6 transform;
  AffineSample sample;
  AffineScore score; // a support of 0: the sample had no transform
};

std::size_t sizeOf(int count) {
  return static_cast<std::size_t>(count);
}

class AffineSearch {
public:
  AffineSearch(const PairsView &pairs, int ranks, const RandomSource &random)
      : pairs_(pairs), ranks_(ranks), anchors_(ranks - 1), random_(random) {}

  // Orders the best pairs. One rank is left out of the ordering: the last rank stands for the first pair of the list,
  // whichever that is.
  Status prepare() {
    order_ = Buffer<int>::zeroed(sizeOf(ranks_));
    coordinates_ = Buffer<float>::zeroed(4 * sizeOf(ranks_));
    candidates_ = Buffer<Candidate>::zeroed(sizeOf(anchors_));
    pooled_ = Buffer<std::int32_t>::zeroed(4 * sizeOf(ranks_));
    isPooled_ = Buffer<bool>::zeroed(sizeOf(ranks_));
    if (!order_ || !coordinates_ || !candidates_ || !pooled_ || !isPooled_) return Status::OutOfMemory;
    if (const Status status = rankByDistance(pairs_, anchors_, order_.data()); status != Status::Ok) return status;
    float *const values = coordinates_.data();
    for (int r = 0; r < ranks_; ++r) {
      const int p = order_[sizeOf(r)];
      values[r] = static_cast<float>(pairs_.xA[p]);
      values[r + ranks_] = static_cast<float>(pairs_.yA[p]);
      values[r + 2 * ranks_] = static_cast<float>(pairs_.xB[p]);
      values[r + 3 * ranks_] = static_cast<float>(pairs_.yB[p]);
    }
    ranked_ = {
        .count = ranks_, .xA = values, .yA = values + ranks_, .xB = values + 2 * ranks_, .yB = values + 3 * ranks_};
    return Status::Ok;
  }

  // Makes each anchor's candidate; returns the largest support.
  int tryAnchors() {
    int largest = 0;
    for (int k = 0; k < anchors_; ++k) {
      Candidate &candidate = candidates_[sizeOf(k)];
      candidate.sample = drawSample(k);
      if (!solve(candidate)) continue;
      candidate.score = scoreAffine(candidate.transform.data(), ranked_, candidate.sample);
      largest = std::max(largest, candidate.score.count);
    }
    return largest;
  }

  // Gathers what the best-supported candidates rest on; returns the one of least error.
  Trans6 pool(int largestSupport) {
    const int threshold = static_cast<int>(largestSupport * kQualifyingShare);
    Trans6 best = kIdentity6;
    float bestError = kNoError;
    for (const Candidate &candidate : candidates_) {
      if (candidate.score.count < threshold) continue;
      if (simplexPoints_ < kSimplexPoints) {
        std::copy_n(candidate.transform.begin(), kParameters, simplex_ + kParameters * simplexPoints_++);
      }
      poolRank(candidate.sample.anchor);
      poolRank(candidate.sample.first);
      poolRank(candidate.sample.second);
      if (candidate.score.meanError < bestError) {
        best = candidate.transform;
        bestError = candidate.score.meanError;
      }
    }
    return best;
  }

  // Moves transform to what the pooled pairs agree on best. Of fewer than seven pooled candidates the missing ones
  // count as all-zero transforms.
  Status polish(Trans6 &transform) const {
    const PairsView view = {.count = pooledCount_,
                            .xA = pooled_.data(),
                            .yA = pooled_.data() + ranks_,
                            .xB = pooled_.data() + 2 * ranks_,
                            .yB = pooled_.data() + 3 * ranks_};
    const auto cost = [](const void *state, const float *t) {
      return affineCost(t, *static_cast<const PairsView *>(state));
    };
    return minimiseBySimplex(kParameters, simplex_, {.function = cost, .state = &view}, transform.data());
  }

  int anchors() const { return anchors_; }

private:
  // A rank at random. In single precision the largest random numbers round up to one past the last rank.
  int drawRank() {
    const float scale = static_cast<float>(ranks_) * 0x1p-31f;
    const int rank = static_cast<int>(static_cast<float>(random_.next(random_.state)) * scale);
    return std::min(rank, ranks_ - 1);
  }

  // City-block distance between the A points of two ranks, in whole pixels.
  std::int64_t distance(int a, int b) const {
    const int p = order_[sizeOf(a)];
    const int q = order_[sizeOf(b)];
    return std::abs(std::int64_t{pairs_.xA[p]} - pairs_.xA[q]) + std::abs(std::int64_t{pairs_.yA[p]} - pairs_.yA[q]);
  }

  // Partners far from the anchor make a transform that holds over the frame. Void tries keep the sequence of random
  // numbers as it falls; without any valid try the partners are both rank 0, which has no transform.
  AffineSample drawSample(int anchor) {
    AffineSample sample = {.anchor = anchor};
    float bestSpread = 0;
    for (int draw = 0; draw < kDraws; ++draw) {
      const int first = drawRank();
      if (first == anchor) continue;
      const int second = drawRank();
      if (second == anchor || second == first) continue;
      const float spread = static_cast<float>(distance(first, anchor) + distance(second, anchor));
      if (spread > bestSpread) {
        sample.first = first;
        sample.second = second;
        bestSpread = spread;
      }
    }
    return sample;
  }

  bool solve(Candidate &candidate) const {
    const auto pointA = [this](int r) { return Point{ranked_.xA[r], ranked_.yA[r]}; };
    const auto pointB = [this](int r) { return Point{ranked_.xB[r], ranked_.yB[r]}; };
    const AffineSample &s = candidate.sample;
    const Point src[3] = {pointA(s.anchor), pointA(s.first), pointA(s.second)};
    const Point dst[3] = {pointB(s.anchor), pointB(s.first), pointB(s.second)};
    return affineFromThreePairs(src, dst, candidate.transform);
  }

  void poolRank(int rank) {
    if (isPooled_[sizeOf(rank)]) return;
    isPooled_[sizeOf(rank)] = true;
    const int p = order_[sizeOf(rank)];
    std::int32_t *const slot = pooled_.data() + pooledCount_++;
    slot[0] = pairs_.xA[p];
    slot[ranks_] = pairs_.yA[p];
    slot[2 * ranks_] = pairs_.xB[p];
    slot[3 * ranks_] = pairs_.yB[p];
  }

  const PairsView &pairs_;
  int ranks_;
  int anchors_;
  RandomSource random_;
  Buffer<int> order_; // pair of each rank
  Buffer<float> coordinates_;
  RankedPairs ranked_;
  Buffer<Candidate> candidates_;
  Buffer<std::int32_t> pooled_; // xA, yA, xB, yB of the pooled ranks, ranks_ entries each
  Buffer<bool> isPooled_;
  int pooledCount_ = 0;
  float simplex_[kParameters * kSimplexPoints] = {};
  int simplexPoints_ = 0;
};

// In double precision, so that a shift of exactly a fifth is within the limit.
bool shiftsTooFar(const Trans6 &t, Size frame) {
  return static_cast<double>(std::fabs(t[2])) / frame.width > kMaxShift ||
         static_cast<double>(std::fabs(t[5])) / frame.height > kMaxShift;
}

} // namespace

AffineSearchResult searchAffine(const PairsView &pairs, const AffineSearchSettings &settings) {
  const int ranks = std::min(pairs.count, settings.pairBudget);
  if (ranks < 2) return {};
  AffineSearch search(pairs, ranks, settings.random);
  if (const Status status = search.prepare(); status != Status::Ok) return {.status = status};
  AffineSearchResult result = {.anchorsTried = search.anchors()};
  const int largestSupport = search.tryAnchors();
  if (largestSupport <= kWeakSupport) {
    result.outcome = AffineSearchOutcome::WeakSupport;
    return result;
  }
  Trans6 transform = search.pool(largestSupport);
  if (shiftsTooFar(transform, settings.frame)) {
    result.outcome = AffineSearchOutcome::ExcessiveShift;
    return result;
  }
  result.status = search.polish(transform);
  result.transform = transform;
  result.outcome = AffineSearchOutcome::Consensus;
  return result;
}

} // namespace vindrel
