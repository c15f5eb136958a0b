// Feature points and their pairs, on tiles of real photographs: vddetect() beside cv::ORB and cv::AKAZE for as many
// points, and find_paires() beside cv::BFMatcher on the same descriptors. Tiles are spread over the threads, as the
// alignment of a stack does it; OpenCV gets a tile a thread as well, which serves it better than threads inside.
#include "PeerRow.h"
#include "TimedPair.h"

#include "VindrelRegLib.h"
#include "reference/Features.h"

#include <opencv2/features2d.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace vindrel::bench {
namespace {

constexpr int kSide = 1024;
constexpr int kPoints = 1310; // what the library asks of a tile
constexpr int kWindow = 32;   // pixels to either side
constexpr int kShiftX = 7, kShiftY = -5;
constexpr const char *kPhotographs = "/usr/share/backgrounds"; // of the package lomiri-wallpapers-16.04

struct PointSet {
  std::vector<std::int32_t> x = std::vector<std::int32_t>(kPoints), y = x, scaleCode = x;
  std::vector<float> descriptor = std::vector<float>(std::size_t{64} * kPoints);

  int detect(const cv::Mat &grey) {
    return vddetect(1, kSide, kSide, kPoints - 1, 0, 0, grey.data, 0, x.data(), y.data(), scaleCode.data(),
                    descriptor.data());
  }
  cv::Mat descriptors() { return cv::Mat(kPoints, 64, CV_32F, descriptor.data()); }
};

// One tile of a photograph and the same a little further: two frames of a hand-held pair.
struct TilePair {
  cv::Mat grey = {}, shifted = {};
  PointSet points = {}, shiftedPoints = {};
  cv::Mat mask = {}; // which pairs lie within the window
  cv::Ptr<cv::ORB> orb = {};
  cv::Ptr<cv::AKAZE> akaze = {};
};

cv::Mat crop(const cv::Mat &grey, int dx, int dy) {
  return grey(cv::Rect((grey.cols - kSide) / 2 + dx, (grey.rows - kSide) / 2 + dy, kSide, kSide)).clone();
}

// The threshold at which AKAZE finds as many points, by the responses of those that it finds at a low one.
float akazeThreshold(const cv::Mat &grey) {
  constexpr float kLow = 1e-5f;
  std::vector<cv::KeyPoint> points;
  cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_MLDB, 0, 3, kLow)->detect(grey, points);
  if (points.size() <= kPoints) return kLow;
  std::nth_element(points.begin(), points.begin() + kPoints, points.end(),
                   [](const auto &a, const auto &b) { return a.response > b.response; });
  return points[kPoints].response;
}

bool equalsReference(const cv::Mat &grey, const PointSet &points) {
  const reference::Image image = {kSide, kSide, {grey.data, grey.data + kSide * kSide}};
  const reference::Points expected = reference::detect(image, 1, kPoints - 1);
  return expected.x == points.x && expected.y == points.y && expected.scaleCode == points.scaleCode &&
         expected.descriptor == points.descriptor;
}

// The photographs with enough points in both tiles; with others there is no equal number to compare.
std::vector<TilePair> loadTiles(bool quick) {
  std::vector<std::filesystem::path> files;
  std::error_code missing;
  for (const auto &entry : std::filesystem::directory_iterator(kPhotographs, missing))
    if (entry.path().extension() == ".jpg") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  std::vector<TilePair> tiles;
  for (const auto &file : files) {
    const cv::Mat photograph = cv::imread(file.string(), cv::IMREAD_GRAYSCALE);
    if (photograph.cols < kSide + 2 * kShiftX || photograph.rows < kSide - 2 * kShiftY) continue;
    TilePair tile = {.grey = crop(photograph, 0, 0), .shifted = crop(photograph, kShiftX, kShiftY)};
    if (tile.points.detect(tile.grey) != kPoints || tile.shiftedPoints.detect(tile.shifted) != kPoints) continue;
    if (!equalsReference(tile.grey, tile.points)) throw std::runtime_error("vddetect: wrong answer");
    tile.mask.create(kPoints, kPoints, CV_8U);
    for (int i = 0; i < kPoints; ++i)
      for (int j = 0; j < kPoints; ++j) {
        const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
        tile.mask.at<std::uint8_t>(i, j) = std::abs(tile.points.x[a] - tile.shiftedPoints.x[b]) <= kWindow &&
                                           std::abs(tile.points.y[a] - tile.shiftedPoints.y[b]) <= kWindow;
      }
    tile.orb = cv::ORB::create(kPoints);
    tile.akaze = cv::AKAZE::create(cv::AKAZE::DESCRIPTOR_MLDB, 0, 3, akazeThreshold(tile.grey));
    tiles.push_back(std::move(tile));
    if (quick) break;
  }
  if (tiles.empty()) throw std::runtime_error("no photographs: is lomiri-wallpapers-16.04 installed?");
  return tiles;
}

