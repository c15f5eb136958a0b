#include "StackScene.h"

#include "simulate/Bracket.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <stdexcept>
#include <string>

namespace vindrel::bench {
namespace {

const std::string kPhotograph = "/usr/share/backgrounds/life_by_Aitzol_Berasategi.jpg";
constexpr double kMargin = 1.06; // pixels of the scene for each of a frame: frames are cut a little smaller

} // namespace

double StackScene::error(const PlaneMap &estimated, int frame, int reference) const {
  const auto at = [this](int index) { return frameFromScene[static_cast<std::size_t>(index)]; };
  return placementError(estimated, frameFromReference(at(frame), at(reference)), size).gridMean;
}

StackScene makeStackScene(int frames, double megapixels) {
  const cv::Mat stored = cv::imread(kPhotograph);
  if (stored.empty()) throw std::runtime_error(kPhotograph + " is missing (package lomiri-wallpapers-16.04)");
  const double scale = std::sqrt(megapixels * 1e6 * kMargin / static_cast<double>(stored.total()));
  cv::Mat photograph;
  cv::resize(stored, photograph, {}, scale, scale, scale > 1 ? cv::INTER_CUBIC : cv::INTER_AREA);
  cv::cvtColor(photograph, photograph, cv::COLOR_BGR2RGB);
  const ImageView view = {.samples = photograph.data,
                          .size = {photograph.cols, photograph.rows},
                          .channels = 3,
                          .rowStride = static_cast<std::int64_t>(photograph.step),
                          .depth = SampleDepth::U8};
  const BracketShoot shoot(view, {.frames = frames, .evStep = 1, .motion = Motion::Perspective, .seed = 1});
  StackScene scene;
  scene.size = shoot.frameSize();
  scene.block.resize(static_cast<std::size_t>(packedSamples(scene.size, 3)) * static_cast<std::size_t>(frames));
  for (const BracketShoot::Frame &frame : shoot.frames())
    scene.frameFromScene.push_back(frame.frameFromScene);
  for (int i = 0; i < frames; ++i)
    shoot.render(i, {.samples = scene.frame(i),
                     .size = scene.size,
                     .channels = 3,
                     .rowStride = std::int64_t{scene.size.width} * 3,
                     .depth = SampleDepth::U8});
  return scene;
}

} // namespace vindrel::bench
