// One frame resampled through a given transform: align_with_transf() beside cv::warpPerspective and cv::warpAffine, for
// both depths and the usual channel counts.
#include "PeerRow.h"
#include "TimedPair.h"

#include "VindrelRegLib.h"
#include "support/SyntheticPhoto.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <stdexcept>

namespace vindrel::bench {
namespace {

// A hand-held frame: turned by a degree, a little nearer, shifted, and for the perspective warp tilted.
constexpr double kTurn = 0.017453292519943295, kScale = 1.003, kShiftX = 21.3, kShiftY = -17.6;
constexpr double kTiltX = 0.06, kTiltY = -0.1; // in units of 1e-5

// Of a sample in 8 bits: what two bilinear interpolations may differ by on average, OpenCV's in 32nds of a pixel.
constexpr double kTolerance = 2;

cv::Mat pictureOf(const test::SyntheticPhoto &photo, int channels, int bits) {
  const ImageView view = photo.view();
  const cv::Mat colour(view.size.height, view.size.width, CV_8UC3, const_cast<void *>(view.samples));
  cv::Mat picture;
  if (channels == 3)
    picture = colour.clone();
  else
    cv::cvtColor(colour, picture, channels == 1 ? cv::COLOR_RGB2GRAY : cv::COLOR_RGB2RGBA);
  if (bits == 16) picture.convertTo(picture, CV_16U, 257);
  return picture;
}

// Of the middle of the picture, which the source covers.
double meanDifference(const cv::Mat &a, const cv::Mat &b) {
  const cv::Rect middle(a.cols / 4, a.rows / 4, a.cols / 2, a.rows / 2);
  return cv::norm(a(middle), b(middle), cv::NORM_L1) / static_cast<double>(middle.area()) / a.channels();
}

void compare(std::vector<PeerRow> &rows, const cv::Mat &picture, bool perspective, int threads, int pairs,
             const std::string &megapixels) {
  const int bits = picture.depth() == CV_8U ? 8 : 16, channels = picture.channels();
  const double a = kScale * std::cos(kTurn), b = -kScale * std::sin(kTurn);
  const cv::Matx23d affine(a, b, kShiftX, -b, a, kShiftY);
  const cv::Matx33d projective(a, b, kShiftX, -b, a, kShiftY, kTiltX * 1e-5, kTiltY * 1e-5, 1);
  const float transform[8] = {static_cast<float>(a),      static_cast<float>(b),     static_cast<float>(kShiftX),
                              static_cast<float>(-b),     static_cast<float>(a),     static_cast<float>(kShiftY),
                              static_cast<float>(kTiltX), static_cast<float>(kTiltY)};
  const std::uint32_t slot = 0;

  cv::Mat theirs(picture.size(), picture.type()), result(picture.size(), picture.type());
  const auto peer = [&] {
    constexpr int kFlags = cv::INTER_LINEAR | cv::WARP_INVERSE_MAP;
    const cv::Scalar white = cv::Scalar::all(bits == 8 ? 255 : 65535);
    const Stopwatch watch(threads);
    if (perspective)
      cv::warpPerspective(picture, theirs, projective, theirs.size(), kFlags, cv::BORDER_CONSTANT, white);
    else
      cv::warpAffine(picture, theirs, affine, theirs.size(), kFlags, cv::BORDER_CONSTANT, white);
    return watch.seconds();
  };
  const auto ours = [&] {
    const Stopwatch watch(threads);
    align_with_transf(threads, picture.cols, picture.rows, picture.cols * channels, picture.cols, 0, picture.rows,
                      channels, bits, 0, 0, perspective, &slot, transform, 0, 0, picture.data, result.data);
    return watch.seconds();
  };
  const TimedPair pair = timedPair(pairs, peer, ours);
  const std::string work = std::string(perspective ? "perspective" : "affine") + " warp, " + megapixels +
                           " megapixels, " + std::to_string(channels) + " x " + std::to_string(bits) + " bit";
  if (meanDifference(theirs, result) > kTolerance * (bits == 8 ? 1 : 257))
    throw std::runtime_error(work + ": not OpenCV's picture");
  const bool usual = bits == 8 && channels == 3;
  rows.push_back({.work = work,
                  .peer = perspective ? "cv::warpPerspective" : "cv::warpAffine",
                  .peerSeconds = pair.peerSeconds,
                  .ourSeconds = pair.ourSeconds,
                  .target = !usual        ? 2.5
                            : perspective ? 3.0
                                          : 2.85,
                  .bytes = 2.0 * static_cast<double>(picture.total() * picture.elemSize())});
}

} // namespace

void compareWarp(std::vector<PeerRow> &rows, int threads, bool quick) {
  const test::SyntheticPhoto photo(quick ? Size{1000, 750} : Size{6000, 4000}, 2);
  for (const int bits : {8, 16})
    for (const int channels : {3, 1, 4}) {
      const cv::Mat picture = pictureOf(photo, channels, bits);
      for (const bool perspective : {true, false})
        compare(rows, picture, perspective, threads, quick ? 1 : 9, quick ? "0.75" : "24");
    }
}

} // namespace vindrel::bench
