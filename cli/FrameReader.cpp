#include "FrameReader.h"

#include "Stopwatch.h"

#include <utility>

namespace vindrel::cli {

bool FrameReader::holds(int index) const {
  return held_[0].index == index || held_[1].index == index;
}

const Pixels &FrameReader::frame(int index) {
  if (held_[0].index == index) return *held_[0].pixels;
  std::swap(held_[0], held_[1]);
  if (held_[0].index == index) return *held_[0].pixels;
  // The older one goes before the new one comes, or there would be three for a while.
  held_[0] = {};
  const Stopwatch watch;
  held_[0].pixels.emplace(readPixels(header(index)));
  held_[0].index = index;
  seconds_ += watch.seconds();
  return *held_[0].pixels;
}

} // namespace vindrel::cli
