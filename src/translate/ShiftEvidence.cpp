#include "translate/ShiftEvidence.h"

#include "translate/ShiftTrialsKernel.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace vindrel {
namespace {

double shareOfSetBits(const BitmapView &bitmap) {
  return static_cast<double>(countSetBits(bitmap)) / static_cast<double>(packedSamples(bitmap.size, 1));
}

// Pixels of level 0 as pixels of a level, to the nearest.
constexpr int atLevel(int pixels, int level) {
  return level == 0 ? pixels : (pixels + (1 << (level - 1))) >> level;
}

void addEdges(const BitmapView &reference, const BitmapView &moving, int x, int y, RowTeam *team, EdgeAgreement &across,
              EdgeAgreement &down) {
  const Size size = reference.size;
  // Row 0 of the moving bitmap is left out, as in the search.
  const int begin = std::max(1, 2 - y);
  const int end = std::min(size.height, size.height - y);
  std::mutex adding;
  shareRows(team, end - begin, rowsWorthSharing(kBitmapPixelsAtATime, size.width), [&](int, RowRange rows) {
    EdgeAgreement someAcross, someDown;
    for (int row = begin + rows.begin; row < begin + rows.end; ++row)
      addRowEdges({.row = reference.row(row), .above = reference.row(row - 1)},
                  {.row = moving.row(row + y), .above = moving.row(row + y - 1)}, size.width, x, someAcross, someDown);
    const std::lock_guard<std::mutex> lock(adding);
    across += someAcross;
    down += someDown;
  });
}

} // namespace

double deviationsAboveChance(const EdgeAgreement &edges) {
  const std::int64_t meeting = edges.same + edges.opposite;
  if (meeting == 0) return 0;
  return static_cast<double>(edges.same - edges.opposite) / std::sqrt(static_cast<double>(meeting));
}

bool isBetterThanChance(const ShiftEvidence &evidence) {
  for (int l = 0; l < kEvidenceLevels; ++l)
    if (deviationsAboveChance(evidence.across[l]) >= kBetterThanChance &&
        deviationsAboveChance(evidence.down[l]) >= kBetterThanChance)
      return true;
  return false;
}

bool edgesAgree(const ShiftEvidence &evidence) {
  for (const EdgeAgreement &edges : {evidence.across[0], evidence.down[0]})
    if (static_cast<double>(edges.same) < kLeastSameShare * static_cast<double>(edges.same + edges.opposite))
      return false;
  return true;
}

ShiftEvidence gatherEvidence(const PyramidView &reference, const PyramidView &moving, int levels, int x, int y,
                             RowTeam *team) {
  ShiftEvidence evidence;
  const double p = shareOfSetBits(reference.level(0));
  const double q = shareOfSetBits(moving.level(0));
  evidence.chanceShare = p * (1 - q) + q * (1 - p);
  for (int l = 0; l < std::min(levels, kEvidenceLevels); ++l)
    addEdges(reference.level(l), moving.level(l), atLevel(x, l), atLevel(y, l), team, evidence.across[l],
             evidence.down[l]);
  return evidence;
}

} // namespace vindrel