// Most of the pairs are apart by the shift between the tiles, to the pixel.
void checkPairs(int count, const std::int32_t *xA, const std::int32_t *yA, const std::int32_t *xB,
                const std::int32_t *yB) {
  int right = 0;
  for (int i = 0; i < count; ++i)
    right += std::abs(xA[i] - xB[i] - kShiftX) <= 1 && std::abs(yA[i] - yB[i] - kShiftY) <= 1;
  if (count < 100 || right < count * 9 / 10) throw std::runtime_error("find_paires: wrong answer");
}

// Does the work with every tile, and returns the time it took.
template <class Work>
double overTiles(std::vector<TilePair> &tiles, int threads, Work work) {
  const Stopwatch watch(threads);
#pragma omp parallel for num_threads(threads) schedule(dynamic)
  for (std::size_t i = 0; i < tiles.size(); ++i)
    work(tiles[i]);
  return watch.seconds();
}

struct Pairs {
  std::int32_t xA[kPoints], yA[kPoints], xB[kPoints], yB[kPoints];
  float dist[kPoints];
};

int match(const TilePair &tile, int range, Pairs &pairs) {
  const PointSet &a = tile.points, &b = tile.shiftedPoints;
  return find_paires(kPoints, range, range, kPoints, a.x.data(), a.y.data(), a.scaleCode.data(), a.descriptor.data(),
                     kPoints, b.x.data(), b.y.data(), b.scaleCode.data(), b.descriptor.data(), pairs.xA, pairs.yA,
                     pairs.xB, pairs.yB, pairs.dist);
}

template <class Detector>
void detectWith(const cv::Ptr<Detector> &detector, const TilePair &tile) {
  std::vector<cv::KeyPoint> points;
  cv::Mat descriptors;
  detector->detectAndCompute(tile.grey, cv::noArray(), points, descriptors);
}

void matchWith(TilePair &tile, const cv::Mat &mask) {
  std::vector<std::vector<cv::DMatch>> matches;
  cv::BFMatcher(cv::NORM_L2).knnMatch(tile.points.descriptors(), tile.shiftedPoints.descriptors(), matches, 2, mask);
}

} // namespace

void compareFeatures(std::vector<PeerRow> &rows, int threads, bool quick) {
  const int threadsBefore = cv::getNumThreads();
  cv::setNumThreads(1); // inside a tile
  std::vector<TilePair> tiles = loadTiles(quick);
  const std::string count = std::to_string(tiles.size());
  const auto compare = [&](const std::string &work, const char *peer, double target, int runs, auto theirs, auto ours) {
    const auto theirRun = [&] { return overTiles(tiles, threads, theirs); };
    const auto ourRun = [&] { return overTiles(tiles, threads, ours); };
    const TimedPair pair = timedPair(quick ? 1 : runs, theirRun, ourRun);
    rows.push_back({.work = work,
                    .peer = peer,
                    .peerSeconds = pair.peerSeconds,
                    .ourSeconds = pair.ourSeconds,
                    .target = target,
                    .bytes = 0});
  };

  const std::string detection = "vddetect, " + count + " tiles of 1024 x 1024, 1310 points each";
  const auto detect = [](TilePair &tile) { tile.points.detect(tile.grey); };
  compare(
      detection, "cv::ORB", 2.5, 15, [](TilePair &tile) { detectWith(tile.orb, tile); }, detect);
  compare(
      detection, "cv::AKAZE", 20, 3, [](TilePair &tile) { detectWith(tile.akaze, tile); }, detect);

  for (const TilePair &tile : tiles) {
    Pairs pairs;
    const int found = match(tile, kWindow, pairs);
    checkPairs(found, pairs.xA, pairs.yA, pairs.xB, pairs.yB);
  }
  const std::string matching = "find_paires, " + count + " times 1310 x 1310, ";
  const auto matchIn = [](int range) {
    return [range](TilePair &tile) {
      Pairs pairs;
      match(tile, range, pairs);
    };
  };
  compare(
      matching + "whole frame", "cv::BFMatcher, k = 2", 3.4, 15, [](TilePair &tile) { matchWith(tile, {}); },
      matchIn(kSide));
  compare(
      matching + "window of 32 pixels", "cv::BFMatcher, k = 2, masked", 20, 25,
      [](TilePair &tile) { matchWith(tile, tile.mask); }, matchIn(kWindow));
  cv::setNumThreads(threadsBefore);
}

} // namespace vindrel::bench
