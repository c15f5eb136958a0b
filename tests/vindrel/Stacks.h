// Simulated brackets for the tests of the C++ interface.
#pragma once

#include "support/Image.h"
#include "support/StackBlock.h"
#include "transform/Matrix33.h"
#include "vindrel/vindrel.hpp"

#include <vector>

namespace vindrel::test {

inline std::vector<ImageView> framesOf(const StackBlock &stack) {
  std::vector<ImageView> frames;
  for (int i = 0; i < stack.count(); ++i)
    frames.push_back(stack.frame(i));
  return frames;
}

// The true transform of a frame from another.
inline Transform truthOf(const StackBlock &stack, int frame, int reference) {
  const auto &frames = stack.bracket.frames;
  return {frameFromReference(frames[static_cast<std::size_t>(frame)].frameFromScene,
                             frames[static_cast<std::size_t>(reference)].frameFromScene)};
}

// The single-precision numbers that the warp takes for a matrix. Not to be inlined: GCC 12 leaves out the narrowing
// where it sees the numbers widened again.
[[gnu::noinline]] inline Trans8 warpNumbers(const Transform &transform) {
  return matrixToTrans8(transform.matrix);
}

// How far a frame is from where it belongs, mean over the frame, pixels.
inline double errorOf(const StackBlock &stack, const StackEstimate &estimate, int frame) {
  return placementError(estimate.frames[static_cast<std::size_t>(frame)].frameFromReference.matrix,
                        truthOf(stack, frame, estimate.reference).matrix, stack.size())
      .gridMean;
}

inline bool sameEstimate(const StackEstimate &a, const StackEstimate &b) {
  if (a.reference != b.reference || a.common != b.common || a.frames.size() != b.frames.size()) return false;
  for (std::size_t i = 0; i < a.frames.size(); ++i) {
    const FrameEstimate &f = a.frames[i], &g = b.frames[i];
    if (f.verdict != g.verdict || f.frameFromReference != g.frameFromReference || f.inliers != g.inliers) return false;
  }
  return true;
}

} // namespace vindrel::test
