#include "driver/LinkEvidence.h"

#include "transform/MapPoint.h"
#include "transform/NormalEquations.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <limits>
#include <numeric>

namespace vindrel {
namespace {

// The expected error is averaged over a grid of points that spans the frame from corner to corner.
constexpr int kErrorGridColumns = 9;
constexpr int kErrorGridRows = 7;
// Feature points are whole pixels, in both frames: the difference of two roundings has this variance per axis, and a
// smaller one observed over few pairs is luck. Squared pixels.
constexpr double kRoundingVariance = 2.0 / 12.0;

constexpr std::size_t parametersOf(LinkModel model) {
  return model == LinkModel::Affine ? 6 : 8;
}

// The derivative of a mapped point by the transform's parameters, in coordinates centred on the frame and scaled to
// about 1. Transforms are near-isometric: the mapped point itself stands in for the denominator's effect on it.
class FrameJacobian {
public:
  explicit FrameJacobian(Size frame)
      : centreX_(frame.width * 0.5), centreY_(frame.height * 0.5),
        scale_(std::max(1.0, 0.5 * std::max(frame.width, frame.height))) {}
  struct Rows {
    NormalEquations::Vector x, y;
  };
  Rows at(double x, double y, PointD mapped) const {
    const double u = (x - centreX_) / scale_, v = (y - centreY_) / scale_;
    const double mappedU = (mapped.x - centreX_) / scale_, mappedV = (mapped.y - centreY_) / scale_;
    return {{u, v, 1, 0, 0, 0, -u * mappedU, -v * mappedU}, {0, 0, 0, u, v, 1, -u * mappedV, -v * mappedV}};
  }

private:
  double centreX_, centreY_, scale_;
};

double dot(const NormalEquations::Vector &a, const NormalEquations::Vector &b, std::size_t count) {
  return std::inner_product(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(count), b.begin(), 0.0);
}

int cell(double coordinate, int length) {
  return std::clamp(static_cast<int>(coordinate * kCoverageCells / std::max(1, length)), 0, kCoverageCells - 1);
}

} // namespace

LinkEvidence measureLink(const PairsView &pairs, const Trans8 &transform, LinkModel model, Size frame) {
  LinkEvidence evidence;
  evidence.pairs = pairs.count;
  evidence.expectedError = std::numeric_limits<double>::infinity();
  const std::size_t parameters = parametersOf(model);
  const FrameJacobian jacobian(frame);
  NormalEquations equations(parameters);
  std::bitset<kCoverageCells * kCoverageCells> covered;
  double squaredSum = 0;
  for (int i = 0; i < pairs.count; ++i) {
    const PointD mapped = mapPerspectiveD(transform.data(), pairs.xA[i], pairs.yA[i]);
    const double dx = pairs.xB[i] - mapped.x;
    const double dy = pairs.yB[i] - mapped.y;
    const double squared = dx * dx + dy * dy;
    if (!(squared < kInlierDistance * kInlierDistance)) continue;
    ++evidence.inliers;
    squaredSum += squared;
    const FrameJacobian::Rows rows = jacobian.at(pairs.xA[i], pairs.yA[i], mapped);
    equations.add(rows.x, dx);
    equations.add(rows.y, dy);
    covered.set(
        static_cast<std::size_t>(cell(pairs.yA[i], frame.height) * kCoverageCells + cell(pairs.xA[i], frame.width)));
  }
  evidence.coverage = static_cast<double>(covered.count()) / (kCoverageCells * kCoverageCells);
  if (evidence.inliers == 0) return evidence;
  evidence.rms = std::sqrt(squaredSum / evidence.inliers);
  const int freedom = 2 * evidence.inliers - static_cast<int>(parameters);
  if (freedom <= 0 || !equations.factor()) return evidence;
  const double residualVariance = std::max(squaredSum / freedom, kRoundingVariance);
  // How far the transform is from the least-squares fit of its own inliers, to first order, and what the residuals
  // leave open of that fit: both are errors of the transform.
  const NormalEquations::Vector step = equations.solution();
  double sum = 0;
  for (int row = 0; row < kErrorGridRows; ++row) {
    for (int column = 0; column < kErrorGridColumns; ++column) {
      const double x = frame.width * static_cast<double>(column) / (kErrorGridColumns - 1);
      const double y = frame.height * static_cast<double>(row) / (kErrorGridRows - 1);
      const PointD mapped = mapPerspectiveD(transform.data(), x, y);
      const FrameJacobian::Rows rows = jacobian.at(x, y, mapped);
      const double biasX = dot(rows.x, step, parameters);
      const double biasY = dot(rows.y, step, parameters);
      sum +=
          biasX * biasX + biasY * biasY + residualVariance * (equations.variance(rows.x) + equations.variance(rows.y));
    }
  }
  evidence.expectedError = std::sqrt(sum / (kErrorGridRows * kErrorGridColumns));
  return evidence;
}

} // namespace vindrel
