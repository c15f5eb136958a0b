#include "OrbPipeline.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace vindrel::bench {
namespace {

constexpr int kCell = 1024;  // pixels a side, as the library's tiles
constexpr int kBorder = 31;  // ORB finds nothing closer to the edge of its image
constexpr int kFastest = 10; // FAST's threshold, low enough for the dark frames
constexpr float kRatio = 0.8f;
constexpr double kInlierPixels = 2, kConfidence = 0.9995;
constexpr int kIterations = 10000;
constexpr std::size_t kLeastMatches = 8;

struct Features {
  std::vector<cv::KeyPoint> points;
  cv::Mat descriptors;
};

Features detect(const cv::Mat &grey, const OrbSettings &settings) {
  const int columns = std::max(1, grey.cols / kCell), rows = std::max(1, grey.rows / kCell);
  std::vector<Features> cells(static_cast<std::size_t>(columns * rows));
  cv::parallel_for_({0, columns * rows}, [&](const cv::Range &range) {
    for (int i = range.start; i < range.end; ++i) {
      const int column = i % columns, row = i / columns;
      const cv::Point begin(grey.cols * column / columns, grey.rows * row / rows);
      const cv::Point end(grey.cols * (column + 1) / columns, grey.rows * (row + 1) / rows);
      const cv::Rect area = cv::Rect(begin - cv::Point(kBorder, kBorder), end + cv::Point(kBorder, kBorder)) &
                            cv::Rect({0, 0}, grey.size());
      Features &cell = cells[static_cast<std::size_t>(i)];
      cv::ORB::create(settings.features / (columns * rows), 1.2f, settings.levels, kBorder, 0, 2, cv::ORB::HARRIS_SCORE,
                      kBorder, kFastest)
          ->detectAndCompute(grey(area), cv::noArray(), cell.points, cell.descriptors);
      for (cv::KeyPoint &point : cell.points)
        point.pt += cv::Point2f(area.tl());
    }
  });
  Features all;
  for (const Features &cell : cells) {
    if (cell.points.empty()) continue;
    all.points.insert(all.points.end(), cell.points.begin(), cell.points.end());
    all.descriptors.push_back(cell.descriptors);
  }
  return all;
}

// Maps `brighter` onto `frame`; empty when it was not found.
cv::Mat homography(const Features &frame, const Features &brighter) {
  if (frame.points.size() < 2 || brighter.points.size() < 2) return {};
  std::vector<std::vector<cv::DMatch>> candidates;
  cv::BFMatcher(cv::NORM_HAMMING).knnMatch(frame.descriptors, brighter.descriptors, candidates, 2);
  std::vector<cv::Point2f> from, to;
  for (const std::vector<cv::DMatch> &two : candidates) {
    if (two.size() < 2 || two[0].distance >= kRatio * two[1].distance) continue;
    to.push_back(frame.points[static_cast<std::size_t>(two[0].queryIdx)].pt);
    from.push_back(brighter.points[static_cast<std::size_t>(two[0].trainIdx)].pt);
  }
  if (from.size() < kLeastMatches) return {};
  return cv::findHomography(from, to, cv::USAC_MAGSAC, kInlierPixels, cv::noArray(), kIterations, kConfidence);
}

PlaneMap planeMap(const cv::Mat &matrix) {
  PlaneMap map = kPlaneIdentity;
  for (int i = 0; i < 9; ++i)
    map[static_cast<std::size_t>(i)] = matrix.at<double>(i / 3, i % 3);
  return map;
}

} // namespace

OrbPipeline::OrbPipeline(StackScene &scene)
    : grey_(static_cast<std::size_t>(scene.count())), warped_(static_cast<std::size_t>(scene.count())) {
  for (int i = 0; i < scene.count(); ++i)
    frames_.emplace_back(scene.size.height, scene.size.width, CV_8UC3, scene.frame(i));
}

OrbAlignment OrbPipeline::place(const OrbSettings &settings) {
  const std::size_t count = frames_.size();
  std::vector<Features> features(count);
  std::vector<double> brightness(count);
  for (std::size_t i = 0; i < count; ++i) {
    cv::cvtColor(frames_[i], grey_[i], cv::COLOR_RGB2GRAY);
    brightness[i] = cv::mean(grey_[i])[0];
    features[i] = detect(grey_[i], settings);
  }
  std::vector<std::size_t> byRank(count);
  std::iota(byRank.begin(), byRank.end(), std::size_t{0});
  std::sort(byRank.begin(), byRank.end(), [&](std::size_t a, std::size_t b) { return brightness[a] > brightness[b]; });

  OrbAlignment alignment;
  alignment.reference = static_cast<int>(byRank[0]);
  alignment.frameFromReference.assign(count, kPlaneIdentity);
  cv::Mat chain = cv::Mat::eye(3, 3, CV_64F);
  for (std::size_t rank = 1; rank < count; ++rank) {
    const cv::Mat link = homography(features[byRank[rank]], features[byRank[rank - 1]]);
    if (link.empty()) return {};
    chain = link * chain;
    chain /= chain.at<double>(2, 2);
    alignment.frameFromReference[byRank[rank]] = planeMap(chain);
  }
  return alignment;
}

void OrbPipeline::warp(const OrbAlignment &alignment) {
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    if (static_cast<int>(i) == alignment.reference) {
      frames_[i].copyTo(warped_[i]);
      continue;
    }
    const PlaneMap &map = alignment.frameFromReference[i];
    cv::warpPerspective(frames_[i], warped_[i], cv::Mat(3, 3, CV_64F, const_cast<double *>(map.data())),
                        frames_[i].size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
  }
}

} // namespace vindrel::bench
