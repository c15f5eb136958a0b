// Grey values of a row of pixels, and how often each occurs.
//
// Grey is greyOf() (base/Grey.h) of a pixel's first three samples. A pixel of fewer repeats its last one, so that
// one-sample images are their own grey and nothing beyond the pixel is read.
#pragma once

#include <cstdint>

namespace vindrel {

// Writes width bytes.
void greyOfFirstThree(const std::uint8_t *pixels, int width, int channels, std::uint8_t *grey);
void greyOfFirstThree(const std::uint16_t *pixels, int width, int channels, std::uint8_t *grey);

// Counts grey values in eight tables by turns: in flat areas the same bin would otherwise be read back right after it
// was written, and every pixel would wait for the one before.
class GreyCounter {
public:
  void add(const std::uint8_t *grey, int width);
  // Adds what was counted so far to the 256 bins.
  void addTo(std::uint32_t *histogram) const;

private:
  static constexpr int kTables = 8; // one for each byte of a word

  std::uint32_t tables_[kTables][256] = {};
};

} // namespace vindrel
