#include "Upright.h"

#include <cstring>

namespace vindrel::cli {
namespace {

constexpr int kUpright = 1;

struct Place {
  int x;
  int y;
};

// Where pixel (x, y) of the upright picture is stored in a picture of the given size.
Place storedPlace(int orientation, int x, int y, Size stored) {
  const int lastX = stored.width - 1;
  const int lastY = stored.height - 1;
  switch (orientation) {
  case 2:
    return {lastX - x, y};
  case 3:
    return {lastX - x, lastY - y};
  case 4:
    return {x, lastY - y};
  case 5:
    return {y, x};
  case 6:
    return {y, lastY - x};
  case 7:
    return {lastX - y, lastY - x};
  case 8:
    return {lastX - y, x};
  default:
    return {x, y};
  }
}

} // namespace

Pixels readUpright(ImageHeader &header) {
  Pixels stored = readPixels(header);
  const int orientation = header.spec.get_int_attribute("Orientation", kUpright);
  if (orientation <= kUpright || orientation > 8) return stored;

  const Size from = header.size;
  if (orientation >= 5) header.size = {from.height, from.width};
  header.spec.attribute("Orientation", kUpright);
  Pixels upright(header.size, header.channels, header.depth);
  const auto pixelBytes = static_cast<std::size_t>(header.channels * bytesPerSample(header.depth));
  std::byte *out = upright.data();
  for (int y = 0; y < header.size.height; ++y) {
    for (int x = 0; x < header.size.width; ++x, out += pixelBytes) {
      const Place place = storedPlace(orientation, x, y, from);
      const std::size_t index =
          static_cast<std::size_t>(place.y) * static_cast<std::size_t>(from.width) + static_cast<std::size_t>(place.x);
      std::memcpy(out, stored.data() + index * pixelBytes, pixelBytes);
    }
  }
  return upright;
}

} // namespace vindrel::cli
