// A frame as bitmaps: its grey image compared with one threshold, at full size and repeatedly halved.
//
// All levels use the threshold of level 0; it is the grey image that is halved, not the bitmap.
#pragma once

#include "base/ImageView.h"
#include "base/RowTeam.h"
#include "translate/ThresholdKernel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace vindrel {

// An int can be halved 31 times before nothing is left.
constexpr int kMaxPyramidLevels = 31;

constexpr Size halved(Size size) {
  return {size.width / 2, size.height / 2};
}
constexpr bool hasPixels(Size size) {
  return size.width > 0 && size.height > 0;
}

// Pixels of a grey image and of a bitmap that take a tenth of a millisecond.
constexpr std::int64_t kGreyPixelsAtATime = 1 << 18;
constexpr std::int64_t kBitmapPixelsAtATime = 1 << 19;

// Writes the packed grey image and its 256-bin histogram (both overwritten). A bin counts modulo 2^32.
void convertAndCount(const ImageView &image, std::uint32_t *histogram, std::uint8_t *grey, RowTeam *team = nullptr);

// The histogram alone.
void greyHistogram(const ImageView &image, std::uint32_t *histogram);

// Halves a packed grey image; out holds halved(size) pixels and may be the image itself.
void reduceGrey(const std::uint8_t *grey, Size size, std::uint8_t *out);

// Calls visit(size, grey) for each level down from the full-size grey image, which is lost: the reduced images take
// turns in grey2 (halved(size) pixels) and grey. Levels without pixels are not visited.
template <class Visit>
void visitGreyLevels(Size size, int levels, std::uint8_t *grey, std::uint8_t *grey2, Visit visit) {
  for (int level = 0; hasPixels(size); size = halved(size)) {
    visit(size, static_cast<const std::uint8_t *>(grey));
    if (++level >= levels) return;
    reduceGrey(grey, size, grey2);
    std::swap(grey, grey2);
  }
}

// Words that a row of a bitmap takes up, with zeros up to a multiple of this, so that rows are read by whole vectors.
constexpr int kRowWordUnit = 8;

constexpr int rowWordsFor(int width) {
  return (wordsFor(width) + kRowWordUnit - 1) / kRowWordUnit * kRowWordUnit;
}

struct BitmapView {
  Size size;
  int rowWords = 0;
  const std::uint64_t *words = nullptr;

  const std::uint64_t *row(int y) const { return words + static_cast<std::int64_t>(y) * rowWords; }
};

// Where the levels of a pyramid stand in a block of words: back to back, level 0 first.
class PyramidLayout {
public:
  PyramidLayout() = default;
  // At most `levels` levels, and none without pixels.
  PyramidLayout(Size size, int levels);

  int levels() const { return count_; }
  std::size_t words() const { return words_; }
  BitmapView level(int l, const std::uint64_t *pyramid) const {
    const Level &level = levels_[static_cast<std::size_t>(l)];
    return {level.size, level.rowWords, pyramid + level.firstWord};
  }

  // Fills a pyramid from the packed grey image at full size, which is lost.
  void fill(std::uint8_t *grey, int threshold, std::uint64_t *pyramid) const { fillFrom(0, grey, threshold, pyramid); }
  // The same by a team, which cannot reduce the image in its own place: half has room for halved(size) pixels.
  void fillByTeam(RowTeam &team, std::uint8_t *grey, std::uint8_t *half, int threshold, std::uint64_t *pyramid) const;

private:
  struct Level {
    Size size;
    int rowWords = 0;
    std::size_t firstWord = 0;
  };

  // The levels from l on, of which grey is the first one's image.
  void fillFrom(int l, std::uint8_t *grey, int threshold, std::uint64_t *pyramid) const;
  // Rows of a level, the first of them even, and what they reduce to: rows of `reduced`, if there is a next level.
  void fillRows(int l, RowRange rows, const std::uint8_t *grey, int threshold, std::uint64_t *pyramid,
                std::uint8_t *reduced) const;

  int count_ = 0;
  std::size_t words_ = 0;
  std::array<Level, kMaxPyramidLevels> levels_;
};

// One pyramid.
struct PyramidView {
  const PyramidLayout *layout = nullptr;
  const std::uint64_t *words = nullptr;

  BitmapView level(int l) const { return layout->level(l, words); }
};

} // namespace vindrel
