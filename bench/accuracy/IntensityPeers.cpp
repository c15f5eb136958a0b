// Peers that compare tones instead of features: median-threshold bitmaps (AlignMTB, shifts only) and the enhanced
// correlation coefficient (ECC, homography).
#include "Method.h"
#include "PeerChain.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>
#include <opencv2/video/tracking.hpp>

#include <cmath>

namespace vindrel::accuracy {
namespace {

// ECC starts on a pyramid level of at most this many pixels, where hand-held motion is a pixel or two, and stops on the
// last level of at most kFinestPixels unless the full resolution is asked for: its time grows with the pixels.
// The coarsest level seeks a shift, the next a shift with rotation, the others the homography: on a level of few pixels
// eight parameters run away.
constexpr double kCoarsestPixels = 3e4;
constexpr double kFinestPixels = 7e5;
constexpr int kEccIterations = 50; // on each level
constexpr double kEccEpsilon = 1e-6;
constexpr int kEccBlur = 5; // pixels, width of the filter that the method applies first
// Correlation from which a placement counts as found. Truly aligned neighbours reach 0.9 and more where unclipped.
constexpr double kFoundCorrelation = 0.7;
// Grey levels that carry information: the rest is clipped or drowned in noise.
constexpr int kDarkest = 4;
constexpr int kBrightest = 250;

// The map between levels of half the size: a pixel of the coarse level covers two by two of the fine one.
const PlaneMap kFineFromCoarse = {2, 0, 0.5, 0, 2, 0.5, 0, 0, 1};

std::vector<cv::Mat> pyramid(const cv::Mat &grey) {
  std::vector<cv::Mat> levels = {grey};
  while (static_cast<double>(levels.back().total()) > kCoarsestPixels) {
    // Even sizes, so that a coarse pixel is the mean of exactly four.
    const cv::Mat &fine = levels.back();
    const cv::Mat even = fine(cv::Rect(0, 0, fine.cols / 2 * 2, fine.rows / 2 * 2));
    cv::Mat coarse;
    cv::resize(even, coarse, {}, 0.5, 0.5, cv::INTER_AREA);
    levels.push_back(coarse);
  }
  return levels;
}

FrameResult correlate(const std::vector<cv::Mat> &frame, const std::vector<cv::Mat> &brighter, bool fullResolution) {
  FrameResult result;
  PlaneMap map = kPlaneIdentity; // frame from brighter, on the current level
  double correlation = 0;
  for (int level = static_cast<int>(frame.size()) - 1; level >= 0; --level) {
    const cv::Mat &image = frame[static_cast<std::size_t>(level)];
    if (fullResolution || static_cast<double>(image.total()) <= kFinestPixels) {
      const int coarseness = static_cast<int>(frame.size()) - 1 - level; // 0 on the coarsest level
      const int motion = coarseness == 0   ? cv::MOTION_TRANSLATION
                         : coarseness == 1 ? cv::MOTION_EUCLIDEAN
                                           : cv::MOTION_HOMOGRAPHY;
      // All motions but the homography take the first two rows only.
      cv::Mat warp(motion == cv::MOTION_HOMOGRAPHY ? 3 : 2, 3, CV_32F);
      for (int i = 0; i < 9; ++i)
        warp.at<float>(i / 3, i % 3) = static_cast<float>(map[static_cast<std::size_t>(i)]);
      // The method takes a mask of one image only: what is clipped in the other is brought there by the placement so
      // far.
      const cv::Mat &target = brighter[static_cast<std::size_t>(level)];
      cv::Mat mask, targetMask;
      cv::inRange(image, kDarkest, kBrightest, mask);
      cv::inRange(target, kDarkest, kBrightest, targetMask);
      cv::warpPerspective(targetMask, targetMask, cv::Mat(3, 3, CV_64F, map.data()), image.size(), cv::INTER_NEAREST);
      mask &= targetMask;
      try {
        correlation = cv::findTransformECC(
            target, image, warp, motion, {cv::TermCriteria::COUNT + cv::TermCriteria::EPS, kEccIterations, kEccEpsilon},
            mask, kEccBlur);
      } catch (const cv::Exception &) {
        result.reason = "did not converge";
        return result;
      }
      for (int i = 0; i < 9; ++i)
        map[static_cast<std::size_t>(i)] = static_cast<double>(warp.at<float>(i / 3, i % 3));
    }
    if (level > 0) map = compose(kFineFromCoarse, compose(map, inverse(kFineFromCoarse)));
  }
  result.frameFromReference = normalised(map);
  result.found = correlation >= kFoundCorrelation;
  if (!result.found) result.reason = "weak correlation";
  return result;
}

std::vector<StackResult> runCorrelation(const Bracket &bracket, bool fullResolution, const std::string &name) {
  const double start = threadSeconds();
  const GreyStack stack = greyStack(bracket);
  std::vector<std::vector<cv::Mat>> pyramids;
  for (const cv::Mat &frame : stack.frames)
    pyramids.push_back(pyramid(frame));
  StackResult result = chainStack(stack, [&](int frame, int brighter) {
    return correlate(pyramids[static_cast<std::size_t>(frame)], pyramids[static_cast<std::size_t>(brighter)],
                     fullResolution);
  });
  result.method = name;
  result.seconds = threadSeconds() - start;
  return {result};
}

std::vector<StackResult> runMedianThreshold(const Bracket &bracket, const std::string &name) {
  const double start = threadSeconds();
  const GreyStack stack = greyStack(bracket);
  const cv::Ptr<cv::AlignMTB> aligner = cv::createAlignMTB();
  StackResult result = chainStack(stack, [&](int frame, int brighter) {
    // The shift that moves the second image onto the first.
    const cv::Point shift = aligner->calculateShift(stack.frames[static_cast<std::size_t>(brighter)],
                                                    stack.frames[static_cast<std::size_t>(frame)]);
    FrameResult link;
    link.found = true; // the method has no verdict
    link.frameFromReference = translation(-shift.x, -shift.y);
    return link;
  });
  result.method = name;
  result.seconds = threadSeconds() - start;
  return {result};
}

} // namespace

MethodGroup correlationPeer(bool fullResolution) {
  const std::string name = "ECC homography";
  const std::string note =
      fullResolution
          ? "ECC: coarse to fine; found: correlation 0.7."
          : "ECC: coarse to fine, up to the pyramid level of at most 0.7 megapixels, for its time (--ecc-full: "
            "all levels); found: correlation 0.7.";
  return {{name}, note, [=](const Bracket &bracket) { return runCorrelation(bracket, fullResolution, name); }};
}

MethodGroup medianThresholdPeer() {
  const std::string name = "AlignMTB shift";
  return {{name},
          "AlignMTB: whole-pixel shifts; it has no verdict, every frame counts as found.",
          [name](const Bracket &bracket) { return runMedianThreshold(bracket, name); }};
}

} // namespace vindrel::accuracy
