#include "translate/BitmapPyramid.h"

#include "translate/GreyKernel.h"
#include "translate/Percentile.h"
#include "translate/ReduceKernel.h"
#include "translate/ThresholdKernel.h"

#include <algorithm>

namespace vindrel {
namespace {

// Columns converted at a time where the grey values are only counted: they stay in the first-level cache.
constexpr int kChunk = 1024;

template <class Sample>
void convert(const ImageView &image, std::uint8_t *grey, GreyCounter &counter) {
  for (int y = 0; y < image.size.height; ++y) {
    std::uint8_t *row = grey + static_cast<std::int64_t>(y) * image.size.width;
    greyOfFirstThree(image.row<Sample>(y), image.size.width, image.channels, row);
    counter.add(row, image.size.width);
  }
}

template <class Sample>
void countOnly(const ImageView &image, GreyCounter &counter) {
  std::uint8_t chunk[kChunk];
  for (int y = 0; y < image.size.height; ++y)
    for (int x = 0; x < image.size.width;) {
      const int width = std::min(kChunk, image.size.width - x);
      greyOfFirstThree(image.row<Sample>(y) + static_cast<std::int64_t>(x) * image.channels, width, image.channels,
                       chunk);
      counter.add(chunk, width);
      x += width;
    }
}

// Row r of the halved image.
void reduceGreyRow(const std::uint8_t *grey, Size size, int r, std::uint8_t *out) {
  const Size small = halved(size);
  const std::int64_t width = size.width;
  const std::uint8_t *up = grey + 2 * r * width;
  if (r + 1 < small.height)
    reduceRow(up, up + width, up + 2 * width, small.width, out);
  else
    reduceLastRow(up, up + width, small.width, out);
}

} // namespace

void convertAndCount(const ImageView &image, std::uint32_t *histogram, std::uint8_t *grey) {
  GreyCounter counter;
  if (image.depth == SampleDepth::U8)
    convert<std::uint8_t>(image, grey, counter);
  else
    convert<std::uint16_t>(image, grey, counter);
  std::fill_n(histogram, kGreyLevels, 0U);
  counter.addTo(histogram);
}

void greyHistogram(const ImageView &image, std::uint32_t *histogram) {
  GreyCounter counter;
  if (image.depth == SampleDepth::U8)
    countOnly<std::uint8_t>(image, counter);
  else
    countOnly<std::uint16_t>(image, counter);
  std::fill_n(histogram, kGreyLevels, 0U);
  counter.addTo(histogram);
}

void reduceGrey(const std::uint8_t *grey, Size size, std::uint8_t *out) {
  const Size small = halved(size);
  if (!hasPixels(small)) return;
  for (int r = 0; r < small.height; ++r)
    reduceGreyRow(grey, size, r, out + static_cast<std::int64_t>(r) * small.width);
}

PyramidLayout::PyramidLayout(Size size, int levels) {
  for (; count_ < levels && hasPixels(size); size = halved(size)) {
    const int rowWords = rowWordsFor(size.width);
    levels_[static_cast<std::size_t>(count_++)] = {.size = size, .rowWords = rowWords, .firstWord = words_};
    words_ += static_cast<std::size_t>(rowWords) * static_cast<std::size_t>(size.height);
  }
}

void PyramidLayout::fill(std::uint8_t *grey, int threshold, std::uint64_t *pyramid) const {
  for (int l = 0; l < count_; ++l) {
    const auto &[size, rowWords, firstWord] = levels_[static_cast<std::size_t>(l)];
    const std::int64_t width = size.width;
    const int ownWords = wordsFor(size.width);
    std::uint64_t *out = pyramid + firstWord;
    const Size small = halved(size);
    // Two rows are compared and then reduced to one, while they are in the cache, in the place of the first of them.
    const bool reduces = l + 1 < count_;
    for (int y = 0; y < size.height; ++y, out += rowWords) {
      thresholdRow(grey + y * width, size.width, threshold, out);
      std::fill(out + ownWords, out + rowWords, 0U);
      const int r = y / 2;
      if (reduces && y % 2 != 0) reduceGreyRow(grey, size, r, grey + std::int64_t{r} * small.width);
    }
  }
}

} // namespace vindrel
