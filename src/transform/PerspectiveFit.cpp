#include "transform/PerspectiveFit.h"

#include "base/Buffer.h"
#include "lmfit/LeastSquares.h"
#include "transform/MapPoint.h"
#include "transform/Matrix33.h"
#include "transform/PerspectiveResiduals.h"
#include "transform/PerspectiveSearch.h"

#include <algorithm>
#include <cassert>

namespace vindrel {
namespace {

constexpr int kRounds = 6; // the set stands still after two or three
constexpr int kParameters = 8;
constexpr int kLeastPairs = 4;         // determine the eight parameters
constexpr double kFitTolerance = 1e-6; // relative change of the sum of squares
constexpr int kFitCalls = 99999;

bool agrees(const PairsView &pairs, const Trans8 &transform, int pair) {
  return squaredResidual(pairs, transform, pair) < static_cast<double>(kAgreementSquared);
}

class Gathered {
public:
  bool allocate(int capacity) {
    const auto count = static_cast<std::size_t>(capacity);
    for (Buffer<std::int32_t> *array : {&srcX_, &srcY_, &dstX_, &dstY_}) {
      *array = Buffer<std::int32_t>::zeroed(count);
      if (!*array) return false;
    }
    return true;
  }
  // False when the set is the one gathered before.
  bool gather(const PairsView &pairs, const Trans8 &transform) {
    int count = 0;
    bool changed = false;
    for (int i = 0; i < pairs.count; ++i) {
      if (!agrees(pairs, transform, i)) continue;
      const auto slot = static_cast<std::size_t>(count++);
      changed |= srcX_[slot] != pairs.xA[i] || srcY_[slot] != pairs.yA[i] || dstX_[slot] != pairs.xB[i] ||
                 dstY_[slot] != pairs.yB[i];
      srcX_[slot] = pairs.xA[i];
      srcY_[slot] = pairs.yA[i];
      dstX_[slot] = pairs.xB[i];
      dstY_[slot] = pairs.yB[i];
    }
    changed |= count != count_;
    count_ = count;
    return changed;
  }
  int count() const { return count_; }
  PerspectiveFitProblem problem(const PerspectiveFitSettings &settings) const {
    return {.pairs = {.count = count_, .xA = srcX_.data(), .yA = srcY_.data(), .xB = dstX_.data(), .yB = dstY_.data()},
            .reference = settings.guess,
            .frame = settings.frame,
            .maxAngle = settings.maxAngle,
            .shapeResiduals = false};
  }

private:
  int count_ = 0;
  Buffer<std::int32_t> srcX_, srcY_, dstX_, dstY_;
};

void residuals(const double *parameters, int count, const void *data, double *values, int *) {
  const auto &problem = *static_cast<const PerspectiveFitProblem *>(data);
  assert(count == 2 * problem.pairs.count); // two residuals a pair: no pair is read that was not gathered
  perspectiveResiduals(parameters, count, problem, values);
}

} // namespace

double squaredResidual(const PairsView &pairs, const Trans8 &transform, int pair) {
  const PointD mapped = mapPerspectiveD(transform.data(), pairs.xA[pair], pairs.yA[pair]);
  const double dx = mapped.x - pairs.xB[pair];
  const double dy = mapped.y - pairs.yB[pair];
  return dx * dx + dy * dy;
}

double truncatedCost(const PairsView &pairs, const Trans8 &transform) {
  double cost = 0;
  for (int i = 0; i < pairs.count; ++i) {
    // A residual that is not a number counts as disagreement.
    const double squared = squaredResidual(pairs, transform, i);
    cost += squared < kAgreementSquared ? squared : static_cast<double>(kAgreementSquared);
  }
  return cost;
}

int agreement(const PairsView &pairs, const Trans8 &transform) {
  int count = 0;
  for (int i = 0; i < pairs.count; ++i) {
    if (agrees(pairs, transform, i)) ++count;
  }
  return count;
}

PerspectiveFit fitAgreeing(const PairsView &pairs, const Trans8 &start, const PerspectiveFitSettings &settings) {
  PerspectiveFit best{.transform = start};
  Gathered gathered;
  if (!gathered.allocate(pairs.count)) return {.status = Status::OutOfMemory};
  double bestCost = truncatedCost(pairs, start);
  Trans8 current = start;
  LeastSquaresControl control = kDoubleControl;
  control.ftol = kFitTolerance;
  control.maxCall = kFitCalls;
  for (int round = 0; round < kRounds; ++round) {
    if (!gathered.gather(pairs, current) || gathered.count() < kLeastPairs) break;
    const PerspectiveFitProblem problem = gathered.problem(settings);
    Trans8D parameters;
    std::copy(current.begin(), current.end(), parameters.begin());
    const FitResult fit =
        leastSquares(kParameters, parameters.data(), 2 * gathered.count(), &problem, residuals, control);
    if (fit.info == FitInfo::OutOfMemory) return {.status = Status::OutOfMemory};
    current = narrow(parameters);
    const double cost = truncatedCost(pairs, current);
    if (cost < bestCost) {
      bestCost = cost;
      best.transform = current;
    }
  }
  return best;
}

} // namespace vindrel
