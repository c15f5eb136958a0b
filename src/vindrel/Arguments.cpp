#include "vindrel/Arguments.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>

namespace vindrel {
namespace {

struct Bytes {
  const std::byte *begin;
  const std::byte *end;
};

Bytes bytesOf(const ImageView &image) {
  const auto *topRow = static_cast<const std::byte *>(image.samples);
  const std::int64_t sampleBytes = bytesPerSample(image.depth);
  const std::int64_t toBottomRow = (image.size.height - 1) * image.rowStride * sampleBytes;
  const std::int64_t rowBytes = static_cast<std::int64_t>(image.size.width) * image.channels * sampleBytes;
  return {topRow + std::min<std::int64_t>(toBottomRow, 0), topRow + std::max<std::int64_t>(toBottomRow, 0) + rowBytes};
}

bool isDepth(SampleDepth depth) {
  return depth == SampleDepth::U8 || depth == SampleDepth::U16 || depth == SampleDepth::F32;
}

} // namespace

std::string indexError(int index, std::size_t frames, const std::string &name) {
  if (index >= 0 && static_cast<std::size_t>(index) < frames) return {};
  if (frames == 0) return name + ": there are no frames";
  if (frames == 1) return name + ": must be 0, as there is one frame only";
  return name + ": must be 0 to " + std::to_string(frames - 1) + ", as there are " + std::to_string(frames) + " frames";
}

std::string threadsError(int threads) {
  return threads < 1 || threads > kMaxThreads ? "threads: must be 1 to " + std::to_string(kMaxThreads) : std::string();
}

std::string imageError(const ImageView &image, const std::string &name) {
  if (image.samples == nullptr) return name + ": has no samples; point it to the first one";
  if (image.size.width < 1 || image.size.height < 1) return name + ": is empty; give it a width and a height";
  if (image.size.width > kMaxSide || image.size.height > kMaxSide) {
    return name + ": is too large; at most " + std::to_string(kMaxSide) + " pixels wide and high";
  }
  if (std::int64_t{image.size.width} * image.size.height > std::numeric_limits<std::int32_t>::max()) {
    return name + ": is too large; at most 2147483647 pixels";
  }
  if (image.channels < 1 || image.channels > kMaxChannels) return name + ": must have 1 to 4 channels";
  if (!isDepth(image.depth)) return name + ": depth must be U8, U16 or F32";
  constexpr std::int64_t kLongestStride = std::numeric_limits<std::int64_t>::max() / kMaxSide / 8;
  if (image.rowStride > kLongestStride || image.rowStride < -kLongestStride) {
    return name + ": its row stride is beyond any memory";
  }
  if (std::abs(image.rowStride) < static_cast<std::int64_t>(image.size.width) * image.channels) {
    return name + ": its row stride is shorter than a row; it counts samples, not bytes or pixels";
  }
  if (reinterpret_cast<std::uintptr_t>(image.samples) % static_cast<unsigned>(bytesPerSample(image.depth)) != 0) {
    return name + ": its samples must start at a multiple of their size";
  }
  return {};
}

std::string transformError(const Transform &transform) {
  for (const double element : transform.matrix)
    if (!std::isfinite(element)) return "transform: its elements must be finite numbers";
  return {};
}

bool overlap(const ImageView &a, const ImageView &b) {
  const Bytes first = bytesOf(a), second = bytesOf(b);
  const std::less<> before;
  return before(first.begin, second.end) && before(second.begin, first.end);
}

} // namespace vindrel
