// The links of a ranked stack: for every rank but the first, the transform that carries points of the frame one rank
// brighter onto this one, found from the matched pairs and, where that failed, sought again with the help of the
// others.
#pragma once

#include "VindrelRegLib.h"
#include "base/Buffer.h"
#include "base/PairsView.h"
#include "base/Status.h"
#include "driver/LinkEvidence.h"
#include "transform/RandomSource.h"

#include <cstdint>

namespace vindrel {

struct LinkSettings {
  LinkModel model = LinkModel::Affine;
  Size frame;
  int pairBudget = 60; // pairs that the searches work on
  int threads = 1;
  MatchWindow window = {};  // within which the pairs were looked for
  RandomSource random = {}; // the affine search draws from it
  bool polish = false;      // affine: fit all agreeing pairs after the search; the flat interface does not
};

class Links {
public:
  Links(int frames, const LinkSettings &settings) : settings_(settings), count_(frames) {}
  ~Links();
  Links(const Links &) = delete;
  Links &operator=(const Links &) = delete;

  // False when an allocation failed.
  bool allocate();

  // Finds the link of a rank (1 and up). A perspective link that is not to be trusted keeps a copy of its pairs.
  Status find(int rank, const PairsView &pairs);

  // Gives perspective links that are not to be trusted their further attempts. Call once all ranks have been found.
  Status secondChances();

  // True when the link has a transform; without one the frame counts as lying where its neighbour lies.
  bool found(int rank) const { return static_cast<int>(record(rank).error) >= 0; }
  const float *transform(int rank) const { return record(rank).transform; }
  const LinkEvidence &evidence(int rank) const { return evidence_[static_cast<std::size_t>(rank)]; }
  // For the affine model: whether the identity stands because no consensus was found.
  bool consensus(int rank) const { return consensus_[static_cast<std::size_t>(rank)]; }

private:
  struct Attempt {
    bool found;
    bool doubtful;
    float error;
    Trans8 transform;
  };
  Status attempt(const PairsView &pairs, int mode, const float *guess, Attempt &result) const;
  Status attemptNear(const PairsView &pairs, int neighbour, Attempt &result) const;
  Status chanceFor(int rank, bool &improved);
  PairsView heldPairs(int rank) const;
  Status keepPairs(int rank, const PairsView &pairs);
  void releasePairs(int rank);
  void accept(int rank, const Attempt &result, const PairsView &pairs);
  PairRecord &record(int rank) { return records_[static_cast<std::size_t>(rank)]; }
  const PairRecord &record(int rank) const { return records_[static_cast<std::size_t>(rank)]; }

  LinkSettings settings_;
  int count_;
  Buffer<PairRecord> records_; // by rank; entry 0 unused
  Buffer<LinkEvidence> evidence_;
  Buffer<bool> consensus_;
};

} // namespace vindrel
