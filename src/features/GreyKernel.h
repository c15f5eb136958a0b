// One row of interleaved samples to one row of grey bytes.
#pragma once

#include <cstdint>

namespace vindrel {

// Writes width bytes; width < 1 writes none.
void greyRow(const std::uint8_t *samples, int width, int channels, std::uint8_t *grey);
void greyRow(const std::uint16_t *samples, int width, int channels, std::uint8_t *grey);

} // namespace vindrel
