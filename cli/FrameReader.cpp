#include "FrameReader.h"

#include "Proxy.h"
#include "Stopwatch.h"

#include <utility>

namespace vindrel::cli {

bool FrameReader::holds(int index, Look look) const {
  return is(held_[0], index, look) || is(held_[1], index, look);
}

const Pixels &FrameReader::frame(int index, Look look) {
  if (is(held_[0], index, look)) return *held_[0].pixels;
  std::swap(held_[0], held_[1]);
  if (is(held_[0], index, look)) return *held_[0].pixels;
  // The older one goes before the new one comes, or there would be three for a while.
  held_[0] = {};
  const Stopwatch watch;
  held_[0].pixels.emplace(look == Look::Search ? readForSearch(header(index)) : readPixels(header(index)));
  held_[0].index = index;
  held_[0].proxy = isProxy(index, look);
  seconds_ += watch.seconds();
  return *held_[0].pixels;
}

} // namespace vindrel::cli
