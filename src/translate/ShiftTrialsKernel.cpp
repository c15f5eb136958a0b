// A row of the moving bitmap meets three rows of the reference, each time under the same three shifts. So it is shifted
// once by each of the three, into scratch memory that also takes care of its ends, and what is left for the nine trials
// is to load, XOR and count, without a case to tell apart.
#include "translate/ShiftTrialsKernel.h"

#include "translate/ShiftedRow.h"

#include <algorithm>
#include <mutex>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "translate/ShiftTrialsKernel.cpp"
#define HWY_WANT_AVX3_DL // counts bits by itself
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::CappedTag<std::uint64_t, kRowWordUnit>;
using WordVector = hn::Vec<Words>;

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_AVX3_DL

class BitCounter {
public:
  HWY_INLINE BitCounter() : total_(hn::Zero(Words())) {}
  HWY_INLINE void add(WordVector bits) { total_ = hn::Add(total_, hn::PopulationCount(bits)); }
  HWY_INLINE void fold() {}
  HWY_INLINE std::int64_t total() const {
    return static_cast<std::int64_t>(hn::GetLane(hn::SumOfLanes(Words(), total_)));
  }

  static constexpr int kFold = 1 << 20; // any

private:
  WordVector total_;
};

#else

// Counts in bytes, which are the cheapest to count without an instruction for whole words.
class BitCounter {
  using Bytes = hn::Repartition<std::uint8_t, Words>;

public:
  HWY_INLINE BitCounter() : bytes_(hn::Zero(Bytes())), total_(hn::Zero(Words())) {}
  HWY_INLINE void add(WordVector bits) { bytes_ = hn::Add(bytes_, hn::PopulationCount(hn::BitCast(Bytes(), bits))); }
  HWY_INLINE void fold() {
    total_ = hn::Add(total_, hn::SumsOf8(bytes_));
    bytes_ = hn::Zero(Bytes());
  }
  HWY_INLINE std::int64_t total() const {
    return static_cast<std::int64_t>(hn::GetLane(hn::SumOfLanes(Words(), total_)));
  }

  static constexpr int kFold = 31; // vectors between two folds: a byte gains at most 8 from each

private:
  hn::Vec<Bytes> bytes_;
  WordVector total_;
};

#endif

// The differing bits of a row and three others, added to errors.
void countThree(const std::uint64_t *row, const std::uint64_t *a, const std::uint64_t *b, const std::uint64_t *c,
                std::ptrdiff_t words, std::int64_t *errors) {
  const Words tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  BitCounter countA, countB, countC;
  for (std::ptrdiff_t fold = 0; fold < words; fold += BitCounter::kFold * step) {
    const std::ptrdiff_t end = std::min(words, fold + BitCounter::kFold * step);
    for (std::ptrdiff_t i = fold; i < end; i += step) {
      const WordVector bits = hn::LoadU(tag, row + i);
      countA.add(hn::Xor(bits, hn::LoadU(tag, a + i)));
      countB.add(hn::Xor(bits, hn::LoadU(tag, b + i)));
      countC.add(hn::Xor(bits, hn::LoadU(tag, c + i)));
    }
    countA.fold();
    countB.fold();
    countC.fold();
  }
  errors[0] += countA.total();
  errors[1] += countB.total();
  errors[2] += countC.total();
}

// The words of a row from column `shift` on, without its column 0 and without what lies beyond the width; `words` of
// them, which may be more than the width has.
void shiftRow(const std::uint64_t *row, int width, int shift, std::ptrdiff_t words, std::uint64_t *out) {
  const Words tag;
  const auto step = static_cast<std::ptrdiff_t>(hn::Lanes(tag));
  const std::ptrdiff_t own = wordsFor(width);
  const ShiftedRow shifted(row, width, shift);
  const std::ptrdiff_t first = shifted.firstWord();
  // Inner words: both stored words exist, the first is not the one with column 0, and the result is not the row's last.
  const std::ptrdiff_t begin = std::clamp<std::ptrdiff_t>(1 - first, 0, own);
  const std::ptrdiff_t end = std::clamp<std::ptrdiff_t>(std::min(own - 1, own - 1 - first), begin, own);
  const auto careful = [&](std::ptrdiff_t i) {
    const int word = static_cast<int>(i);
    out[i] = shifted.word(word) & columnsWithin(width, word);
  };

  std::ptrdiff_t i = 0;
  for (; i < begin; ++i)
    careful(i);
  const std::uint64_t *from = row + first;
  for (; i + step <= end; i += step) {
    const WordVector high = hn::ShiftLeftSame(hn::LoadU(tag, from + i), shifted.bits());
    const WordVector low = hn::ShiftRightSame(hn::ShiftRight<1>(hn::LoadU(tag, from + i + 1)), 63 - shifted.bits());
    hn::StoreU(hn::Or(high, low), tag, out + i);
  }
  for (; i < own; ++i)
    careful(i);
  std::fill(out + own, out + words, 0U);
}

