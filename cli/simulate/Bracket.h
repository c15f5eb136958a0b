// Hand-held exposure brackets made from one photograph, with known truth: what the alignment of real brackets is tried
// and measured on.
//
// The photograph is taken as the scene, in linear light. Frames are a little smaller than the scene, so that no frame,
// however moved, sees beyond it. Each is the scene resampled through a pose of its own (HandMotion.h), exposed at its
// own exposure value, with photon and readout noise, clipped at saturation, run through a camera's tone curve and
// quantised (Camera.h). Everything is a function of the photograph and the options: the same seed gives the same
// samples with any number of threads.
#pragma once

#include "simulate/HandMotion.h"
#include "simulate/LinearScene.h"
#include "simulate/PlaneMap.h"
#include "vindrel/image.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vindrel {

struct BracketOptions {
  int frames = 3;    // 1 to kMaxFrames
  double evStep = 2; // stops between frames neighbouring in exposure, 0 to kMaxEvStep
  Motion motion = Motion::Perspective;
  std::uint64_t seed = 0; // of the motion and of the noise
  SampleDepth depth = SampleDepth::U8;
  double scenePixels = 0; // the photograph is first reduced to at most this many pixels; 0: as it is

  // How much more contrast the scene has than the photograph, as the exponent of its luminance. A photograph is a
  // picture of about eight stops, whatever the scene; a bracket wider than that is only taken of scenes that need it,
  // and would show nothing but white and black of the photograph as it stands. 0: as much as the bracket's span
  // suggests, 1 for narrow ones; otherwise 1 to kMaxContrastOption.
  double sceneContrast = 0;

  static constexpr int kMaxFrames = 99;
  static constexpr double kMaxEvStep = 10;
  static constexpr double kMaxContrastOption = 10;
};

// Why a bracket cannot be made, in words for the user; empty when it can.
std::string bracketProblem(const ImageView &photograph, const BracketOptions &options);

// The exposure values of a bracket, centred on 0, in the order in which cameras shoot: the middle first, then outward,
// the darker of two equals before the brighter. With an even count the middle is half a step below 0.
std::vector<double> bracketExposures(int frames, double evStep);

// A bracket whose frames are rendered one at a time, for stacks that should not be in memory as a whole.
class BracketShoot {
public:
  // The photograph has 1 to 4 channels: grey, grey and alpha, RGB, or RGB and alpha; alpha is ignored. It is only read
  // here. bracketProblem() must be empty. Throws std::bad_alloc.
  BracketShoot(const ImageView &photograph, const BracketOptions &options);

  struct Frame {
    double ev = 0; // stops; positive is brighter
    // Maps pixels of the scene, that is of the (reduced) photograph, onto the frame's; row-major, last element 1. Pixel
    // (x, y) sits at the coordinates (x, y). frameFromReference() in Truth.h makes maps between frames of it.
    PlaneMap frameFromScene = kPlaneIdentity;
  };

  Size sceneSize() const { return scene_.size; }
  Size frameSize() const { return frameSize_; }
  SampleDepth depth() const { return depth_; }
  double sceneContrast() const { return contrast_; } // the exponent in effect
  const std::vector<Frame> &frames() const { return frames_; }

  // out: frameSize(), 3 channels (red, green, blue), depth(). Uses the OpenMP threads of the calling thread.
  void render(int index, const MutableImageView &out) const;

private:
  LinearScene scene_;
  Size frameSize_;
  SampleDepth depth_ = SampleDepth::U8;
  double contrast_ = 1;
  std::uint64_t seed_ = 0;
  std::vector<Frame> frames_;
};

struct SimFrame {
  std::vector<std::byte> samples; // RGB, rows packed, in the bracket's depth
  double ev = 0;
  PlaneMap frameFromScene = kPlaneIdentity;
};

// A whole bracket in memory.
struct Bracket {
  Size frameSize;
  SampleDepth depth = SampleDepth::U8;
  std::vector<SimFrame> frames; // in the order of shooting

  ImageView view(int index) const {
    return {frames[static_cast<std::size_t>(index)].samples.data(), frameSize, 3,
            static_cast<std::int64_t>(frameSize.width) * 3, depth};
  }
};

// bracketProblem() must be empty. Throws std::bad_alloc.
Bracket simulateBracket(const ImageView &photograph, const BracketOptions &options);

} // namespace vindrel
