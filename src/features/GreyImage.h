// The 8-bit grey image that feature points are found in.
#pragma once

#include "base/ImageView.h"

#include <cstdint>

namespace vindrel {

// Grey is greyOf() (base/Grey.h) of samples 0, (channels - 1) / 2 and channels - 1 of a pixel: with three channels all
// three in stored order, with one channel its sample. Writes width x height bytes, packed; a view without pixels writes
// none.
void convertToGrey(const ImageView &image, std::uint8_t *grey);

} // namespace vindrel
