// The alignment that one would write with OpenCV: ORB features on a grid, matched between neighbours in brightness,
// homographies by MAGSAC, chained, and every frame warped onto the brightest.
#pragma once

#include "StackScene.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vindrel::bench {

struct OrbSettings {
  int features = 0; // of a frame
  int levels = 0;   // of ORB's pyramid
};

struct OrbAlignment {
  int reference = 0;
  std::vector<PlaneMap> frameFromReference; // by frame; empty where a frame could not be placed
};

class OrbPipeline {
public:
  explicit OrbPipeline(StackScene &scene);

  OrbAlignment place(const OrbSettings &settings);
  // All frames, also the reference, which is copied; into memory that is used again.
  void warp(const OrbAlignment &alignment);

private:
  std::vector<cv::Mat> frames_, grey_, warped_;
};

} // namespace vindrel::bench
