// The downhill simplex search, spelled out over a vector of points. Points are written as one expression a move.
#pragma once

#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

namespace reference {

using Vertex = std::vector<float>;

inline Vertex simplexSearch(std::vector<Vertex> vertices, const std::function<int(const Vertex &)> &cost) {
  const std::size_t n = vertices.size() - 1;
  std::vector<int> costs;
  for (const Vertex &v : vertices)
    costs.push_back(cost(v));
  const auto lowestOf = [&costs] {
    std::size_t lowest = 0;
    for (std::size_t i = 1; i < costs.size(); ++i)
      if (costs[i] < costs[lowest]) lowest = i;
    return lowest;
  };
  for (int count = 0; count < 15; ++count) {
    const std::size_t low = lowestOf();
    std::size_t high = 0;
    for (std::size_t i = 1; i <= n; ++i)
      if (costs[i] > costs[high]) high = i;
    int second = -1;
    for (std::size_t i = 0; i <= n; ++i)
      if (i != high && costs[i] > second) second = costs[i];
    const int lowest = costs[low], highest = costs[high];
    const double difference = static_cast<double>(highest) - lowest, total = static_cast<double>(highest) + lowest;
    if (static_cast<float>(std::fabs(difference / total)) < 0.001) break;

    Vertex g(n), r(n), other(n);
    for (std::size_t k = 0; k < n; ++k) {
      float sum = 0;
      for (std::size_t i = 0; i <= n; ++i)
        if (i != high) sum += vertices[i][k];
      g[k] = sum / static_cast<float>(n);
      r[k] = 2 * g[k] - vertices[high][k];
    }
    const int fr = cost(r);
    if (fr <= lowest) {
      for (std::size_t k = 0; k < n; ++k)
        other[k] = 2 * r[k] - g[k];
      const int fe = cost(other);
      vertices[high] = fe < lowest ? other : r;
      costs[high] = fe < lowest ? fe : fr;
    } else if (fr < second) {
      vertices[high] = r;
      costs[high] = fr;
    } else {
      if (fr < highest) {
        vertices[high] = r;
        costs[high] = fr;
      }
      for (std::size_t k = 0; k < n; ++k)
        other[k] = (vertices[high][k] + g[k]) / 2;
      const int fc = cost(other);
      if (fc < costs[high]) {
        vertices[high] = other;
        costs[high] = fc;
      } else {
        for (std::size_t i = 0; i <= n; ++i) {
          if (i == low) continue;
          for (std::size_t k = 0; k < n; ++k)
            vertices[i][k] = (vertices[i][k] + vertices[low][k]) / 2;
          costs[i] = cost(vertices[i]);
        }
      }
    }
    if (costs[lowestOf()] == 0) break;
  }
  return vertices[lowestOf()];
}

} // namespace reference
