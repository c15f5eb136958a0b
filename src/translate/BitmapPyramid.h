// A frame as bitmaps: its grey image compared with one threshold, at full size and repeatedly halved.
//
// All levels use the threshold of level 0; it is the grey image that is halved, not the bitmap.
#pragma once

#include "base/Buffer.h"
#include "base/ImageView.h"
#include "translate/ReduceKernel.h"

#include <array>
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

// Writes the packed grey image and its 256-bin histogram (both overwritten) and returns the threshold: the first grey
// level up to which there are more than `count` pixels, 256 if none. A bin counts modulo 2^32.
int greyAndThreshold(const ImageView &image, std::int64_t count, std::uint32_t *histogram, std::uint8_t *grey);

// The histogram alone.
void greyHistogram(const ImageView &image, std::uint32_t *histogram);

// Halves a packed grey image; out holds halved(size) pixels.
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

struct BitmapView {
  Size size;
  int rowWords = 0;
  const std::uint64_t *words = nullptr;

  const std::uint64_t *row(int y) const { return words + static_cast<std::int64_t>(y) * rowWords; }
};

class BitmapPyramid {
public:
  // At most `levels` levels, and none without pixels. A failed allocation leaves a pyramid that tests false.
  static BitmapPyramid allocated(Size size, int levels);

  explicit operator bool() const { return static_cast<bool>(words_); }
  BitmapView level(int l) const { return {levels_[l].size, levels_[l].rowWords, words_.data() + levels_[l].firstWord}; }

  // Fills the levels from a frame. grey: the frame's pixels; grey2: those of a quarter of it.
  void build(const ImageView &image, std::int64_t count, std::uint8_t *grey, std::uint8_t *grey2);

private:
  struct Level {
    Size size;
    int rowWords = 0;
    std::int64_t firstWord = 0;
  };

  int count_ = 0;
  std::array<Level, kMaxPyramidLevels> levels_;
  Buffer<std::uint64_t> words_;
};

} // namespace vindrel
