// Chooses the row kernel once for the image and walks its rows.
#include "features/GreyImage.h"

#include "features/GreyKernel.h"

#include <cstddef>

namespace vindrel {
namespace {

// Asks for the bytes of a row to be brought near: into the second level of the cache, which takes far more requests at
// once than the first.
void fetch(const void *row, std::ptrdiff_t bytes) {
  constexpr int kCacheLine = 64;
  for (std::ptrdiff_t i = 0; i < bytes; i += kCacheLine)
    __builtin_prefetch(static_cast<const unsigned char *>(row) + i, 0, 2);
}

template <class Sample>
void convertRows(const ImageView &image, std::uint8_t *grey) {
  // The image is a tile of a frame as a rule. The processor, which follows a run of addresses by itself, loses the
  // thread at the end of each of its rows.
  constexpr int kRowsAhead = 2;
  const std::ptrdiff_t rowSamples = std::ptrdiff_t{image.size.width} * image.channels;
  for (int y = 0; y < image.size.height; ++y) {
    if (y + kRowsAhead < image.size.height)
      fetch(image.row<Sample>(y + kRowsAhead), rowSamples * std::ptrdiff_t{sizeof(Sample)});
    greyRow(image.row<Sample>(y), image.size.width, image.channels,
            grey + static_cast<std::ptrdiff_t>(y) * image.size.width);
  }
}

} // namespace

void convertToGrey(const ImageView &image, std::uint8_t *grey) {
  if (image.depth == SampleDepth::U8)
    convertRows<std::uint8_t>(image, grey);
  else
    convertRows<std::uint16_t>(image, grey);
}

} // namespace vindrel
