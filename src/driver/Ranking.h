// The order in which a stack is aligned: brightest first. The brightest frame is the reference, and every other is
// matched against its neighbour in this order, whose exposure is the closest.
#pragma once

#include "VindrelRegLib.h"
#include "base/ImageView.h"

#include <cstdint>

namespace vindrel {

// Mean brightness of a frame from its sum: the quotient as a product with the reciprocal in double precision.
float meanBrightness(std::int64_t sum, Size size);

// Sorts entries by descending sum and writes their indices. Equal sums stay in the order in which they stand.
void rankByBrightness(RankEntry *entries, int count, std::uint32_t *rankOrder);

// Comparators in qsort's form: descending.
int compareRankEntries(const RankEntry &a, const RankEntry &b);
int compareFitEntries(const FitEntry &a, const FitEntry &b);

} // namespace vindrel
