// The best pairs first.
#pragma once

#include "base/PairsView.h"
#include "base/Status.h"

namespace vindrel {

// Writes the indices of the wanted pairs of least distance to order, ascending; of equal distances the earlier index
// comes first. Distances at or below -99999999 and undefined ones are passed over; where that leaves too few pairs,
// the rest of order is untouched. wanted is at most pairs.count.
Status rankByDistance(const PairsView &pairs, int wanted, int *order);

} // namespace vindrel
