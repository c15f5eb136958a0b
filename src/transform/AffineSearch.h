// Finds the affine transform that most matched pairs agree on, wrong pairs among them or not: random sample consensus
// (Fischler, Bolles: Random Sample Consensus, CACM 24(6), 1981), with each of the best pairs in turn as the anchor of a
// sample, and the best-supported samples polished together by a simplex search.
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "base/Status.h"
#include "transform/RandomSource.h"
#include "transform/Transform.h"

namespace vindrel {

struct AffineSearchSettings {
  Size frame;          // the area that the pairs come from: bounds the translation
  int pairBudget = 60; // the search works on this many of the best pairs
  RandomSource random; // draws the samples
};

enum class AffineSearchOutcome {
  Consensus,      // the transform is what the pairs agree on
  TooFewPairs,    // fewer than two pairs are usable
  WeakSupport,    // no candidate had the support of more than four pairs
  ExcessiveShift, // the agreed transform shifts by more than a fifth of the frame
};

struct AffineSearchResult {
  Status status = Status::Ok; // OutOfMemory voids the rest
  int anchorsTried = 0;
  Trans6 transform = kIdentity6; // maps A onto B; the identity unless the outcome is Consensus
  AffineSearchOutcome outcome = AffineSearchOutcome::TooFewPairs;
};

AffineSearchResult searchAffine(const PairsView &pairs, const AffineSearchSettings &settings);

} // namespace vindrel
