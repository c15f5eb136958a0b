#include "transform/PrintTransform.h"

#include <algorithm>
#include <cstdio>

namespace vindrel {

int printTransform(const float *t, int n) {
  double v[8] = {};
  std::copy_n(t, n == 8 ? 8 : 6, v);
  if (n == 8) {
    // g and h appear as stored, 100000 times larger than they act.
    return std::fprintf(stderr,
                        "x'=(%1.6fx + %1.6fy + %1.2f) / (%1.6fx + %1.6fy + 1)\n"
                        "y'=(%1.6fx + %1.6fy + %1.2f) / (%1.6fx + %1.6fy + 1)\n",
                        v[0], v[1], v[2], v[6], v[7], v[3], v[4], v[5], v[6], v[7]);
  }
  return std::fprintf(stderr,
                      "x'=%1.6fx + %1.6fy + %1.2f\n"
                      "y'=%1.6fx + %1.6fy + %1.2f\n",
                      v[0], v[1], v[2], v[3], v[4], v[5]);
}

int printTransform(const double *t, int n) {
  float narrowed[8] = {};
  const int count = std::clamp(n, 0, n == 8 ? 8 : 6);
  for (int i = 0; i < count; ++i) {
    narrowed[i] = static_cast<float>(t[i]);
  }
  return printTransform(narrowed, n);
}

} // namespace vindrel
