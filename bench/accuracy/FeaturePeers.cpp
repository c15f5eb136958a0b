// SIFT and ORB features matched between neighbours in brightness, models by MAGSAC (homography) and RANSAC (affine).
#include "Method.h"
#include "PeerChain.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <map>
#include <utility>

namespace vindrel::accuracy {
namespace {

// Strongest features kept in a frame. More of them cost far more time than they gain accuracy.
constexpr int kMaxFeatures = 4000;
// Lowe's ratio test: a match counts when it is this much closer than the second best.
constexpr float kRatio = 0.8f;
// Distance up to which a match agrees with a model, pixels.
constexpr double kInlierPixels = 2.0;
constexpr int kIterations = 10000;
constexpr double kConfidence = 0.9995;
constexpr int kRefinements = 20; // least-squares steps of the affine estimator after RANSAC
// A model counts as found when its inliers exceed kFoundBase + kFoundShare * matches (Brown, Lowe: "Automatic
// panoramic image stitching using invariant features", 2007): beyond that, chance agreement is unlikely.
constexpr double kFoundBase = 8.0;
constexpr double kFoundShare = 0.3;

enum class PeerModel { Homography, Affine };

struct Features {
  std::vector<cv::KeyPoint> points;
  cv::Mat descriptors;
};

struct MatchedPoints {
  std::vector<cv::Point2f> frame;
  std::vector<cv::Point2f> brighter;
};

Features detect(cv::Feature2D &detector, const cv::Mat &grey) {
  // Equalised, so that thresholds on contrast find features in the dark and in the light frames alike.
  cv::Mat equalised;
  cv::equalizeHist(grey, equalised);
  Features features;
  detector.detectAndCompute(equalised, cv::noArray(), features.points, features.descriptors);
  return features;
}

MatchedPoints match(const Features &frame, const Features &brighter, int norm) {
  MatchedPoints matched;
  if (frame.points.size() < 2 || brighter.points.size() < 2) return matched;
  std::vector<std::vector<cv::DMatch>> candidates;
  cv::BFMatcher(norm).knnMatch(frame.descriptors, brighter.descriptors, candidates, 2);
  for (const std::vector<cv::DMatch> &two : candidates) {
    if (two.size() < 2 || two[0].distance >= kRatio * two[1].distance) continue;
    matched.frame.push_back(frame.points[static_cast<std::size_t>(two[0].queryIdx)].pt);
    matched.brighter.push_back(brighter.points[static_cast<std::size_t>(two[0].trainIdx)].pt);
  }
  return matched;
}

FrameResult estimate(const MatchedPoints &matched, PeerModel model) {
  FrameResult result;
  result.pairs = static_cast<int>(matched.frame.size());
  if (result.pairs < 4) {
    result.reason = "fewer than 4 matches";
    return result;
  }
  cv::Mat mask;
  cv::Mat found;
  if (model == PeerModel::Homography)
    found = cv::findHomography(matched.brighter, matched.frame, cv::USAC_MAGSAC, kInlierPixels, mask, kIterations,
                               kConfidence);
  else
    found = cv::estimateAffine2D(matched.brighter, matched.frame, mask, cv::RANSAC, kInlierPixels, kIterations,
                                 kConfidence, kRefinements);
  if (found.empty()) {
    result.reason = "no model";
    return result;
  }
  PlaneMap map = kPlaneIdentity;
  for (int row = 0; row < found.rows; ++row)
    for (int column = 0; column < 3; ++column)
      map[static_cast<std::size_t>(row * 3 + column)] = found.at<double>(row, column);
  result.frameFromReference = map;

  double squares = 0;
  for (int i = 0; i < result.pairs; ++i) {
    if (mask.at<std::uint8_t>(i) == 0) continue;
    const auto at = static_cast<std::size_t>(i);
    const PlanePoint mapped = mapPoint(map, {matched.brighter[at].x, matched.brighter[at].y});
    const double distance = std::hypot(mapped.x - matched.frame[at].x, mapped.y - matched.frame[at].y);
    squares += distance * distance;
    ++result.inliers;
  }
  result.rms = result.inliers > 0 ? std::sqrt(squares / result.inliers) : 0;
  result.found = result.inliers > kFoundBase + kFoundShare * result.pairs;
  if (!result.found) result.reason = "too few inliers";
  return result;
}

// Detection and matching are done once, and their time is counted for each of the two models.
std::vector<StackResult> runFeatures(const Bracket &bracket, cv::Feature2D &detector, int norm,
                                     const std::vector<std::string> &names) {
  const double start = threadSeconds();
  const GreyStack stack = greyStack(bracket);
  std::vector<Features> features;
  for (const cv::Mat &frame : stack.frames)
    features.push_back(detect(detector, frame));
  const double detecting = threadSeconds() - start;

  struct TimedMatches {
    MatchedPoints points;
    double seconds = 0;
  };
  std::map<std::pair<int, int>, TimedMatches> matches;
  const auto matchesOf = [&](int frame, int brighter) -> const TimedMatches & {
    const auto [at, isNew] = matches.try_emplace({frame, brighter});
    if (isNew) {
      const double matchStart = threadSeconds();
      at->second.points =
          match(features[static_cast<std::size_t>(frame)], features[static_cast<std::size_t>(brighter)], norm);
      at->second.seconds = threadSeconds() - matchStart;
    }
    return at->second;
  };

  std::vector<StackResult> results;
  for (const PeerModel model : {PeerModel::Homography, PeerModel::Affine}) {
    double seconds = detecting;
    StackResult result = chainStack(stack, [&](int frame, int brighter) {
      const TimedMatches &matched = matchesOf(frame, brighter);
      const double modelStart = threadSeconds();
      const FrameResult link = estimate(matched.points, model);
      seconds += matched.seconds + threadSeconds() - modelStart;
      return link;
    });
    result.method = names[model == PeerModel::Homography ? 0 : 1];
    result.seconds = seconds;
    results.push_back(std::move(result));
  }
  return results;
}

std::string featureNote(const std::string &features) {
  return features + ": at most " + std::to_string(kMaxFeatures) +
         " features a frame; found: inliers > 8 + 0.3 x matches, as Brown and Lowe have it.";
}

} // namespace

MethodGroup siftPeers() {
  const std::vector<std::string> names = {"SIFT + MAGSAC homography", "SIFT + RANSAC affine"};
  return {names, featureNote("SIFT"), [names](const Bracket &bracket) {
            return runFeatures(bracket, *cv::SIFT::create(kMaxFeatures), cv::NORM_L2, names);
          }};
}

MethodGroup orbPeers() {
  const std::vector<std::string> names = {"ORB + MAGSAC homography", "ORB + RANSAC affine"};
  return {names, featureNote("ORB"), [names](const Bracket &bracket) {
            return runFeatures(bracket, *cv::ORB::create(kMaxFeatures), cv::NORM_HAMMING, names);
          }};
}

} // namespace vindrel::accuracy
