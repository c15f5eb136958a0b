// The summed grey values of a row of pixels.
#pragma once

#include "driver/Brightness.h"

#include <cstdint>

namespace vindrel {

// Every weighed sample must be readable.
std::int64_t sumBrightnessOfRow(const std::uint8_t *row, int width, int channels, BrightnessSamples at);
std::int64_t sumBrightnessOfRow(const std::uint16_t *row, int width, int channels, BrightnessSamples at);

} // namespace vindrel
