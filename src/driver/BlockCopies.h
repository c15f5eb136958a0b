// Moving frames about within the block of a stack. All of it is bounded by the memory, of which one thread alone does
// not make full use.
#pragma once

#include "base/ImageView.h"
#include "base/RowTeam.h"

#include <cstddef>
#include <cstdint>

namespace vindrel {

// Towards the front of a block: `to` lies at or before `from` and may overlap what is moved.
void moveDownByTeam(RowTeam &team, std::uint8_t *to, const std::uint8_t *from, std::size_t bytes);

// Cuts `size` pixels from (left, top) on out of a packed frame and writes them packed from `to` on, which lies at or
// before the frame.
void cropDown(std::uint8_t *to, const ImageView &frame, int left, int top, Size size);

} // namespace vindrel
