// The 8-bit grey image that feature points are found in.
#pragma once

#include "base/ImageView.h"

#include <cstdint>

namespace vindrel {

// grey = (54 first + 183 middle + 19 last) >> 8, where first, middle and last are samples 0, (channels - 1) / 2 and
// channels - 1 of a pixel: with three channels the usual luma weights in stored order, with one channel its sample.
// A 16-bit sample counts with its high byte. Writes width x height bytes, packed; a view without pixels writes none.
void convertToGrey(const ImageView &image, std::uint8_t *grey);

} // namespace vindrel
