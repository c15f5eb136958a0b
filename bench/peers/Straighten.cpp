// One photograph straightened and cropped: straightenImage() beside OpenCV and ImageMagick with the same transform.
#include "PeerRow.h"
#include "TimedPair.h"

#include "VindrelRegLib.h"
#include "perspective/Straighten.h"
#include "support/SyntheticPhoto.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <wand/MagickWand.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace vindrel::bench {
namespace {

constexpr StraightenRequest kRequest = {.factorV = -0.03f, .factorH = 0.01f, .angleDegrees = 1.5f};
constexpr int kTolerance =
    2; // of a sample: what two bilinear interpolations may differ by, OpenCV's in 32nds of a pixel

struct WandOwner {
  void operator()(MagickWand *wand) const { DestroyMagickWand(wand); }
};
using Wand = std::unique_ptr<MagickWand, WandOwner>;

// Of the middle of the picture.
double meanDifference(const std::uint8_t *a, const std::uint8_t *b, Size size) {
  double sum = 0;
  std::size_t count = 0;
  const std::size_t rowBytes = static_cast<std::size_t>(size.width) * 3;
  for (int y = size.height / 4; y < size.height * 3 / 4; ++y)
    for (std::size_t i = rowBytes / 4; i < rowBytes * 3 / 4; ++i, ++count) {
      const std::size_t at = static_cast<std::size_t>(y) * rowBytes + i;
      sum += std::abs(a[at] - b[at]);
    }
  return sum / static_cast<double>(count);
}

} // namespace

void compareStraighten(std::vector<PeerRow> &rows, int threads, bool quick) {
  const Size size = quick ? Size{1000, 750} : Size{6000, 4000};
  const test::SyntheticPhoto photo(size, 3);
  const ImageView source = photo.view();
  const StraightenPlan plan = planStraightening(size, kRequest);
  if (!plan.cropped) throw std::runtime_error("straightenImage: no crop was found");
  const std::string work = quick ? "straightenImage, 0.75 megapixels" : "straightenImage, 24 megapixels";

  std::vector<std::uint8_t> straight(static_cast<std::size_t>(packedSamples(size, 3)));
  const auto ours = [&] {
    int outSize[2] = {0, 0};
    const Stopwatch watch(threads);
    straightenImage(threads, size.width, size.height, 3 * size.width, 3, 8, outSize, source.samples, straight.data(),
                    kRequest.factorV, kRequest.factorH, kRequest.angleDegrees);
    const double seconds = watch.seconds();
    if (outSize[0] != plan.size.width || outSize[1] != plan.size.height)
      throw std::runtime_error("straightenImage: wrong size");
    return seconds;
  };

  // Output (x, y) less the offsets, then the plan's transform, whose last two coefficients come in units of 1e-5.
  const Trans8 &t = plan.sourceFromOutput;
  const cv::Matx33d toCrop(1, 0, -plan.offsetX, 0, 1, -plan.offsetY, 0, 0, 1);
  const cv::Matx33d sourceFromOutput =
      cv::Matx33d(t[0], t[1], t[2], t[3], t[4], t[5], t[6] * kPerspectiveUnit, t[7] * kPerspectiveUnit, 1) * toCrop;
  const cv::Mat picture(size.height, size.width, CV_8UC3, const_cast<void *>(source.samples));
  cv::Mat warped;
  const auto openCv = [&] {
    const Stopwatch watch(threads);
    cv::warpPerspective(picture, warped, sourceFromOutput, {plan.size.width, plan.size.height},
                        cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    return watch.seconds();
  };
  const TimedPair pair = timedPair(quick ? 1 : 7, openCv, ours);
  if (meanDifference(straight.data(), warped.data, plan.size) > kTolerance)
    throw std::runtime_error("straightenImage and cv::warpPerspective show different pictures");
  rows.push_back({.work = work,
                  .peer = "cv::warpPerspective",
                  .peerSeconds = pair.peerSeconds,
                  .ourSeconds = pair.ourSeconds,
                  .target = 3});

  // ImageMagick takes the map from source to output, and crops afterwards; reading the pixels in is not timed.
  cv::Matx33d outputFromSource = sourceFromOutput.inv();
  outputFromSource *= 1 / outputFromSource(2, 2);
  MagickWandGenesis();
  MagickSetResourceLimit(ThreadResource, static_cast<MagickSizeType>(threads));
  const auto imageMagick = [&] {
    const Wand wand(NewMagickWand());
    if (MagickConstituteImage(wand.get(), static_cast<std::size_t>(size.width), static_cast<std::size_t>(size.height),
                              "RGB", CharPixel, source.samples) == MagickFalse)
      throw std::runtime_error("ImageMagick: no memory");
    const Stopwatch watch(threads);
    const bool good = MagickDistortImage(wand.get(), PerspectiveProjectionDistortion, 8, outputFromSource.val,
                                         MagickFalse) != MagickFalse;
    const double seconds = watch.seconds();
    if (!good) throw std::runtime_error("ImageMagick: -distort failed");
    return seconds;
  };
  const TimedPair distorted = timedPair(1, imageMagick, ours);
  MagickWandTerminus();
  rows.push_back({.work = work,
                  .peer = "ImageMagick -distort PerspectiveProjection, its filter",
                  .peerSeconds = distorted.peerSeconds,
                  .ourSeconds = distorted.ourSeconds,
                  .target = 40});
}

} // namespace vindrel::bench
