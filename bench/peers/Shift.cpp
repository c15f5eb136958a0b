// Alignment by whole-pixel shifts: tr_align() beside cv::AlignMTB, on frames cut from one picture at known places and
// exposed differently. Both estimate and apply the shifts, over the same reach.
#include "PeerRow.h"
#include "TimedPair.h"

#include "VindrelRegLib.h"
#include "support/SyntheticPhoto.h"

#include <opencv2/core.hpp>
#include <opencv2/photo.hpp>

#include <array>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace vindrel::bench {
namespace {

constexpr int kLevels = 6; // a reach of 63 pixels, AlignMTB's default
constexpr int kFrames = 5;
constexpr int kChannels = 3;

struct Place {
  int x, y;
  double gain; // of light
};
// Neighbours in brightness lie up to 52 pixels apart, and frames do not come in the order of their brightness.
constexpr Place kPlaces[kFrames] = {{40, 30, 1}, {12, 8, 0.5}, {60, 41, 2}, {33, 60, 0.25}, {21, 19, 4}};
constexpr int kMargin = 64; // of the picture that the frames are cut from

std::vector<std::uint8_t> cutFrames(Size size) {
  const test::SyntheticPhoto photo({size.width + kMargin, size.height + kMargin}, 1);
  const ImageView picture = photo.view();
  const std::size_t rowBytes = static_cast<std::size_t>(size.width) * kChannels;
  std::vector<std::uint8_t> block(kFrames * rowBytes * static_cast<std::size_t>(size.height));
  std::uint8_t *out = block.data();
  for (const Place &place : kPlaces) {
    std::array<std::uint8_t, 256> exposed = {};
    for (int value = 0; value < 256; ++value)
      exposed[static_cast<std::size_t>(value)] = static_cast<std::uint8_t>(
          255 * std::pow(std::min(1.0, place.gain * std::pow(value / 255.0, 2.2)), 1 / 2.2) + 0.5);
    for (int y = 0; y < size.height; ++y) {
      const std::uint8_t *row = picture.row<std::uint8_t>(y + place.y) + place.x * kChannels;
      for (std::size_t i = 0; i < rowBytes; ++i)
        *out++ = exposed[row[i]];
    }
  }
  return block;
}

// The frames lie on each other when each starts at the same pixel of the picture: where the rightmost starts.
bool answerIsRight(const std::vector<std::uint8_t> &block, const std::vector<std::uint8_t> &frames, Size size,
                   const int *outSize) {
  constexpr int kCropX = 60 - 12, kCropY = 60 - 8;
  if (outSize[0] != size.width - kCropX || outSize[1] != size.height - kCropY) return false;
  const std::size_t rowBytes = static_cast<std::size_t>(outSize[0]) * kChannels;
  const std::uint8_t *out = block.data();
  for (int i = 0; i < kFrames; ++i)
    for (int y = 0; y < outSize[1]; ++y, out += rowBytes) {
      const auto row = static_cast<std::size_t>((i * size.height + y + 60 - kPlaces[i].y) * size.width) +
                       static_cast<std::size_t>(60 - kPlaces[i].x);
      if (std::memcmp(out, frames.data() + row * kChannels, rowBytes) != 0) return false;
    }
  return true;
}

} // namespace

void compareShift(std::vector<PeerRow> &rows, int threads, bool quick) {
  const Size size = quick ? Size{1000, 750} : Size{4000, 3000};
  const std::vector<std::uint8_t> frames = cutFrames(size);
  const std::size_t frameBytes = frames.size() / kFrames;

  std::vector<std::uint8_t> block(frames.size());
  const auto ours = [&] {
    std::copy(frames.begin(), frames.end(), block.begin());
    int outSize[2] = {0, 0};
    const auto fraction = static_cast<float>(std::ldexp(3.0, kLevels) / size.width); // between two powers of two
    const Stopwatch watch(threads);
    tr_align(kFrames, size.width, size.height, kChannels, 8, outSize, block.data(), 0, fraction);
    const double seconds = watch.seconds();
    if (!answerIsRight(block, frames, size, outSize)) throw std::runtime_error("tr_align: wrong answer");
    return seconds;
  };

  std::vector<cv::Mat> images, aligned(kFrames);
  for (std::size_t i = 0; i < kFrames; ++i)
    images.emplace_back(size.height, size.width, CV_8UC3, const_cast<std::uint8_t *>(frames.data() + i * frameBytes));
  const cv::Ptr<cv::AlignMTB> aligner = cv::createAlignMTB(kLevels, 4, true);
  const auto peer = [&] {
    const Stopwatch watch(threads);
    aligner->process(images, aligned);
    return watch.seconds();
  };
  const TimedPair pair = timedPair(quick ? 1 : 7, peer, ours);
  rows.push_back({.work = "tr_align, 5 x " + std::string(quick ? "0.75" : "12") + " megapixels",
                  .peer = "cv::AlignMTB",
                  .peerSeconds = pair.peerSeconds,
                  .ourSeconds = pair.ourSeconds,
                  .target = 6,
                  .bytes = 3.0 * static_cast<double>(frames.size())}); // read, and once more to be moved
}

} // namespace vindrel::bench
