#include "translate/BitmapPyramid.h"

#include "translate/GreyKernel.h"
#include "translate/Percentile.h"
#include "translate/ReduceKernel.h"
#include "translate/ThresholdKernel.h"

#include <algorithm>
#include <mutex>

namespace vindrel {
namespace {

// Columns converted at a time where the grey values are only counted: they stay in the first-level cache.
constexpr int kChunk = 1024;

template <class Sample>
void convert(const ImageView &image, RowRange rows, std::uint8_t *grey, GreyCounter &counter) {
  for (int y = rows.begin; y < rows.end; ++y) {
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

void convertAndCount(const ImageView &image, std::uint32_t *histogram, std::uint8_t *grey, RowTeam *team) {
  std::fill_n(histogram, kGreyLevels, 0U);
  std::mutex adding;
  const int atATime = rowsWorthSharing(kGreyPixelsAtATime, image.size.width);
  shareRows(team, image.size.height, atATime, [&](int, RowRange rows) {
    GreyCounter counter;
    if (image.depth == SampleDepth::U8)
      convert<std::uint8_t>(image, rows, grey, counter);
    else
      convert<std::uint16_t>(image, rows, grey, counter);
    const std::lock_guard<std::mutex> lock(adding);
    counter.addTo(histogram);
  });
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

// Two rows are compared and then reduced to one, while they are in the cache.
void PyramidLayout::fillRows(int l, RowRange rows, const std::uint8_t *grey, int threshold, std::uint64_t *pyramid,
                             std::uint8_t *reduced) const {
  const auto &[size, rowWords, firstWord] = levels_[static_cast<std::size_t>(l)];
  const std::int64_t width = size.width;
  const int ownWords = wordsFor(size.width);
  const Size small = halved(size);
  const bool reduces = l + 1 < count_;
  for (int y = rows.begin; y < rows.end; ++y) {
    std::uint64_t *out = pyramid + firstWord + static_cast<std::int64_t>(y) * rowWords;
    thresholdRow(grey + y * width, size.width, threshold, out);
    std::fill(out + ownWords, out + rowWords, 0U);
    const int r = y / 2;
    if (reduces && y % 2 != 0) reduceGreyRow(grey, size, r, reduced + std::int64_t{r} * small.width);
  }
}

// Each pair of rows is reduced in the place of the first of them, or before it.
void PyramidLayout::fillFrom(int l, std::uint8_t *grey, int threshold, std::uint64_t *pyramid) const {
  for (; l < count_; ++l)
    fillRows(l, {0, levels_[static_cast<std::size_t>(l)].size.height}, grey, threshold, pyramid, grey);
}

// The last pair of a member's rows is reduced with the row after it, which is another's. So the images of the levels
// take turns in two places, and a level is begun when the one before it is whole. Small levels are left to one thread.
void PyramidLayout::fillByTeam(RowTeam &team, std::uint8_t *grey, std::uint8_t *half, int threshold,
                               std::uint64_t *pyramid) const {
  int l = 0;
  for (; l < count_ && packedSamples(levels_[static_cast<std::size_t>(l)].size, 1) > kGreyPixelsAtATime; ++l) {
    const Size size = levels_[static_cast<std::size_t>(l)].size;
    const int pairs = size.height / 2 + size.height % 2;
    const int atATime = rowsWorthSharing(kGreyPixelsAtATime / 2, size.width);
    team.share(pairs, atATime, [&](int, RowRange some) {
      fillRows(l, {2 * some.begin, std::min(2 * some.end, size.height)}, grey, threshold, pyramid, half);
    });
    std::swap(grey, half);
  }
  fillFrom(l, grey, threshold, pyramid);
}

} // namespace vindrel
