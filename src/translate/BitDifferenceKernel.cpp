#include "translate/BitDifferenceKernel.h"

#include "translate/BitCount.h"
#include "translate/ShiftedRow.h"

#include <algorithm>

namespace vindrel {
namespace {

// The differing bits of words that need no care at the row's ends; `moving` holds one word more.
std::int64_t countInnerWords(const std::uint64_t *reference, const std::uint64_t *moving, int count, int bits) {
  std::int64_t total = 0;
  for (int begin = 0; begin < count; begin += kWordsPerFold) {
    const int end = std::min(count, begin + kWordsPerFold);
    std::uint64_t bytes = 0;
    for (int i = begin; i < end; ++i)
      bytes += bitsPerByte(reference[i] ^ joinWords(moving[i], moving[i + 1], bits));
    total += sumOfBytes(bytes);
  }
  return total;
}

} // namespace

std::int64_t countRowDifferences(const std::uint64_t *reference, const std::uint64_t *moving, int width, int shift) {
  const int words = wordsFor(width);
  const ShiftedRow shifted(moving, width, shift);
  // Inner words: both stored words exist, the first is not the one with column 0, and the result is not the row's last.
  const std::int64_t firstWord = shifted.firstWord();
  const std::int64_t innerBegin = std::clamp<std::int64_t>(1 - firstWord, 0, words);
  const std::int64_t innerEnd =
      std::clamp<std::int64_t>(std::min<std::int64_t>(words - 1, words - 1 - firstWord), innerBegin, words);

  std::int64_t total = 0;
  const auto careful = [&](std::int64_t begin, std::int64_t end) {
    for (std::int64_t i = begin; i < end; ++i) {
      const int word = static_cast<int>(i);
      total += sumOfBytes(bitsPerByte((reference[word] ^ shifted.word(word)) & columnsWithin(width, word)));
    }
  };
  careful(0, innerBegin);
  if (innerBegin < innerEnd)
    total += countInnerWords(reference + innerBegin, moving + innerBegin + firstWord,
                             static_cast<int>(innerEnd - innerBegin), shifted.bits());
  careful(innerEnd, words);
  return total;
}

std::int64_t countRowBits(const std::uint64_t *row, int width) {
  const int words = wordsFor(width);
  std::int64_t total = 0;
  for (int begin = 0; begin < words; begin += kWordsPerFold) {
    const int end = std::min(words, begin + kWordsPerFold);
    std::uint64_t bytes = 0;
    for (int i = begin; i < end; ++i)
      bytes += bitsPerByte(row[i]);
    total += sumOfBytes(bytes);
  }
  return total;
}

} // namespace vindrel
