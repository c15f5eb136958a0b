// A whole stack aligned by rt_align(), beside an OpenCV pipeline and Hugin's align_image_stack.
#include "HuginRun.h"
#include "OrbPipeline.h"
#include "PeerRow.h"
#include "StackScene.h"
#include "TimedPair.h"

#include "VindrelRegLib.h"
#include "driver/Estimate.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <stdexcept>

namespace vindrel::bench {
namespace {

constexpr double kLargestError = 1; // pixel: what either side must stay under to count
constexpr double kShiftShare = 0.1; // of the width: the largest motion sought, as the program's default

// Tried in this order, which is that of their time: the first that places every frame within a pixel is the peer.
constexpr OrbSettings kOrbSettings[] = {{500, 1},  {1000, 1}, {2000, 1}, {4000, 1},
                                        {2000, 3}, {4000, 3}, {4000, 8}, {8000, 8}};

std::optional<OrbSettings> fastestWithinAPixel(OrbPipeline &pipeline, const StackScene &scene) {
  for (const OrbSettings &settings : kOrbSettings) {
    const OrbAlignment alignment = pipeline.place(settings);
    bool within = !alignment.frameFromReference.empty();
    for (int i = 0; within && i < scene.count(); ++i)
      within = scene.error(alignment.frameFromReference[static_cast<std::size_t>(i)], i, alignment.reference) <
               kLargestError;
    if (within) return settings;
  }
  return std::nullopt;
}

// What rt_align() finds, as numbers; the size of its output.
Size checkOurs(StackScene &scene, int threads, int maxShift) {
  BlockFrames frames(scene.block.data(), scene.count(), {scene.size, 3, SampleDepth::U8});
  const Estimate estimate =
      estimateTransforms(frames, {.threads = threads, .maxShiftX = maxShift, .maxShiftY = maxShift},
                         {.model = LinkModel::Perspective, .threads = threads});
  if (estimate.status != Status::Ok || estimate.abandoned) throw std::runtime_error("rt_align: found no alignment");
  for (int i = 0; i < scene.count(); ++i) {
    // What the warp reads: whole chains, whose last two coefficients come in units of their own.
    const float *t = estimate.transforms.slot(static_cast<std::uint32_t>(i));
    const PlaneMap map = {t[0], t[1], t[2], t[3], t[4], t[5], t[6] * kPerspectiveUnit, t[7] * kPerspectiveUnit, 1};
    const double error = scene.error(map, i, static_cast<int>(estimate.rankOrder[0]));
    if (!(error < kLargestError)) throw std::runtime_error("rt_align: a frame is " + std::to_string(error) + " px off");
  }
  return estimate.window.size;
}

void compareScene(std::vector<PeerRow> &rows, StackScene &scene, const std::string &work, int threads, bool quick) {
  const int maxShift = static_cast<int>(kShiftShare * scene.size.width);
  const Size expected = checkOurs(scene, threads, maxShift);
  std::vector<std::uint8_t> block(scene.block.size());
  const auto ours = [&] {
    std::copy(scene.block.begin(), scene.block.end(), block.begin());
    int size[2] = {0, 0};
    const Stopwatch watch(threads);
    const int result = rt_align(threads, maxShift, maxShift, 1, scene.count(), scene.size.width, scene.size.height, 3,
                                8, size, block.data(), nullptr);
    const double seconds = watch.seconds();
    if (result < 0 || size[0] != expected.width || size[1] != expected.height)
      throw std::runtime_error("rt_align: wrong answer");
    return seconds;
  };

  OrbPipeline pipeline(scene);
  const std::optional<OrbSettings> settings = fastestWithinAPixel(pipeline, scene);
  double ourSeconds = 0;
  if (settings) {
    const TimedPair pair = timedPair(
        quick ? 1 : 3,
        [&] {
          const Stopwatch watch(threads);
          pipeline.warp(pipeline.place(*settings));
          return watch.seconds();
        },
        ours);
    ourSeconds = pair.ourSeconds;
    rows.push_back({.work = work,
                    .peer = "OpenCV: ORB (" + std::to_string(settings->features) + " features, " +
                            std::to_string(settings->levels) + " levels), MAGSAC, warpPerspective",
                    .peerSeconds = pair.peerSeconds,
                    .ourSeconds = pair.ourSeconds,
                    .target = threads == 1 ? 1.4 : 2.0});
  } else {
    std::fprintf(stderr, "bench_peers: %s: no ORB pipeline stays within a pixel\n", work.c_str());
    ourSeconds = ours();
  }
  // Its processor time does not depend on the threads.
  if (threads != 1) return;
  if (const std::optional<double> hugin = huginSeconds(scene))
    rows.push_back({.work = work,
                    .peer = "align_image_stack, without file input and output",
                    .peerSeconds = *hugin,
                    .ourSeconds = ourSeconds,
                    .target = 40});
  else
    std::fprintf(stderr, "bench_peers: align_image_stack (package hugin-tools) is missing or failed\n");
}

} // namespace

void compareStack(std::vector<PeerRow> &rows, int threads, bool quick) {
  for (const double megapixels : quick ? std::vector<double>{1.5} : std::vector<double>{12, 24})
    for (const int frames : quick ? std::vector<int>{3} : std::vector<int>{3, 5}) {
      StackScene scene = makeStackScene(frames, megapixels);
      char work[64];
      std::snprintf(work, sizeof work, "rt_align, %d x %g megapixels", frames, megapixels);
      compareScene(rows, scene, work, threads, quick);
    }
}

} // namespace vindrel::bench
