// One bit for every grey value of a row: set where it lies above the threshold.
#pragma once

#include <cstdint>

namespace vindrel {

constexpr int kBitsPerWord = 64;

constexpr int wordsFor(int width) {
  return width / kBitsPerWord + (width % kBitsPerWord != 0);
}

// Writes wordsFor(width) words, the first pixel in the highest bit of the first word; bits beyond the width are 0.
// threshold 0 to 256; bits are set for grey values strictly greater.
void thresholdRow(const std::uint8_t *grey, int width, int threshold, std::uint64_t *words);

} // namespace vindrel
