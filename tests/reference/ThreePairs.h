// The affine transform through three pairs by elimination on a table of rows, the right-hand side as a seventh column.
#pragma once

#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace reference {

using Rows = std::vector<std::vector<double>>; // n rows of n + 1 values

// Empty when a pivot is zero.
inline std::vector<double> eliminate(Rows rows) {
  const int n = static_cast<int>(rows.size());
  for (int column = 0; column + 1 < n; ++column) {
    // The signed value of a row that wins becomes the mark for the next to beat with its magnitude.
    int winner = column;
    double mark = std::abs(rows[column][column]);
    for (int r = column + 1; r < n; ++r) {
      const double value = rows[r][column];
      if (std::abs(value) > mark) {
        mark = value;
        winner = r;
      }
    }
    std::swap(rows[column], rows[winner]); // what lies left of the column is never read again
    const std::vector<double> &pivot = rows[column];
    if (pivot[column] == 0 || std::isnan(pivot[column])) return {};
    for (int r = column + 1; r < n; ++r) {
      const double factor = -rows[r][column] / pivot[column];
      for (int c = column; c <= n; ++c)
        rows[r][c] = rows[r][c] + factor * pivot[c];
    }
  }
  std::vector<double> x(n);
  for (int r = n - 1; r >= 0; --r) {
    double sum = 0;
    for (int c = r + 1; c < n; ++c)
      sum += rows[r][c] * x[c];
    x[r] = (rows[r][n] - sum) / rows[r][r];
  }
  return x;
}

struct Pair {
  float xA, yA, xB, yB;
};

using Affine = std::array<float, 6>;

inline bool solveThreePairs(const Pair (&pairs)[3], Affine &out) {
  Rows rows;
  for (const Pair &p : pairs) {
    const double x = p.xA, y = p.yA;
    rows.push_back({x, y, 0, 0, 1, 0, p.xB});
    rows.push_back({0, 0, x, y, 0, 1, p.yB});
  }
  const std::vector<double> u = eliminate(rows);
  if (u.empty()) return false;
  out = {float(u[0]), float(u[1]), float(u[4]), float(u[2]), float(u[3]), float(u[5])};
  return true;
}

} // namespace reference
