// Chooses the row kernel once for the image and walks its rows.
#include "features/GreyImage.h"

#include "features/GreyKernel.h"

#include <cstddef>

namespace vindrel {
namespace {

template <class Sample>
void convertRows(const ImageView &image, std::uint8_t *grey) {
  for (int y = 0; y < image.size.height; ++y)
    greyRow(image.row<Sample>(y), image.size.width, image.channels,
            grey + static_cast<std::ptrdiff_t>(y) * image.size.width);
}

} // namespace

void convertToGrey(const ImageView &image, std::uint8_t *grey) {
  if (image.depth == SampleDepth::U8)
    convertRows<std::uint8_t>(image, grey);
  else
    convertRows<std::uint16_t>(image, grey);
}

} // namespace vindrel
