#include "transform/LinearSolver.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace vindrel {

namespace {

int pivotRow(int n, const double *A, int k) {
  const auto at = [&](int row) { return A[static_cast<std::ptrdiff_t>(row) * n + k]; };
  int pivot = k;
  double best = std::fabs(at(k));
  for (int i = k + 1; i < n; ++i) {
    if (std::fabs(at(i)) > best) {
      pivot = i;
      best = at(i);
    }
  }
  return pivot;
}

} // namespace

bool gaussEliminate(int n, double *A, double *b, double *x) {
  const auto row = [&](int i) { return A + static_cast<std::ptrdiff_t>(i) * n; };
  for (int k = 0; k < n - 1; ++k) {
    const int p = pivotRow(n, A, k);
    if (p != k) {
      for (int j = k; j < n; ++j) {
        std::swap(row(k)[j], row(p)[j]);
      }
      std::swap(b[k], b[p]);
    }
    const double pivot = row(k)[k];
    if (!(pivot < 0 || pivot > 0)) return false;
    for (int i = k + 1; i < n; ++i) {
      const double factor = -row(i)[k] / pivot;
      for (int j = k; j < n; ++j) {
        row(i)[j] += factor * row(k)[j];
      }
      b[i] += factor * b[k];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    double known = 0;
    for (int j = i + 1; j < n; ++j) {
      known += row(i)[j] * x[j];
    }
    x[i] = (b[i] - known) / row(i)[i];
  }
  return true;
}

} // namespace vindrel
