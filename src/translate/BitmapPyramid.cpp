#include "translate/BitmapPyramid.h"

#include "translate/GreyKernel.h"
#include "translate/Percentile.h"
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

} // namespace

int greyAndThreshold(const ImageView &image, std::int64_t count, std::uint32_t *histogram, std::uint8_t *grey) {
  GreyCounter counter;
  if (image.depth == SampleDepth::U8)
    convert<std::uint8_t>(image, grey, counter);
  else
    convert<std::uint16_t>(image, grey, counter);
  std::fill_n(histogram, kGreyLevels, 0U);
  counter.addTo(histogram);
  return firstBinAbove(histogram, count);
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
  const std::int64_t width = size.width;
  for (int r = 0; r < small.height; ++r) {
    const std::uint8_t *up = grey + 2 * r * width;
    std::uint8_t *outRow = out + static_cast<std::int64_t>(r) * small.width;
    if (r + 1 < small.height)
      reduceRow(up, up + width, up + 2 * width, small.width, outRow);
    else
      reduceLastRow(up, up + width, small.width, outRow);
  }
}

BitmapPyramid BitmapPyramid::allocated(Size size, int levels) {
  BitmapPyramid pyramid;
  std::int64_t words = 0;
  for (; pyramid.count_ < levels && hasPixels(size); size = halved(size)) {
    const int rowWords = wordsFor(size.width);
    pyramid.levels_[pyramid.count_++] = {.size = size, .rowWords = rowWords, .firstWord = words};
    words += static_cast<std::int64_t>(rowWords) * size.height;
  }
  pyramid.words_ = Buffer<std::uint64_t>::zeroed(static_cast<std::size_t>(words));
  return pyramid;
}

void BitmapPyramid::build(const ImageView &image, std::int64_t count, std::uint8_t *grey, std::uint8_t *grey2) {
  std::uint32_t histogram[kGreyLevels];
  const int threshold = greyAndThreshold(image, count, histogram, grey);
  std::uint64_t *out = words_.data();
  visitGreyLevels(image.size, count_, grey, grey2, [&](Size size, const std::uint8_t *levelGrey) {
    for (int y = 0; y < size.height; ++y) {
      thresholdRow(levelGrey + static_cast<std::int64_t>(y) * size.width, size.width, threshold, out);
      out += wordsFor(size.width);
    }
  });
}

} // namespace vindrel
