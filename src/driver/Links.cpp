#include "driver/Links.h"

#include "driver/MostSuitable.h"
#include "transform/AffineSearch.h"
#include "transform/InversePerspective.h"
#include "transform/PerspectiveSearch.h"
#include "transform/PolishAffine.h"

#include <algorithm>
#include <cstdlib>

namespace vindrel {
namespace {

constexpr float kNoTransform = -1.0f;  // a record's error when its search found nothing
constexpr int kNoNeighbour = -1;       // no accepted transform to start from
constexpr int kMainMode = 0;           // four-point samples
constexpr int kFinalMode = 1;          // three-point samples: fewer good pairs are needed
constexpr std::size_t kPairFields = 4; // xA, yA, xB, yB

} // namespace

Links::~Links() {
  for (int rank = 1; records_ && rank < count_; ++rank)
    releasePairs(rank);
}

bool Links::allocate() {
  const auto count = static_cast<std::size_t>(std::max(count_, 1));
  records_ = Buffer<PairRecord>::zeroed(count);
  evidence_ = Buffer<LinkEvidence>::zeroed(count);
  consensus_ = Buffer<bool>::zeroed(count);
  return records_ && evidence_ && consensus_;
}

PairsView Links::heldPairs(int rank) const {
  const PairRecord &held = record(rank);
  return {.count = held.count, .xA = held.xA, .yA = held.yA, .xB = held.xB, .yB = held.yB, .dist = held.dist};
}

Status Links::keepPairs(int rank, const PairsView &pairs) {
  PairRecord &keeper = record(rank);
  const auto count = static_cast<std::size_t>(pairs.count);
  auto coordinates = static_cast<std::int32_t *>(std::calloc(count * kPairFields + 1, sizeof(std::int32_t)));
  auto dist = static_cast<float *>(std::calloc(count + 1, sizeof(float)));
  if (coordinates == nullptr || dist == nullptr) {
    std::free(coordinates);
    std::free(dist);
    return Status::OutOfMemory;
  }
  keeper.xA = coordinates; // owns all four
  keeper.yA = coordinates + count;
  keeper.xB = coordinates + 2 * count;
  keeper.yB = coordinates + 3 * count;
  keeper.dist = dist;
  std::copy_n(pairs.xA, count, keeper.xA);
  std::copy_n(pairs.yA, count, keeper.yA);
  std::copy_n(pairs.xB, count, keeper.xB);
  std::copy_n(pairs.yB, count, keeper.yB);
  std::copy_n(pairs.dist, count, keeper.dist);
  return Status::Ok;
}

void Links::releasePairs(int rank) {
  PairRecord &keeper = record(rank);
  std::free(keeper.xA);
  std::free(keeper.dist);
  keeper.xA = keeper.yA = keeper.xB = keeper.yB = nullptr;
  keeper.dist = nullptr;
}

void Links::accept(int rank, const Attempt &result, const PairsView &pairs) {
  PairRecord &target = record(rank);
  const auto slot = static_cast<std::size_t>(rank);
  std::copy(result.transform.begin(), result.transform.end(), target.transform);
  target.error = result.found ? result.error : kNoTransform;
  consensus_[slot] = result.found;
  evidence_[slot] = measureLink(pairs, result.transform, settings_.model, settings_.frame, settings_.window);
  if (!result.found) evidence_[slot].inliers = 0;
}

Status Links::attempt(const PairsView &pairs, int mode, const float *guess, Attempt &result) const {
  const PerspectiveSearchResult searched = searchPerspective(pairs, {.frame = settings_.frame,
                                                                     .anchorBudget = settings_.pairBudget,
                                                                     .threads = settings_.threads,
                                                                     .mode = mode,
                                                                     .guess = guess});
  result = {.found = searched.found,
            .doubtful = searched.doubtful,
            .error = searched.found ? searched.error : kNoTransform,
            .transform = searched.found ? searched.transform : kIdentity8};
  return searched.status;
}

Status Links::find(int rank, const PairsView &pairs) {
  record(rank).count = pairs.count;
  if (settings_.model == LinkModel::Affine) {
    const AffineSearchResult searched =
        searchAffine(pairs, {.frame = settings_.frame, .pairBudget = settings_.pairBudget, .random = settings_.random});
    if (searched.status != Status::Ok) return searched.status;
    Attempt result{
        .found = true, .doubtful = false, .error = static_cast<float>(searched.anchorsTried), .transform = kIdentity8};
    const bool consensus = searched.outcome == AffineSearchOutcome::Consensus;
    const Trans6 link =
        settings_.polish && consensus ? polishAffine(pairs, searched.transform, settings_.frame) : searched.transform;
    std::copy(link.begin(), link.end(), result.transform.begin());
    accept(rank, result, pairs);
    consensus_[static_cast<std::size_t>(rank)] = consensus;
    return Status::Ok;
  }
  Attempt result;
  if (const Status status = attempt(pairs, kMainMode, nullptr, result); status != Status::Ok) return status;
  accept(rank, result, pairs);
  const bool trusted = result.found && !result.doubtful && !(result.error > kDoubtfulError);
  return trusted ? Status::Ok : keepPairs(rank, pairs);
}

// A search that starts from the transform of another rank and, where that does not convince, from its inverse: a hand
// that drifted one way often drifts back.
Status Links::attemptNear(const PairsView &pairs, int neighbour, Attempt &result) const {
  const float *guess = record(neighbour).transform;
  if (const Status status = attempt(pairs, kMainMode, guess, result); status != Status::Ok) return status;
  if (result.found && !(result.error > kDoubtfulError) && !result.doubtful) return Status::Ok;
  const Trans8 inverse = inversePerspective(guess);
  Attempt second;
  if (const Status status = attempt(pairs, kMainMode, inverse.data(), second); status != Status::Ok) {
    return status;
  }
  if (second.found && (!result.found || second.error < result.error)) result = second;
  return Status::Ok;
}

Status Links::chanceFor(int rank, bool &improved) {
  PairRecord &target = record(rank);
  const PairsView pairs = heldPairs(rank);
  const MostSuitable suitable = mostSuitableRecord(records_.data(), count_, rank, pairs);
  if (suitable.status != Status::Ok) return suitable.status;
  if (suitable.rank == target.link) return Status::Ok;
  Attempt result;
  const Status status = suitable.rank == kNoNeighbour ? attempt(pairs, kMainMode, kIdentity8.data(), result)
                                                      : attemptNear(pairs, suitable.rank, result);
  if (status != Status::Ok) return status;
  // The link is set whatever came of it, so that the same start is not tried again.
  target.link = suitable.rank;
  if (!result.found || (target.error != kNoTransform && !(result.error < target.error))) return Status::Ok;
  accept(rank, result, pairs);
  improved = true;
  if (!result.doubtful) {
    releasePairs(rank);
    // What started from this link's former transform may start anew from the better one.
    for (int other = 1; other < count_; ++other) {
      if (other != rank && record(other).link == rank) record(other).link = 0;
    }
  }
  return Status::Ok;
}

Status Links::secondChances() {
  if (settings_.model != LinkModel::Perspective) return Status::Ok;
  for (bool improved = true; improved;) {
    improved = false;
    for (int rank = 1; rank < count_; ++rank) {
      if (record(rank).xA == nullptr) continue;
      if (const Status status = chanceFor(rank, improved); status != Status::Ok) return status;
    }
  }
  for (int rank = 1; rank < count_; ++rank) {
    PairRecord &target = record(rank);
    if (target.xA == nullptr) continue;
    const PairsView pairs = heldPairs(rank);
    Attempt result;
    if (const Status status = attempt(pairs, kFinalMode, nullptr, result); status != Status::Ok) return status;
    const bool better = target.error == kNoTransform || result.error < target.error;
    if (result.found && !result.doubtful && better) accept(rank, result, pairs);
  }
  return Status::Ok;
}

} // namespace vindrel
