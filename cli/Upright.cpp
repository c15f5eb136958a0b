#include "Upright.h"

#include <algorithm>
#include <cstring>

namespace vindrel::cli {
namespace {

// Columns that are placed together: a picture turned on its side is written in runs of as many pixels as there are
// rows at hand, and the runs of so many columns stay in the cache while the rows are gone through.
constexpr int kColumns = 64;

// The size of a pixel as a constant makes the copy a load and a store.
template <std::size_t kPixelBytes>
void place(const UprightPlaces &places, const std::byte *rows, int yBegin, int yEnd, std::byte *upright) {
  const std::size_t rowBytes = static_cast<std::size_t>(places.stored.width) * kPixelBytes;
  for (int block = 0; block < places.stored.width; block += kColumns) {
    const int blockEnd = std::min(block + kColumns, places.stored.width);
    for (int y = yBegin; y < yEnd; ++y) {
      const std::byte *from = rows + static_cast<std::size_t>(y - yBegin) * rowBytes;
      for (int x = block; x < blockEnd; ++x) {
        const std::int64_t index = places.first + x * places.alongRow + y * places.alongColumn;
        std::memcpy(upright + static_cast<std::size_t>(index) * kPixelBytes,
                    from + static_cast<std::size_t>(x) * kPixelBytes, kPixelBytes);
      }
    }
  }
}

} // namespace

UprightPlaces uprightPlaces(int orientation, Size stored) {
  const std::int64_t width = stored.width;
  const std::int64_t height = stored.height;
  const Size lying = {stored.height, stored.width};
  switch (orientation) {
  case 2: // mirrored left to right
    return {stored, stored, width - 1, -1, width};
  case 3: // upside down
    return {stored, stored, width * height - 1, -1, -width};
  case 4: // mirrored top to bottom
    return {stored, stored, width * (height - 1), 1, -width};
  case 5: // mirrored about the diagonal from the top left
    return {stored, lying, 0, height, 1};
  case 6: // to be turned clockwise
    return {stored, lying, height - 1, height, -1};
  case 7: // mirrored about the diagonal from the top right
    return {stored, lying, width * height - 1, -height, -1};
  case 8: // to be turned anticlockwise
    return {stored, lying, height * (width - 1), -height, 1};
  default:
    return {stored, stored, 0, 1, width};
  }
}

void placeRows(const UprightPlaces &places, const std::byte *rows, int yBegin, int yEnd, std::size_t pixelBytes,
               std::byte *upright) {
  switch (pixelBytes) {
  case 1:
    return place<1>(places, rows, yBegin, yEnd, upright);
  case 2:
    return place<2>(places, rows, yBegin, yEnd, upright);
  case 3:
    return place<3>(places, rows, yBegin, yEnd, upright);
  case 4:
    return place<4>(places, rows, yBegin, yEnd, upright);
  case 6:
    return place<6>(places, rows, yBegin, yEnd, upright);
  case 8:
    return place<8>(places, rows, yBegin, yEnd, upright);
  case 12:
    return place<12>(places, rows, yBegin, yEnd, upright);
  case 16:
    return place<16>(places, rows, yBegin, yEnd, upright);
  default:
    break;
  }
}

} // namespace vindrel::cli
