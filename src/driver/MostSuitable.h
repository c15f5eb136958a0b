// The second chance of a pair list that gave no trustworthy transform: which of the transforms accepted elsewhere in
// the stack explains it best?
#pragma once

#include "VindrelRegLib.h"
#include "base/PairsView.h"
#include "base/Status.h"

namespace vindrel {

struct MostSuitable {
  Status status = Status::Ok;
  int rank = -1; // -1: none qualifies
};

// Candidates are the records of ranks 1 to count - 1 except `rank`, those without a transform and those that still hold
// pairs of their own. The score is the mean of the five smallest squared residuals (all, when there are fewer pairs).
MostSuitable mostSuitableRecord(const PairRecord *records, int count, int rank, const PairsView &pairs);

} // namespace vindrel
