// The affine consensus search as its plain definition: no ranked copies, no early outs, a list for every table.
#pragma once

#include "reference/Simplex.h"
#include "reference/ThreePairs.h"
#include "reference/TransformCost.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <vector>

namespace reference {

struct Found {
  int anchors;
  Affine transform;
};

// random stands for rand(): 0 to 2^31 - 1.
inline Found affineSearch(int width, int height, const WholePairs &pairs, std::vector<float> dist, int budget,
                          const std::function<int()> &random) {
  const Affine identity = {1, 0, 0, 0, 1, 0};
  const int n = static_cast<int>(pairs.xA.size());
  const int m = std::min(n, budget);
  const int K = std::min(m - 1, budget);
  if (K < 1) return {0, identity};

  std::vector<int> order(n, 0);
  for (int k = 0; k < K; ++k) {
    int least = -1;
    for (int i = 0; i < n; ++i)
      if (dist[i] > -99999999.0f && (least < 0 || dist[i] < dist[least])) least = i;
    if (least < 0) break;
    order[k] = least;
    dist[least] = -1e8f;
  }
  const auto pairOf = [&](int rank) {
    const int p = order[rank];
    return Pair{float(pairs.xA[p]), float(pairs.yA[p]), float(pairs.xB[p]), float(pairs.yB[p])};
  };
  const float q = static_cast<float>(m) * 4.656613e-10f;
  const auto draw = [&] { return std::min(static_cast<int>(static_cast<float>(random()) * q), m - 1); };

  std::vector<Affine> transforms(K);
  std::vector<int> first(K, 0), second(K, 0), counts(K, 0);
  std::vector<float> errors(K, 0);
  int largest = 0;
  for (int k = 0; k < K; ++k) {
    float bestSpread = 0;
    const int P = order[k];
    for (int attempt = 0; attempt < 6; ++attempt) {
      const int i = draw();
      if (i == k) continue;
      const int j = draw();
      if (j == k || j == i) continue;
      const long long spread =
          std::llabs(1LL * pairs.xA[order[i]] - pairs.xA[P]) + std::llabs(1LL * pairs.xA[order[j]] - pairs.xA[P]) +
          std::llabs(1LL * pairs.yA[order[i]] - pairs.yA[P]) + std::llabs(1LL * pairs.yA[order[j]] - pairs.yA[P]);
      if (static_cast<float>(spread) > bestSpread) {
        bestSpread = static_cast<float>(spread);
        first[k] = i;
        second[k] = j;
      }
    }
    Affine &t = transforms[k];
    if (!solveThreePairs({pairOf(k), pairOf(first[k]), pairOf(second[k])}, t)) continue;
    float sum = 0;
    counts[k] = 2;
    for (int r = 0; r < m; ++r) {
      if (r == k || r == first[k] || r == second[k]) continue;
      const Pair p = pairOf(r);
      const float ex = p.xB - (t[0] * p.xA + t[1] * p.yA + t[2]);
      const float ey = p.yB - (t[3] * p.xA + t[4] * p.yA + t[5]);
      if (ex * ex + ey * ey < 4.0f) {
        sum += ex * ex + ey * ey;
        ++counts[k];
      }
    }
    errors[k] = sum / static_cast<float>(counts[k]);
    largest = std::max(largest, counts[k]);
  }
  if (largest <= 4) return {K, identity};

  const int threshold = static_cast<int>(largest * 0.8);
  std::vector<Vertex> start;
  std::vector<int> ranks;
  WholePairs consensus;
  Affine result = identity;
  float least = 999999.0f;
  for (int k = 0; k < K; ++k) {
    if (counts[k] < threshold) continue;
    if (start.size() < 7) start.emplace_back(transforms[k].begin(), transforms[k].end());
    for (int rank : {k, first[k], second[k]}) {
      if (std::find(ranks.begin(), ranks.end(), rank) != ranks.end()) continue;
      ranks.push_back(rank);
      consensus.xA.push_back(pairs.xA[order[rank]]);
      consensus.yA.push_back(pairs.yA[order[rank]]);
      consensus.xB.push_back(pairs.xB[order[rank]]);
      consensus.yB.push_back(pairs.yB[order[rank]]);
    }
    if (errors[k] < least) {
      least = errors[k];
      result = transforms[k];
    }
  }
  if (std::fabs(static_cast<double>(result[2])) / width > 0.2 ||
      std::fabs(static_cast<double>(result[5])) / height > 0.2)
    return {K, identity};
  start.resize(7, Vertex(6, 0.0f));
  const Vertex polished = simplexSearch(start, [&](const Vertex &v) { return affineCost(v.data(), consensus); });
  std::copy(polished.begin(), polished.end(), result.begin());
  return {K, result};
}

} // namespace reference
