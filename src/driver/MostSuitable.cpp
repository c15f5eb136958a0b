#include "driver/MostSuitable.h"

#include "driver/Ranking.h"
#include "transform/MapPoint.h"

#include <cmath>
#include <cstdlib>

namespace vindrel {
namespace {

constexpr int kScoredPairs = 5;
constexpr double kScoredShare = 0.2; // 1 / kScoredPairs
constexpr float kNoScore = -1.0f;    // before the first candidate
constexpr double kNoScoreTolerance = 0.01;
constexpr float kNoTransform = -1.0f; // a record's error when its search found nothing

// The fit entries outlive the call: a stack asks many times over, and every time for about as many. Each thread owns
// and reuses its own, so that nothing grows and nothing is left behind when the thread ends.
class FitScratch {
public:
  FitEntry *entries(int count) {
    if (count > capacity_) {
      std::free(entries_);
      entries_ = static_cast<FitEntry *>(std::calloc(static_cast<std::size_t>(count), sizeof(FitEntry)));
      capacity_ = entries_ != nullptr ? count : 0;
    }
    return entries_;
  }
  FitScratch() = default;
  FitScratch(const FitScratch &) = delete;
  FitScratch &operator=(const FitScratch &) = delete;
  ~FitScratch() { std::free(entries_); }

private:
  FitEntry *entries_ = nullptr;
  int capacity_ = 0;
};

thread_local FitScratch fitScratch;

int compareForSort(const void *a, const void *b) {
  return compareFitEntries(*static_cast<const FitEntry *>(a), *static_cast<const FitEntry *>(b));
}

float score(const float *transform, const PairsView &pairs, FitEntry *entries) {
  for (int i = 0; i < pairs.count; ++i) {
    const PointD mapped = mapPerspectiveD(transform, pairs.xA[i], pairs.yA[i]);
    const double dx = mapped.x - pairs.xB[i];
    const double dy = mapped.y - pairs.yB[i];
    entries[i] = {.index = i, .error = static_cast<float>(dx * dx + dy * dy)};
  }
  // Largest error first, so the best pairs are the last.
  if (pairs.count > 1) std::qsort(entries, static_cast<std::size_t>(pairs.count), sizeof(FitEntry), compareForSort);
  const int scored = pairs.count < kScoredPairs ? pairs.count : kScoredPairs;
  float sum = 0;
  for (int i = pairs.count - scored; i < pairs.count; ++i)
    sum += entries[i].error;
  return pairs.count < kScoredPairs ? sum / static_cast<float>(pairs.count) : static_cast<float>(sum * kScoredShare);
}

} // namespace

MostSuitable mostSuitableRecord(const PairRecord *records, int count, int rank, const PairsView &pairs) {
  FitEntry *entries = fitScratch.entries(pairs.count > 0 ? pairs.count : 1);
  if (entries == nullptr) return {.status = Status::OutOfMemory};
  MostSuitable choice;
  float best = kNoScore;
  for (int j = 1; j < count; ++j) {
    if (j == rank || records[j].error == kNoTransform || records[j].xA != nullptr) continue;
    const float candidate = score(records[j].transform, pairs, entries);
    if (std::fabs(best - kNoScore) < kNoScoreTolerance || candidate < best) {
      best = candidate;
      choice.rank = j;
    }
  }
  return choice;
}

} // namespace vindrel
