// A row of bits read at an offset: word i of the result holds columns 64 i + shift to 64 i + shift + 63 of the row,
// zero where the row has none.
#pragma once

#include "translate/ThresholdKernel.h"

#include <cstdint>

namespace vindrel {

// Two neighbouring words as one window that starts `bits` (0 to 63) into the first. Shifting the second in two steps
// avoids the undefined shift by 64.
constexpr std::uint64_t joinWords(std::uint64_t first, std::uint64_t second, int bits) {
  return (first << bits) | ((second >> 1) >> (63 - bits));
}

// Ones for the columns of a word that lie within the width.
constexpr std::uint64_t columnsWithin(int width, int word) {
  const std::int64_t columns = width - std::int64_t{word} * kBitsPerWord;
  if (columns <= 0) return 0;
  return columns >= kBitsPerWord ? ~std::uint64_t{0} : ~(~std::uint64_t{0} >> columns);
}

class ShiftedRow {
public:
  ShiftedRow(const std::uint64_t *row, int width, int shift)
      : row_(row), words_(wordsFor(width)), shift_(shift), firstWord_(floorDiv(shift)),
        bits_(static_cast<int>(shift - std::int64_t{firstWord_} * kBitsPerWord)) {}

  // Column 0 of the row counts as 0 throughout.
  std::uint64_t word(int i) const {
    return joinWords(stored(std::int64_t{i} + firstWord_), stored(std::int64_t{i} + firstWord_ + 1), bits_);
  }

  int shift() const { return shift_; }
  int firstWord() const { return firstWord_; } // the stored word in which column `shift` lies
  int bits() const { return bits_; }           // and how far into it

private:
  static constexpr int floorDiv(int shift) {
    return shift >= 0 ? shift / kBitsPerWord : -((-(shift + 1)) / kBitsPerWord) - 1;
  }

  std::uint64_t stored(std::int64_t i) const {
    if (i < 0 || i >= words_) return 0;
    return i == 0 ? row_[0] & (~std::uint64_t{0} >> 1) : row_[i];
  }

  const std::uint64_t *row_;
  int words_;
  int shift_;
  int firstWord_;
  int bits_;
};

} // namespace vindrel
