// Pixels in the caller's memory: interleaved samples, rows a stride apart, the top row first or last in memory. Views
// own nothing; what they point to must stay as long as the call they are handed to, unless that call says otherwise.
//
// Coordinates are pixels with the origin at the frame's top-left corner, x to the right and y downward. The sample of
// column x and row y stands at exactly (x, y): whole coordinates are sample positions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vindrel {

/// How a sample is stored. The values are bits.
enum class SampleDepth : int {
  U8 = 8,   ///< unsigned bytes, 255 is white
  U16 = 16, ///< unsigned 16-bit numbers in native byte order, 65535 is white
  F32 = 32, ///< IEEE single precision, 1 is white; values beyond 0 to 1 are allowed
};

/// 1, 2 or 4.
constexpr int bytesPerSample(SampleDepth depth) {
  return static_cast<int>(depth) / 8;
}

/// How many pixels across and down.
struct Size {
  int width = 0;  ///< pixels
  int height = 0; ///< pixels
  friend bool operator==(const Size &, const Size &) = default;
};

/// A part of a frame, or one that reaches beyond it.
struct Rectangle {
  int x = 0;      ///< of the top-left pixel; may be negative
  int y = 0;      ///< of the top-left pixel; may be negative
  int width = 0;  ///< pixels
  int height = 0; ///< pixels
  /// Width and height.
  constexpr Size size() const { return {width, height}; }
  friend bool operator==(const Rectangle &, const Rectangle &) = default;
};

/// An image to read: 1 to 4 channels of one depth, interleaved. Which colour a channel stands for is the caller's:
/// nothing is converted. Estimates see a grey mixture, for which the channels are taken as red, green and blue; of
/// four, points are found in the first, the second and the fourth: an alpha channel that shows something takes part.
struct ImageView {
  /// The first sample of pixel (0, 0), the leftmost of the top row, wherever in memory that row lies. On a multiple of
  /// a sample's size.
  const void *samples = nullptr;
  Size size = {};   ///< 1 to 65536 pixels wide and high, 2147483647 pixels at most
  int channels = 0; ///< samples per pixel, 1 to 4
  /// Samples, not bytes, from the start of a row to the start of the row below it: size.width * channels or more, so
  /// that rows do not overlap, or that much or more below 0. Negative of a picture that is stored bottom row first: its
  /// top row, to which `samples` points, is then the last in memory.
  std::int64_t rowStride = 0;
  SampleDepth depth = SampleDepth::U8; ///< of every sample

  /// The first sample of row y, 0 to size.height - 1; Sample is std::uint8_t, std::uint16_t or float, as the depth
  /// says.
  template <class Sample>
  const Sample *row(int y) const {
    return static_cast<const Sample *>(samples) + y * rowStride;
  }
};

/// An image to write: as an ImageView, whose samples are the caller's to be overwritten. Between rows nothing is
/// written.
struct MutableImageView {
  void *samples = nullptr;             ///< as ImageView::samples
  Size size = {};                      ///< as ImageView::size
  int channels = 0;                    ///< as ImageView::channels
  std::int64_t rowStride = 0;          ///< as ImageView::rowStride; may be negative here, too
  SampleDepth depth = SampleDepth::U8; ///< as ImageView::depth

  /// As ImageView::row().
  template <class Sample>
  Sample *row(int y) const {
    return static_cast<Sample *>(samples) + y * rowStride;
  }
  /// The same image to be read.
  operator ImageView() const { return {samples, size, channels, rowStride, depth}; }
};

/// Samples of an image whose rows follow each other without padding.
constexpr std::int64_t packedSamples(Size size, int channels) {
  return static_cast<std::int64_t>(size.width) * size.height * channels;
}

} // namespace vindrel
