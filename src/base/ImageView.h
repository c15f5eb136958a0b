// Pixels as the library sees them: interleaved samples, top row first, rows a stride apart. Views own nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vindrel {

enum class SampleDepth : int {
  U8 = 8,   // unsigned bytes
  U16 = 16, // unsigned 16-bit samples in native byte order
};

constexpr int bytesPerSample(SampleDepth depth) {
  return depth == SampleDepth::U8 ? 1 : 2;
}
constexpr int maxSample(SampleDepth depth) {
  return depth == SampleDepth::U8 ? 255 : 65535;
}

struct Size {
  int width = 0;  // pixels
  int height = 0; // pixels
  friend bool operator==(const Size &, const Size &) = default;
};

struct ImageView {
  const void *samples = nullptr; // first sample of pixel (0, 0)
  Size size;
  int channels = 0;           // samples per pixel
  std::int64_t rowStride = 0; // samples from the start of one row to the start of the next
  SampleDepth depth = SampleDepth::U8;

  template <class Sample>
  const Sample *row(int y) const {
    return static_cast<const Sample *>(samples) + y * rowStride;
  }
};

struct MutableImageView {
  void *samples = nullptr;
  Size size;
  int channels = 0;
  std::int64_t rowStride = 0;
  SampleDepth depth = SampleDepth::U8;

  template <class Sample>
  Sample *row(int y) const {
    return static_cast<Sample *>(samples) + y * rowStride;
  }
  operator ImageView() const { return {samples, size, channels, rowStride, depth}; }
};

// Samples in an image whose rows follow each other without padding.
constexpr std::int64_t packedSamples(Size size, int channels) {
  return static_cast<std::int64_t>(size.width) * size.height * channels;
}

} // namespace vindrel
