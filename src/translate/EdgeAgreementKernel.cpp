#include "translate/EdgeAgreementKernel.h"

#include "translate/BitCount.h"
#include "translate/ShiftedRow.h"

#include <algorithm>

namespace vindrel {
namespace {

// Counts of up to kWordsPerFold words, kept byte by byte.
struct FoldedCounts {
  std::uint64_t reference = 0, moving = 0, same = 0, opposite = 0;

  // Edges of both, and the bits of both after the edge: different bits mean opposite directions.
  void add(std::uint64_t referenceEdges, std::uint64_t movingEdges, std::uint64_t different) {
    const std::uint64_t both = referenceEdges & movingEdges;
    reference += bitsPerByte(referenceEdges);
    moving += bitsPerByte(movingEdges);
    same += bitsPerByte(both & ~different);
    opposite += bitsPerByte(both & different);
  }

  void addTo(EdgeAgreement &total) const {
    total.reference += sumOfBytes(reference);
    total.moving += sumOfBytes(moving);
    total.same += sumOfBytes(same);
    total.opposite += sumOfBytes(opposite);
  }
};

} // namespace

void addRowEdges(const RowPair &reference, const RowPair &moving, int width, int shift, EdgeAgreement &across,
                 EdgeAgreement &down) {
  const std::int64_t wide = width;
  const int begin = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{2} - shift, 1, wide));
  const int end = static_cast<int>(std::clamp<std::int64_t>(wide - shift, 0, wide));
  if (begin >= end) return;
  const ShiftedRow movingRow(moving.row, width, shift);
  const ShiftedRow movingAbove(moving.above, width, shift);

  const int firstWord = begin / kBitsPerWord;
  const int lastWord = (end - 1) / kBitsPerWord;
  std::uint64_t referenceBefore = firstWord > 0 ? reference.row[firstWord - 1] : 0;
  std::uint64_t movingBefore = movingRow.word(firstWord - 1);
  for (int fold = firstWord; fold <= lastWord; fold += kWordsPerFold) {
    FoldedCounts acrossCounts, downCounts;
    for (int i = fold; i <= std::min(lastWord, fold + kWordsPerFold - 1); ++i) {
      const std::uint64_t mask = columnsWithin(end, i) & ~columnsWithin(begin, i);
      const std::uint64_t ours = reference.row[i];
      const std::uint64_t theirs = movingRow.word(i);
      const std::uint64_t different = ours ^ theirs;
      acrossCounts.add((ours ^ joinWords(referenceBefore, ours, 63)) & mask,
                       (theirs ^ joinWords(movingBefore, theirs, 63)) & mask, different);
      downCounts.add((ours ^ reference.above[i]) & mask, (theirs ^ movingAbove.word(i)) & mask, different);
      referenceBefore = ours;
      movingBefore = theirs;
    }
    acrossCounts.addTo(across);
    downCounts.addTo(down);
  }
}

} // namespace vindrel
