// Counting set bits with shifts, masks and additions only, which every vector unit has: the baseline instruction set of
// x86-64 knows no population count.
#pragma once

#include <cstdint>

namespace vindrel {

// The set bits of each byte of a word, in that byte.
constexpr std::uint64_t bitsPerByte(std::uint64_t word) {
  word -= (word >> 1) & 0x5555555555555555U;
  word = (word & 0x3333333333333333U) + ((word >> 2) & 0x3333333333333333U);
  return (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0FU;
}

// A byte gains at most 8 from a word: sums of bitsPerByte() over more words than this overflow.
constexpr int kWordsPerFold = 31;

constexpr std::int64_t sumOfBytes(std::uint64_t bytes) {
  const std::uint64_t pairs = (bytes & 0x00FF00FF00FF00FFU) + ((bytes >> 8) & 0x00FF00FF00FF00FFU);
  return static_cast<std::int64_t>((pairs * 0x0001000100010001U) >> 48);
}

} // namespace vindrel
