// A simulated bracket as the flat interface takes it: all frames in one block, with the truth beside it.
#pragma once

#include "simulate/Bracket.h"
#include "simulate/Truth.h"
#include "support/SyntheticPhoto.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace vindrel::test {

struct StackBlock {
  Bracket bracket;
  std::vector<std::byte> bytes; // frames back to back, RGB

  int count() const { return static_cast<int>(bracket.frames.size()); }
  Size size() const { return bracket.frameSize; }
  int bits() const { return static_cast<int>(bracket.depth); }
  ImageView frame(int index) const {
    ImageView view = bracket.view(index);
    view.samples = bytes.data() + static_cast<std::size_t>(index) * frameBytes();
    return view;
  }
  std::size_t frameBytes() const {
    return static_cast<std::size_t>(packedSamples(size(), 3)) * static_cast<std::size_t>(bytesPerSample(bracket.depth));
  }
};

inline StackBlock makeStack(Size photo, const BracketOptions &options, std::uint32_t scene = 1) {
  StackBlock stack;
  const SyntheticPhoto picture(photo, scene);
  stack.bracket = simulateBracket(picture.view(), options);
  for (const SimFrame &frame : stack.bracket.frames) {
    stack.bytes.insert(stack.bytes.end(), frame.samples.begin(), frame.samples.end());
  }
  return stack;
}

} // namespace vindrel::test
