#include "simulate/HandMotion.h"

#include "simulate/RandomBits.h"

#include <cmath>

namespace vindrel {
namespace {

// Each bound is for one frame about the resting pose, so two frames can differ by twice as much.

// Translation: 0.75 % of the width, so up to 1.5 % between frames. Holding a normal lens still to half a degree over a
// burst of a second is what a careful photographer manages.
constexpr double kShiftReach = 0.0075;
// Rotation about the lens axis: half a degree, in radians.
constexpr double kRollReach = 0.5 * 3.14159265358979323846 / 180;
// Scale (swaying forth and back, breathing of the focus) and shear (rolling shutter): 0.15 % each.
constexpr double kScaleReach = 0.0015;
constexpr double kShearReach = 0.0015;
// Tilt: how far it moves the frame's corners, 0.25 % of the width, so up to 0.5 % between frames.
constexpr double kTiltReach = 0.0025;

// Second-order terms that the sum of the bounds leaves out, as a share of that sum.
constexpr double kMarginSlack = 1.02;
// Pixels that the resampling kernel reads beyond a position, rounded up, and one for safety.
constexpr double kKernelReach = 3;

double halfDiagonal(Size size) {
  return std::hypot(size.width, size.height) / 2;
}

PlanePoint centre(Size size) {
  return {(size.width - 1) / 2.0, (size.height - 1) / 2.0};
}

double margin(Size scene, Motion motion) {
  double reach = kShiftReach * scene.width;
  if (motion != Motion::Shift) reach += (kRollReach + kScaleReach + kShearReach) * halfDiagonal(scene);
  if (motion == Motion::Perspective) reach += kTiltReach * scene.width;
  return std::ceil(reach * kMarginSlack + kKernelReach);
}

} // namespace

Size frameSizeWithin(Size scene, Motion motion) {
  const int both = 2 * static_cast<int>(margin(scene, motion));
  return {scene.width - both, scene.height - both};
}

PlaneMap handHeldPose(Size scene, Motion motion, std::uint64_t seed, int index) {
  const std::uint64_t key = streamKey(seed, static_cast<std::uint64_t>(index));
  std::uint64_t draws = 0;
  const auto draw = [&] { return randomSigned(randomBits(key, draws++)); };

  // Drawn first and always in this order: other kinds of motion keep these values.
  const double roll = draw() * kRollReach;
  const double scale = draw() * kScaleReach;
  const double shear = draw() * kShearReach;
  const double tiltX = draw();
  const double tiltY = draw();
  PlanePoint shift; // uniform in the unit disc
  do {
    shift = {draw(), draw()};
  } while (shift.x * shift.x + shift.y * shift.y > 1);

  PlaneMap pose = translation(shift.x * kShiftReach * scene.width, shift.y * kShiftReach * scene.width);
  if (motion != Motion::Shift) {
    const double c = std::cos(roll) * (1 + scale);
    const double s = std::sin(roll) * (1 + scale);
    // Rotation and scale after a horizontal shear.
    pose = compose({c, c * shear - s, 0, s, s * shear + c, 0, 0, 0, 1}, pose);
  }
  if (motion == Motion::Perspective) {
    // At a corner (hw, hh) of the scene the denominator differs from 1 by at most unit, which moves the corner, at half
    // a diagonal from the centre, by the tilt's reach.
    const double unit = kTiltReach * scene.width / halfDiagonal(scene);
    pose = compose({1, 0, 0, 0, 1, 0, tiltX * unit / scene.width, tiltY * unit / scene.height, 1}, pose);
  }
  const PlanePoint sceneCentre = centre(scene);
  const PlanePoint frameCentre = centre(frameSizeWithin(scene, motion));
  return normalised(
      compose(translation(frameCentre.x, frameCentre.y), compose(pose, translation(-sceneCentre.x, -sceneCentre.y))));
}

} // namespace vindrel
