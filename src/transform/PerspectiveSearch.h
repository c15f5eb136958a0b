// Robust estimation of the perspective transform that carries the points of frame A onto their partners in frame B:
// random minimal samples anchored on each of the best pairs, consensus counting, and a least-squares fit of the pairs
// that agree (M. Fischler and R. Bolles, "Random sample consensus", 1981; local refinement after O. Chum, J. Matas and
// J. Kittler, "Locally optimized RANSAC", 2003).
#pragma once

#include "base/ImageView.h"
#include "base/PairsView.h"
#include "base/Status.h"
#include "transform/AgreementKernel.h"
#include "transform/Transform.h"

namespace vindrel {

// The error of a result is the mean over all pairs of the squared residual, capped at this (20 pixels squared). A cap
// far beyond agreement lets a result that explains half of the pairs be told from one that explains a tenth; that is
// also why an error above kDoubtfulError, half of it, means that most pairs disagree.
constexpr double kErrorCap = 400.0;
constexpr float kDoubtfulError = 200.0f;

struct PerspectiveSearchSettings {
  Size frame;            // pixels
  int anchorBudget = 60; // at most this many pairs are used as anchors
  int threads = 1;
  int mode = 0;                 // bit 0: samples of three pairs and affine candidates; from 2 on: repeats allowed
  const float *guess = nullptr; // 8 floats: candidates must stay near this transform; null: anywhere plausible
};

struct PerspectiveSearchResult {
  Status status = Status::Ok;
  bool found = false;    // false: no transform; the rest is then meaningless
  bool doubtful = false; // too little support to be trusted without another attempt
  Trans8 transform = kIdentity8;
  float error = 0; // see kErrorCap
};

// Reproducible for a fixed number of threads.
PerspectiveSearchResult searchPerspective(const PairsView &pairs, const PerspectiveSearchSettings &settings);

} // namespace vindrel
