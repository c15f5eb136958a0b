#include "simulate/Camera.h"

#include "simulate/RandomBits.h"
#include "simulate/ToneCurve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace vindrel {
namespace {

constexpr int kLanes = LinearScene::kLanes;
constexpr int kChannels = 3;
using Pixel = std::array<float, kLanes>;

// Sensor. Electrons that one pixel holds at saturation, and standard deviation of its readout noise in electrons, of
// the order of a compact camera's at its base sensitivity: 43 dB at white.
constexpr float kFullWell = 20000;
constexpr float kReadNoise = 6;

// Tone curve: highlights roll off from this share of saturation, by light - kShoulderBend * (light - kShoulderStart)^2,
// rescaled so that saturation stays white. The slope falls to half at white; cameras bend more, never less.
constexpr double kShoulderStart = 0.5;
constexpr double kShoulderBend = 0.5;

// Steps of the tabulated tone curve. The curve's straight start ends after 205 of them, and interpolation in between
// stays within a tenth of a 16-bit code.
constexpr int kCurveSteps = 65536;

double toneCurve(double light) {
  const auto shoulder = [](double l) {
    const double above = std::max(0.0, l - kShoulderStart);
    return l - kShoulderBend * above * above;
  };
  return srgbFromLinear(shoulder(light) / shoulder(1.0));
}

// The tone curve in units of sample codes, from saturation shares 0 to 1.
class CurveTable {
public:
  explicit CurveTable(SampleDepth depth) : codes_(kCurveSteps + 2) {
    for (int i = 0; i <= kCurveSteps; ++i)
      codes_[static_cast<std::size_t>(i)] =
          static_cast<float>(toneCurve(static_cast<double>(i) / kCurveSteps) * maxSample(depth));
    codes_[kCurveSteps + 1] = codes_[kCurveSteps]; // the neighbour that saturation is interpolated with
  }

  float code(float light) const {
    const float position = light * static_cast<float>(kCurveSteps);
    const auto step = static_cast<int>(position);
    const float *at = codes_.data() + step;
    return at[0] + (at[1] - at[0]) * (position - static_cast<float>(step));
  }

private:
  std::vector<float> codes_;
};

// Catmull-Rom weights of the four neighbours around a position t past the second of them (Keys: "Cubic convolution
// interpolation for digital image processing", 1981, a = -1/2).
std::array<float, 4> cubicWeights(float t) {
  const float t2 = t * t;
  const float t3 = t2 * t;
  return {0.5f * (-t3 + 2 * t2 - t), 0.5f * (3 * t3 - 5 * t2 + 2), 0.5f * (-3 * t3 + 4 * t2 + t), 0.5f * (t3 - t2)};
}

// Positions are at least 1 and leave two pixels to the far edges, so that the 4 x 4 neighbours exist.
Pixel sampleScene(const LinearScene &scene, double x, double y) {
  const auto left = static_cast<int>(x);
  const auto top = static_cast<int>(y);
  const std::array<float, 4> across = cubicWeights(static_cast<float>(x - left));
  const std::array<float, 4> down = cubicWeights(static_cast<float>(y - top));
  Pixel sum = {};
  for (int j = 0; j < 4; ++j) {
    const float *in = scene.pixel(left - 1, top - 1 + j);
    Pixel row = {};
    for (int i = 0; i < 4; ++i, in += kLanes)
      for (int lane = 0; lane < kLanes; ++lane)
        row[lane] += across[i] * in[lane];
    for (int lane = 0; lane < kLanes; ++lane)
      sum[lane] += down[j] * row[lane];
  }
  return sum;
}

template <class Sample>
void exposeRow(const LinearScene &scene, const Exposure &exposure, const PlaneMap &sceneFromFrame,
               const CurveTable &curve, int y, const MutableImageView &out) {
  const auto gain = static_cast<float>(std::exp2(exposure.ev));
  const double maxX = scene.size.width - 3.0;
  const double maxY = scene.size.height - 3.0;
  Sample *samples = out.row<Sample>(y);
  auto counter = static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(out.size.width) * kChannels;
  for (int x = 0; x < out.size.width; ++x) {
    const PlanePoint at = mapPoint(sceneFromFrame, {static_cast<double>(x), static_cast<double>(y)});
    const Pixel light = sampleScene(scene, std::clamp(at.x, 1.0, maxX), std::clamp(at.y, 1.0, maxY));
    for (int channel = 0; channel < kChannels; ++channel) {
      // The kernel's negative lobes undershoot beside bright edges; light does not.
      const float electrons = std::max(0.0f, light[channel] * gain) * kFullWell;
      const float deviation = std::sqrt(electrons + kReadNoise * kReadNoise);
      const float noisy = electrons + deviation * randomNormal(randomBits(exposure.noiseSeed, counter++));
      const float share = std::clamp(noisy * (1.0f / kFullWell), 0.0f, 1.0f);
      *samples++ = static_cast<Sample>(curve.code(share) + 0.5f);
    }
  }
}

} // namespace

void exposeFrame(const LinearScene &scene, const Exposure &exposure, const MutableImageView &out) {
  const PlaneMap sceneFromFrame = inverse(exposure.frameFromScene);
  const CurveTable curve(out.depth);
#pragma omp parallel for schedule(static)
  for (int y = 0; y < out.size.height; ++y) {
    if (out.depth == SampleDepth::U8)
      exposeRow<std::uint8_t>(scene, exposure, sceneFromFrame, curve, y, out);
    else
      exposeRow<std::uint16_t>(scene, exposure, sceneFromFrame, curve, y, out);
  }
}

} // namespace vindrel
