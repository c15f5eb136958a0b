// Pair matching as its definition reads: every table scanned from its start, the output picked minimum by minimum.
#pragma once

#include <cstdint>
#include <vector>

namespace vindrel::reference {

struct PointSet {
  std::vector<std::int32_t> x, y, scaleCode;
  std::vector<float> descriptor; // 64 a point
  int count() const { return static_cast<int>(x.size()); }
};

struct Pair {
  std::int32_t xA, yA, xB, yB;
  float dist;
  friend bool operator==(const Pair &, const Pair &) = default;
};

inline std::vector<Pair> pairs(const PointSet &a, const PointSet &b, int rangeX, int rangeY, int maxPairs) {
  struct Entry {
    int a, b;
    float dist;
    bool taken;
  };
  std::vector<Entry> table;
  for (int i = 0; i < a.count() && table.size() < 100001; ++i) {
    float best = 1e8f, second = 1e8f;
    int bestIndex = 0;
    for (int j = 0; j < b.count(); ++j) {
      if (b.scaleCode[j] < a.scaleCode[i] - 50) continue;
      if (b.scaleCode[j] > a.scaleCode[i] + 50) break;
      if (b.y[j] < a.y[i] - rangeY) continue;
      if (b.y[j] > a.y[i] + rangeY) break;
      if (b.x[j] < a.x[i] - rangeX || b.x[j] > a.x[i] + rangeX) continue;
      float d = 0;
      for (int k = 0; k < 64; ++k) {
        const float difference = a.descriptor[64 * i + k] - b.descriptor[64 * j + k];
        d += difference * difference;
      }
      if (d < best) {
        second = best;
        best = d;
        bestIndex = j;
      }
    }
    if (double{best} >= 99999999) continue;
    if (double{second} < 99999999) {
      const float ratio = second > 0 ? best / second : 0;
      if (double{ratio} > 0.4) continue;
    }
    bool present = false;
    for (Entry &entry : table)
      if (entry.b == bestIndex) {
        present = true;
        if (best < entry.dist) entry = {i, bestIndex, best, false};
      }
    if (!present) table.push_back({i, bestIndex, best, false});
  }

  std::vector<Pair> result;
  while (static_cast<int>(result.size()) < maxPairs && result.size() < table.size()) {
    Entry *least = nullptr;
    for (Entry &entry : table)
      if (!entry.taken && (least == nullptr || entry.dist < least->dist)) least = &entry;
    least->taken = true;
    result.push_back({a.x[least->a], a.y[least->a], b.x[least->b], b.y[least->b], least->dist});
  }
  return result;
}

} // namespace vindrel::reference
