// Photographs as they are looked at. A camera held upright stores its picture lying, with a note of how to turn it. The
// note is a number from 1 to 8; anything else counts as 1, a picture that is stored as it is looked at.
#pragma once

#include "vindrel/image.hpp"

#include <cstddef>
#include <cstdint>

namespace vindrel::cli {

constexpr int kUpright = 1;

// True when the picture lies on its side: upright, its width and height have changed places.
constexpr bool swapsSides(int orientation) {
  return orientation >= 5 && orientation <= 8;
}

// Where the pixels of a stored picture belong in the upright one, counted in pixels from its first: the stored pixel
// (x, y) at first + x * alongRow + y * alongColumn.
struct UprightPlaces {
  Size stored;
  Size upright;
  std::int64_t first = 0;
  std::int64_t alongRow = 1;
  std::int64_t alongColumn = 0;
};

UprightPlaces uprightPlaces(int orientation, Size stored);

// Copies the stored rows yBegin to yEnd - 1, packed in `rows`, to their places in the packed picture `upright`. So a
// picture is turned as it is read, some rows at a time, and never held twice. pixelBytes: of 1 to 4 samples of 1, 2 or
// 4 bytes.
void placeRows(const UprightPlaces &places, const std::byte *rows, int yBegin, int yEnd, std::size_t pixelBytes,
               std::byte *upright);

} // namespace vindrel::cli
