// The exported functions of src/translate.
#include "VindrelRegLib.h"

#include "base/FrameSource.h"
#include "base/ImageView.h"
#include "translate/BitmapPyramid.h"
#include "translate/Percentile.h"
#include "translate/ShiftCrop.h"
#include "translate/ShiftSearch.h"
#include "translate/ThresholdKernel.h"

#include <algorithm>
#include <limits>

using namespace vindrel;

namespace {

constexpr int kOutOfMemory = -4;
constexpr int kAskForFullSize = 1; // size[0] on entry

ImageView packedImage(const std::uint8_t *pixels, Size size, int channels, int bitDepth) {
  return {.samples = pixels,
          .size = size,
          .channels = channels,
          .rowStride = std::int64_t{size.width} * channels,
          .depth = bitDepth == 16 ? SampleDepth::U16 : SampleDepth::U8};
}

int withinInt(std::int64_t value) {
  return static_cast<int>(
      std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// What both entries of the translation alignment do.
int alignBlock(const ImageView &first, int count, std::uint8_t *pixels, float searchFraction, int *size,
               int *lastError) {
  const bool fullSize = size[0] == kAskForFullSize;
  BlockFrames frames(pixels, std::max(count, 0),
                     {.size = first.size, .channels = first.channels, .depth = first.depth});
  const ShiftEstimate estimate =
      estimateShifts(frames, {.searchFraction = searchFraction, .verdicts = ShiftVerdicts::LeftOut});
  if (estimate.status != Status::Ok) return kOutOfMemory;
  *lastError = estimate.lastError;

  const ShiftCrop crop = cropForShifts(estimate, first.size, fullSize);
  rewriteBlock({.samples = pixels,
                .size = first.size,
                .channels = first.channels,
                .rowStride = first.rowStride,
                .depth = first.depth},
               estimate, crop);
  size[0] = crop.outputSize.width;
  size[1] = crop.outputSize.height;
  return withinInt(crop.cropped);
}

// A bitmap row in the published layout: whole bytes, the first pixel in the highest bit of the first byte. Works
// through chunks of whole words, so that it needs no memory.
void thresholdRowToBytes(const std::uint8_t *grey, int width, int threshold, std::uint8_t *bytes) {
  constexpr int kChunkWords = 64;
  std::uint64_t words[kChunkWords];
  for (int x = 0; x < width;) {
    const int columns = std::min(width - x, kChunkWords * kBitsPerWord);
    thresholdRow(grey + x, columns, threshold, words);
    for (int b = 0; 8 * b < columns; ++b)
      *bytes++ = static_cast<std::uint8_t>(words[b / 8] >> (56 - 8 * (b % 8)));
    x += columns;
  }
}

} // namespace

int tr_align(int nImages, int width, int height, int channels, int bitDepth, int *size, uint8_t *pixels,
             int64_t /*reserved*/, float searchFraction) {
  int lastError = 0;
  return alignBlock(packedImage(pixels, {width, height}, channels, bitDepth), nImages, pixels, searchFraction, size,
                    &lastError);
}

int tr_align_impl(int nImages, int width, int height, int channels, int bitDepth, int *size, int *lastError,
                  uint8_t *pixels, float searchFraction) {
  return alignBlock(packedImage(pixels, {width, height}, channels, bitDepth), nImages, pixels, searchFraction, size,
                    lastError);
}

int verifPercentile2(const uint32_t *histograms, unsigned int image, unsigned int startRound, int count) {
  return withinInt(adjustCount(histograms + std::size_t{image} * kGreyLevels, startRound, count));
}

int remplPyram(int width, int height, int channels, int bitDepth, unsigned int sampleOffset, uint32_t *histogram,
               uint8_t *grey, uint8_t *grey2, const uint8_t *pixels, uint8_t *pyramid, int levels, int count) {
  const std::size_t sampleBytes = bitDepth == 16 ? 2 : 1;
  const ImageView image = packedImage(pixels + sampleOffset * sampleBytes, {width, height}, channels, bitDepth);
  convertAndCount(image, histogram, grey);
  const int threshold = firstBinAbove(histogram, count);
  visitGreyLevels(image.size, levels, grey, grey2, [&](Size size, const std::uint8_t *levelGrey) {
    for (int y = 0; y < size.height; ++y) {
      thresholdRowToBytes(levelGrey + static_cast<std::int64_t>(y) * size.width, size.width, threshold, pyramid);
      pyramid += size.width / 8 + (size.width % 8 != 0);
    }
  });
  return threshold;
}
