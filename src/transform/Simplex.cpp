#include "transform/Simplex.h"

#include "base/Buffer.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>

namespace vindrel {

namespace {

constexpr int kMaxMoves = 15;
constexpr float kSpreadLimit = 0.001f; // of the sum of highest and lowest cost

class Simplex {
public:
  Simplex(int n, SimplexCost cost) : n_(n), cost_(cost) {}

  bool start(const float *points) {
    const std::size_t n = static_cast<std::size_t>(n_);
    points_ = Buffer<float>::zeroed((n + 1) * n + 3 * n);
    costs_ = Buffer<int>::zeroed(n + 1);
    if (!points_ || !costs_) return false;
    std::copy_n(points, (n + 1) * n, points_.data());
    for (int i = 0; i <= n_; ++i) {
      costs_[static_cast<std::size_t>(i)] = costOf(point(i));
    }
    return true;
  }

  void minimise() {
    for (int move = 0; move < kMaxMoves; ++move) {
      rank();
      if (isFlat()) return;
      moveWorst();
      if (costs_[static_cast<std::size_t>(lowest())] == 0) return;
    }
  }

  const float *best() const { return point(lowest()); }

private:
  float *point(int i) { return points_.data() + static_cast<std::ptrdiff_t>(i) * n_; }
  const float *point(int i) const { return points_.data() + static_cast<std::ptrdiff_t>(i) * n_; }
  // Behind the points stand three more of scratch.
  float *centroid() { return point(n_ + 1); }
  float *reflection() { return point(n_ + 2); }
  float *trial() { return point(n_ + 3); }

  int costOf(const float *parameters) const { return cost_.function(cost_.state, parameters); }

  int lowest() const { return static_cast<int>(std::min_element(costs_.begin(), costs_.end()) - costs_.begin()); }

  // Of equal costs the first counts as the lowest, and as the highest.
  void rank() {
    best_ = lowest();
    worst_ = static_cast<int>(std::max_element(costs_.begin(), costs_.end()) - costs_.begin());
    lowCost_ = costs_[static_cast<std::size_t>(best_)];
    highCost_ = costs_[static_cast<std::size_t>(worst_)];
    secondCost_ = INT_MIN;
    for (int i = 0; i <= n_; ++i) {
      if (i != worst_) secondCost_ = std::max(secondCost_, costs_[static_cast<std::size_t>(i)]);
    }
  }

  // All costs 0 is 0 / 0, which is not within any limit: such a simplex still makes one move.
  bool isFlat() const {
    const double high = highCost_;
    const double low = lowCost_;
    return static_cast<float>(std::fabs((high - low) / (high + low))) < kSpreadLimit;
  }

  void replaceWorst(const float *with, int cost) {
    std::copy_n(with, n_, point(worst_));
    costs_[static_cast<std::size_t>(worst_)] = cost;
  }

  void findCentroid() {
    float *const g = centroid();
    std::fill_n(g, n_, 0.0f);
    for (int i = 0; i <= n_; ++i) {
      if (i == worst_) continue;
      for (int k = 0; k < n_; ++k) {
        g[k] += point(i)[k];
      }
    }
    for (int k = 0; k < n_; ++k) {
      g[k] /= static_cast<float>(n_);
    }
  }

  void moveWorst() {
    findCentroid();
    float *const r = reflection();
    for (int k = 0; k < n_; ++k) {
      r[k] = 2.0f * centroid()[k] - point(worst_)[k];
    }
    const int reflected = costOf(r);
    if (reflected <= lowCost_) {
      expand(reflected);
    } else if (reflected < secondCost_) {
      replaceWorst(r, reflected);
    } else {
      if (reflected < highCost_) replaceWorst(r, reflected);
      contract();
    }
  }

  void expand(int reflected) {
    float *const e = trial();
    for (int k = 0; k < n_; ++k) {
      e[k] = 2.0f * reflection()[k] - centroid()[k];
    }
    const int expanded = costOf(e);
    if (expanded < lowCost_) {
      replaceWorst(e, expanded);
    } else {
      replaceWorst(reflection(), reflected);
    }
  }

  void contract() {
    float *const c = trial();
    for (int k = 0; k < n_; ++k) {
      c[k] = (point(worst_)[k] + centroid()[k]) / 2.0f;
    }
    const int contracted = costOf(c);
    if (contracted < costs_[static_cast<std::size_t>(worst_)]) {
      replaceWorst(c, contracted);
    } else {
      shrink();
    }
  }

  void shrink() {
    for (int i = 0; i <= n_; ++i) {
      if (i == best_) continue;
      for (int k = 0; k < n_; ++k) {
        point(i)[k] = (point(i)[k] + point(best_)[k]) / 2.0f;
      }
      costs_[static_cast<std::size_t>(i)] = costOf(point(i));
    }
  }

  int n_;
  SimplexCost cost_;
  Buffer<float> points_;
  Buffer<int> costs_;
  int best_ = 0;
  int worst_ = 0;
  int lowCost_ = 0;
  int highCost_ = 0;
  int secondCost_ = 0;
};

} // namespace

Status minimiseBySimplex(int n, const float *start, SimplexCost cost, float *result) {
  Simplex simplex(n, cost);
  if (!simplex.start(start)) return Status::OutOfMemory;
  simplex.minimise();
  std::copy_n(simplex.best(), n, result);
  return Status::Ok;
}

} // namespace vindrel
