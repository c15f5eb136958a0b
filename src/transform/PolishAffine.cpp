#include "transform/PolishAffine.h"

#include "transform/MapPoint.h"
#include "transform/NormalEquations.h"

#include <algorithm>
#include <array>

namespace vindrel {
namespace {

constexpr int kRounds = 5;                // the set stands still after two or three
constexpr double kAgreementSquared = 4.0; // squared pixels
constexpr int kLeastPairs = 6;            // twice what determines the six coefficients

} // namespace

Trans6 polishAffine(const PairsView &pairs, const Trans6 &transform, Size frame) {
  const double scale = 0.5 * std::max({frame.width, frame.height, 1});
  const double centreX = 0.5 * frame.width;
  const double centreY = 0.5 * frame.height;
  std::array<double, 8> current{};
  std::copy(transform.begin(), transform.end(), current.begin());
  int agreed = -1;
  for (int round = 0; round < kRounds; ++round) {
    NormalEquations equationsX(3);
    NormalEquations equationsY(3);
    int agreeing = 0;
    for (int i = 0; i < pairs.count; ++i) {
      const PointD mapped = mapPerspectiveD(current.data(), pairs.xA[i], pairs.yA[i]);
      const double dx = pairs.xB[i] - mapped.x;
      const double dy = pairs.yB[i] - mapped.y;
      if (!(dx * dx + dy * dy < kAgreementSquared)) continue;
      ++agreeing;
      const NormalEquations::Vector row = {(pairs.xA[i] - centreX) / scale, (pairs.yA[i] - centreY) / scale, 1};
      equationsX.add(row, dx);
      equationsY.add(row, dy);
    }
    if (agreeing < kLeastPairs || agreeing == agreed || !equationsX.factor() || !equationsY.factor()) break;
    agreed = agreeing;
    const NormalEquations::Vector stepX = equationsX.solution();
    const NormalEquations::Vector stepY = equationsY.solution();
    current[0] += stepX[0] / scale;
    current[1] += stepX[1] / scale;
    current[2] += stepX[2] - (stepX[0] * centreX + stepX[1] * centreY) / scale;
    current[3] += stepY[0] / scale;
    current[4] += stepY[1] / scale;
    current[5] += stepY[2] - (stepY[0] * centreX + stepY[1] * centreY) / scale;
  }
  Trans6 polished;
  std::transform(current.begin(), current.begin() + 6, polished.begin(),
                 [](double value) { return static_cast<float>(value); });
  return polished;
}

} // namespace vindrel
