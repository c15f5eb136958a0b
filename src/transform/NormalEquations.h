// The normal equations of a linearised least-squares problem in up to eight unknowns, solved by Cholesky's
// factorisation: they are symmetric and, where the observations determine every unknown, positive definite.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace vindrel {

class NormalEquations {
public:
  static constexpr std::size_t kMaxUnknowns = 8;
  using Vector = std::array<double, kMaxUnknowns>;

  explicit NormalEquations(std::size_t unknowns) : unknowns_(unknowns) {}

  // One observation: residual = row * unknowns, to first order.
  void add(const Vector &row, double residual) {
    for (std::size_t r = 0; r < unknowns_; ++r) {
      gradient_[r] += row[r] * residual;
      for (std::size_t c = 0; c <= r; ++c)
        matrix_[r][c] += row[r] * row[c];
    }
  }

  // Factors the matrix. False when the observations leave an unknown undetermined.
  bool factor() {
    // Unknowns are scaled to about the same size by the caller, so a pivot this much smaller than its diagonal is
    // nothing but rounding.
    constexpr double kLeastPivot = 1e-12;
    for (std::size_t r = 0; r < unknowns_; ++r) {
      for (std::size_t c = 0; c <= r; ++c) {
        double sum = matrix_[r][c];
        for (std::size_t k = 0; k < c; ++k)
          sum -= factor_[r][k] * factor_[c][k];
        if (c < r) {
          factor_[r][c] = sum / factor_[c][c];
        } else if (sum > kLeastPivot * matrix_[r][r]) {
          factor_[r][r] = std::sqrt(sum);
        } else {
          return false;
        }
      }
    }
    return true;
  }

  // After factor(): the unknowns that the observations ask for.
  Vector solution() const { return solve(gradient_); }

  // After factor(): by how much the solution lowers the sum of the squared residuals.
  double gain() const {
    double sum = 0;
    const Vector half = forward(gradient_);
    for (std::size_t i = 0; i < unknowns_; ++i)
      sum += half[i] * half[i];
    return sum;
  }

  std::size_t unknowns() const { return unknowns_; }

  // After factor(): row * inverse(matrix) * row, the variance of row * unknowns for residuals of variance 1.
  double variance(const Vector &row) const {
    double sum = 0;
    const Vector half = forward(row);
    for (std::size_t i = 0; i < unknowns_; ++i)
      sum += half[i] * half[i];
    return sum;
  }

private:
  Vector forward(const Vector &side) const {
    Vector out{};
    for (std::size_t r = 0; r < unknowns_; ++r) {
      double sum = side[r];
      for (std::size_t k = 0; k < r; ++k)
        sum -= factor_[r][k] * out[k];
      out[r] = sum / factor_[r][r];
    }
    return out;
  }
  Vector solve(const Vector &side) const {
    const Vector half = forward(side);
    Vector out{};
    for (std::size_t r = unknowns_; r-- > 0;) {
      double sum = half[r];
      for (std::size_t k = r + 1; k < unknowns_; ++k)
        sum -= factor_[k][r] * out[k];
      out[r] = sum / factor_[r][r];
    }
    return out;
  }

  std::size_t unknowns_;
  std::array<Vector, kMaxUnknowns> matrix_{};
  std::array<Vector, kMaxUnknowns> factor_{};
  Vector gradient_{};
};

} // namespace vindrel
