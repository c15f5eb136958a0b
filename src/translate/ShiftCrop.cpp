#include "translate/ShiftCrop.h"

#include <algorithm>
#include <cstring>

namespace vindrel {
namespace {

// All ones in every sample is 255 in every byte, whatever the depth.
constexpr int kWhiteByte = 0xFF;

std::int64_t bytesOf(const ImageView &image, std::int64_t samples) {
  return samples * bytesPerSample(image.depth);
}

std::uint8_t *rowBytes(const MutableImageView &image, int y) {
  return static_cast<std::uint8_t *>(image.samples) + bytesOf(image, y * image.rowStride);
}

const std::uint8_t *rowBytes(const ImageView &image, int y) {
  return static_cast<const std::uint8_t *>(image.samples) + bytesOf(image, y * image.rowStride);
}

} // namespace

ShiftCrop cropForShifts(const ShiftEstimate &estimate, Size frameSize, bool fullSize) {
  const std::int64_t lostX = std::int64_t{estimate.maxX} - estimate.minX;
  const std::int64_t lostY = std::int64_t{estimate.maxY} - estimate.minY;
  ShiftCrop crop = {.outputSize = frameSize, .minX = estimate.minX, .minY = estimate.minY, .cropped = lostX + lostY};
  if (!fullSize && lostX < frameSize.width && lostY < frameSize.height)
    crop.outputSize = {static_cast<int>(frameSize.width - lostX), static_cast<int>(frameSize.height - lostY)};
  return crop;
}

void copyShifted(const ImageView &frame, const FrameShift &shift, const ShiftCrop &crop, const MutableImageView &out) {
  const auto [outWidth, outHeight] = crop.outputSize;
  const std::int64_t left = std::int64_t{shift.x} - crop.minX;
  const std::int64_t top = std::int64_t{shift.y} - crop.minY;
  const std::int64_t begin = std::clamp<std::int64_t>(-left, 0, outWidth); // covered columns: begin to end
  const std::int64_t end = std::clamp<std::int64_t>(frame.size.width - left, begin, outWidth);
  const std::int64_t pixelBytes = bytesOf(frame, frame.channels);
  const auto bytesOfPixels = [pixelBytes](std::int64_t n) { return static_cast<std::size_t>(n * pixelBytes); };
  for (int y = 0; y < outHeight; ++y) {
    std::uint8_t *row = rowBytes(out, y);
    if (begin == end || y + top < 0 || y + top >= frame.size.height) {
      std::memset(row, kWhiteByte, bytesOfPixels(outWidth));
      continue;
    }
    const std::uint8_t *source = rowBytes(frame, static_cast<int>(y + top)) + (left + begin) * pixelBytes;
    std::uint8_t *covered = row + begin * pixelBytes;
    if (source != covered) std::memmove(covered, source, bytesOfPixels(end - begin));
    std::memset(row, kWhiteByte, bytesOfPixels(begin));
    std::memset(row + end * pixelBytes, kWhiteByte, bytesOfPixels(outWidth - end));
  }
}

void rewriteBlock(const MutableImageView &frames, const ShiftEstimate &estimate, const ShiftCrop &crop) {
  // No shift is less than the least one, and no output is larger than a frame: every output row is written at or before
  // the source row it comes from, and everything before that row has been read already. Within a row, memmove.
  const std::int64_t frameBytes = bytesOf(frames, packedSamples(frames.size, frames.channels));
  const std::int64_t outputBytes = bytesOf(frames, packedSamples(crop.outputSize, frames.channels));
  std::uint8_t *block = static_cast<std::uint8_t *>(frames.samples);
  for (int i = 0; i < estimate.count; ++i) {
    ImageView frame = frames;
    frame.samples = block + i * frameBytes;
    const MutableImageView out = {.samples = block + i * outputBytes,
                                  .size = crop.outputSize,
                                  .channels = frames.channels,
                                  .rowStride = std::int64_t{crop.outputSize.width} * frames.channels,
                                  .depth = frames.depth};
    copyShifted(frame, estimate.shifts[i], crop, out);
  }
}

} // namespace vindrel