// Of some rows of the reference.
void countRows(const BitmapView &reference, const BitmapView &moving, int shiftX, int shiftY, RowRange rows,
               std::uint64_t *scratch, std::int64_t *errors) {
  const int width = reference.size.width, height = reference.size.height;
  const std::ptrdiff_t words = reference.rowWords;
  std::uint64_t *const zeros = scratch + kTrials * words;
  std::fill(zeros, zeros + words, 0U);
  std::fill(errors, errors + kTrials, 0);

  const auto exists = [=](std::int64_t row) { return row >= 1 && row < height; };
  // The three shifted rows of a row of the moving bitmap take turns in three places.
  const auto place = [&](std::int64_t row) { return scratch + row % 3 * 3 * words; };
  const auto prepare = [&](std::int64_t row) {
    if (!exists(row)) return;
    for (int i = 0; i < 3; ++i)
      shiftRow(moving.row(static_cast<int>(row)), width, shiftX + i - 1, words, place(row) + i * words);
  };
  prepare(std::int64_t{rows.begin} + shiftY - 1);
  prepare(std::int64_t{rows.begin} + shiftY);
  for (int y = rows.begin; y < rows.end; ++y) {
    prepare(std::int64_t{y} + shiftY + 1);
    for (int i = 0; i < 3; ++i) {
      const std::int64_t row = std::int64_t{y} + shiftY + i - 1;
      const std::uint64_t *three = exists(row) ? place(row) : zeros;
      const std::ptrdiff_t apart = exists(row) ? words : 0;
      countThree(reference.row(y), three, three + apart, three + 2 * apart, words, errors + 3 * i);
    }
  }
}

std::int64_t countSet(const std::uint64_t *words, std::int64_t count) {
  const Words tag;
  const auto step = static_cast<std::int64_t>(hn::Lanes(tag));
  BitCounter counter;
  for (std::int64_t fold = 0; fold < count; fold += BitCounter::kFold * step) {
    const std::int64_t end = std::min(count, fold + BitCounter::kFold * step);
    for (std::int64_t i = fold; i < end; i += step)
      counter.add(hn::LoadU(tag, words + i));
    counter.fold();
  }
  return counter.total();
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(countRows);
HWY_EXPORT(countSet);

std::array<std::int64_t, kTrials> countTrials(const BitmapView &reference, const BitmapView &moving, int shiftX,
                                              int shiftY, std::uint64_t *scratch, RowTeam *team) {
  std::array<std::int64_t, kTrials> errors = {};
  std::mutex adding;
  const int atATime = rowsWorthSharing(kBitmapPixelsAtATime, reference.size.width);
  shareRows(team, reference.size.height, atATime, [&](int member, RowRange rows) {
    std::uint64_t *own = scratch + static_cast<std::size_t>(member) * trialScratch(reference.rowWords);
    std::int64_t some[kTrials];
    HWY_DYNAMIC_DISPATCH(countRows)(reference, moving, shiftX, shiftY, rows, own, some);
    const std::lock_guard<std::mutex> lock(adding);
    for (std::size_t i = 0; i < kTrials; ++i)
      errors[i] += some[i];
  });
  return errors;
}

std::int64_t countSetBits(const BitmapView &bitmap) {
  return HWY_DYNAMIC_DISPATCH(countSet)(bitmap.words, std::int64_t{bitmap.rowWords} * bitmap.size.height);
}

} // namespace vindrel
#endif
