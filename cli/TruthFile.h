// truth.json: where each frame of a simulated bracket really lies.
//
//   {
//     "format": "vindrel-truth",           always
//     "version": 1,                        raised when a reader of the present form would misunderstand
//     "width": 1200, "height": 800,        pixels of every frame
//     "photo": "wall.jpg",                 the following are how the bracket was made, for the reader's information
//     "motion": "perspective", "seed": 1, "evStep": 2.0, "depth": 8,
//     "frames": [
//       { "file": "frame_00.png",          relative to the folder of truth.json
//         "ev": 0.0,                       exposure in stops, 0 the photograph's own, positive brighter
//         "frameFromScene": [1,0,0, 0,1,0, 0,0,1] }
//     ]
//   }
//
// frameFromScene is a 3x3 matrix, row by row. It maps a point of the scene onto the frame: with (u, v, w) = M (X, Y,
// 1), the scene point (X, Y) appears at pixel coordinates (u / w, v / w). Pixel coordinates start at the top-left
// corner with y downward, and the sample of column x and row y stands at exactly (x, y). How frame B lies on frame A is
// therefore frameFromScene(B) x inverse(frameFromScene(A)), whatever the scene's own coordinates are.
#pragma once

#include "simulate/PlaneMap.h"
#include "vindrel/image.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vindrel::cli {

struct TruthFrame {
  std::string file;
  double ev = 0;
  PlaneMap frameFromScene = kPlaneIdentity;
};

struct TruthFile {
  Size frameSize;
  std::string photo;
  std::string motion;
  std::uint64_t seed = 0;
  double evStep = 0;
  int depth = 8;
  std::vector<TruthFrame> frames;

  // By file name, folders left out of account; null when the bracket has no such frame.
  const TruthFrame *find(const std::filesystem::path &photo) const;
};

// Throws Unreadable, naming the file and the entry that is wrong.
TruthFile readTruth(const std::filesystem::path &path);

// The text of the file.
std::string toJson(const TruthFile &truth);

} // namespace vindrel::cli
