#include "driver/LinkEvidence.h"

#include "driver/Chance.h"
#include "transform/MapPoint.h"
#include "transform/NormalEquations.h"

#include <algorithm>
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

constexpr std::size_t kAffineParameters = 6;
constexpr std::size_t kPerspectiveParameters = 8;
// Two more parameters lower the sum of squares by about twice the residuals' variance when there is nothing for them to
// explain; by more than this many times it once in ten thousand.
constexpr double kSignificantGain = 20.0;

// Of the many pairs a tile offers, those of least descriptor distance are kept, and they are the ones whose
// displacement happens to be near whole pixels. Where a frame turned or stretched, every fraction occurs somewhere and
// that evens out; where it only slid, all pairs err the same way. Pixels, one standard deviation, for a displacement
// that is the same all over the frame; fades out as it comes to vary by a whole pixel.
constexpr double kWholePixelBias = 0.15;

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

// How far the transform is from the least-squares fit of its own inliers, to first order, and what the residuals leave
// open of that fit: both are errors of the transform. Root mean square over the grid, pixels.
double averageError(const NormalEquations &equations, double residualVariance, const FrameJacobian &jacobian,
                    const Trans8 &transform, Size frame) {
  const NormalEquations::Vector step = equations.solution();
  double sum = 0;
  for (int row = 0; row < kErrorGridRows; ++row) {
    for (int column = 0; column < kErrorGridColumns; ++column) {
      const double x = frame.width * static_cast<double>(column) / (kErrorGridColumns - 1);
      const double y = frame.height * static_cast<double>(row) / (kErrorGridRows - 1);
      const FrameJacobian::Rows rows = jacobian.at(x, y, mapPerspectiveD(transform.data(), x, y));
      const double biasX = dot(rows.x, step, equations.unknowns());
      const double biasY = dot(rows.y, step, equations.unknowns());
      const double variance = equations.variance(rows.x) + equations.variance(rows.y);
      sum += biasX * biasX + biasY * biasY + residualVariance * variance;
    }
  }
  return std::sqrt(sum / (kErrorGridRows * kErrorGridColumns));
}

// How much the displacement varies over the frame's corners, in the axis where it varies less. Pixels.
double displacementRange(const Trans8 &transform, Size frame) {
  double lowX = 0, highX = 0, lowY = 0, highY = 0;
  const PointD origin = mapPerspectiveD(transform.data(), 0, 0);
  for (const PointD corner :
       {PointD{0.0 + frame.width, 0}, PointD{0, 0.0 + frame.height}, PointD{0.0 + frame.width, 0.0 + frame.height}}) {
    const PointD mapped = mapPerspectiveD(transform.data(), corner.x, corner.y);
    const double x = mapped.x - corner.x - origin.x, y = mapped.y - corner.y - origin.y;
    lowX = std::min(lowX, x);
    highX = std::max(highX, x);
    lowY = std::min(lowY, y);
    highY = std::max(highY, y);
  }
  return std::min(highX - lowX, highY - lowY);
}

} // namespace

LinkEvidence measureLink(const PairsView &pairs, const Trans8 &transform, LinkModel model, Size frame,
                         MatchWindow window) {
  LinkEvidence evidence;
  evidence.pairs = pairs.count;
  evidence.expectedError = std::numeric_limits<double>::infinity();
  const FrameJacobian jacobian(frame);
  NormalEquations own(model == LinkModel::Affine ? kAffineParameters : kPerspectiveParameters);
  NormalEquations perspective(kPerspectiveParameters);
  Coverage covered(frame);
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
    for (NormalEquations *equations : {&own, &perspective}) {
      equations->add(rows.x, dx);
      equations->add(rows.y, dy);
    }
    covered.add(pairs.xA[i], pairs.yA[i]);
  }
  evidence.coverage = covered.share();
  evidence.rivals = findRivals(pairs, transform, kInlierDistance, frame);
  const int sample = static_cast<int>(own.unknowns()) / 2; // each pair fixes two parameters
  evidence.logFalseAlarms = logFalseAlarms(pairs.count, evidence.inliers, sample, kInlierDistance, window);
  if (evidence.inliers == 0) return evidence;
  evidence.rms = std::sqrt(squaredSum / evidence.inliers);
  const int freedom = 2 * evidence.inliers - static_cast<int>(own.unknowns());
  if (freedom <= 0 || !own.factor()) return evidence;
  const double residualVariance = std::max(squaredSum / freedom, kRoundingVariance);
  // Where the inliers say that the scene moved in perspective, an affine transform is measured against that: its own
  // parameters cannot know how far it is from what they cannot express.
  const bool bent = model == LinkModel::Affine && perspective.factor() &&
                    perspective.gain() - own.gain() > kSignificantGain * residualVariance;
  const double random = averageError(bent ? perspective : own, residualVariance, jacobian, transform, frame);
  const double bias = kWholePixelBias * std::max(0.0, 1.0 - displacementRange(transform, frame));
  evidence.expectedError = std::hypot(random, bias);
  return evidence;
}

} // namespace vindrel
