// Corner displacements, edge angles and the penalty as plain formulas over named points.
#pragma once

#include <cmath>
#include <vector>

namespace reference {

struct P {
  float x, y;
};

inline float angle(P p0, P p1, P p2) {
  const P u = {p1.x - p0.x, p1.y - p0.y}, v = {p2.x - p0.x, p2.y - p0.y};
  const P d = {u.x - v.x, u.y - v.y};
  const float L1 = u.x * u.x + u.y * u.y, L2 = v.x * v.x + v.y * v.y;
  const float cosine = ((L1 - d.x * d.x) + (L2 - d.y * d.y)) / (2 * sqrtf(L1 * L2));
  return static_cast<float>(acosf(cosine) * 57.29577951308232);
}

struct Quad {
  P tl, tr, bl, br;
};

inline P mapped(const std::vector<double> &t, double x, double y) {
  const double w = (t[6] * x + t[7] * y) * 0.00001 + 1;
  return {static_cast<float>((t[0] * x + t[1] * y + t[2]) / w), static_cast<float>((t[3] * x + t[4] * y + t[5]) / w)};
}

inline Quad mappedFrame(int w, int h, const std::vector<double> &t) {
  return {mapped(t, 0, 0), mapped(t, w, 0), mapped(t, 0, h), mapped(t, w, h)};
}

struct Alphas {
  float a1, a2, a3, a4;
};

inline Alphas alphas(int w, int h, const Quad &q) {
  return {angle(q.bl, q.tl, {float(w), q.bl.y}), angle(q.br, q.tr, {0, q.br.y}), angle(q.bl, q.br, {q.bl.x, 0}),
          angle(q.tl, q.tr, {q.tl.x, float(h)})};
}

// dTL dTR dBL dBR aTL aBLv aBLh aBR qTL qTR qBR qBL. An empty A is the frame itself.
inline std::vector<float> transformDifference(int w, int h, const std::vector<double> &A,
                                              const std::vector<double> &B) {
  const Quad b = mappedFrame(w, h, B);
  const Alphas beta = alphas(w, h, b);
  Quad a = {{0, 0}, {float(w), 0}, {0, float(h)}, {float(w), float(h)}};
  Alphas alpha = {90, 90, 90, 90};
  if (!A.empty()) {
    a = mappedFrame(w, h, A);
    alpha = alphas(w, h, a);
  }
  const auto squared = [](P p, P q) { return (p.x - q.x) * (p.x - q.x) + (p.y - q.y) * (p.y - q.y); };
  return {squared(a.tl, b.tl),       squared(a.tr, b.tr),       squared(a.bl, b.bl),       squared(a.br, b.br),
          fabsf(alpha.a4 - beta.a4), fabsf(alpha.a3 - beta.a3), fabsf(alpha.a1 - beta.a1), fabsf(alpha.a2 - beta.a2),
          beta.a4 + 90 - beta.a1,    270 - (beta.a4 + beta.a2), beta.a2 + 90 - beta.a3,    beta.a3 + beta.a1 - 90};
}

inline float penalty(int w, int h, const std::vector<double> &A, const std::vector<double> &B, float maxDist,
                     float maxAngle) {
  const std::vector<float> v = transformDifference(w, h, A, B);
  const float L = maxDist * maxDist;
  float sum = 0;
  for (int i = 0; i < 4; ++i)
    if (v[i] > L) sum = sum + (v[i] - L);
  for (int i = 4; i < 8; ++i)
    if (v[i] > maxAngle) sum = sum + (v[i] - maxAngle) * 30000.0f;
  return sum;
}

} // namespace reference
