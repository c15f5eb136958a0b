// Straightening and its crop in the plainest form: one step a line, every rounding to single precision written out.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vindrel::reference {

inline void mapTrans8(const float *t, double x, double y, double &outX, double &outY) {
  const double a = t[0], b = t[1], c = t[2], d = t[3], e = t[4], f = t[5], g = t[6], h = t[7];
  const double w = (g * x + h * y) * 0.00001 + 1;
  outX = (a * x + b * y + c) / w;
  outY = (d * x + e * y + f) / w;
}

inline void mapMat9(const float *m, double x, double y, float &outX, float &outY) {
  const double q = double(m[6]) * x + double(m[7]) * y + double(m[8]);
  outX = float((double(m[0]) * x + double(m[1]) * y + double(m[2])) / q);
  outY = float((double(m[3]) * x + double(m[4]) * y + double(m[5])) / q);
}

inline void mapMat4(const float *m, double x, double y, float &outX, float &outY) {
  outX = float(double(m[0]) * x + double(m[2]) * y);
  outY = float(double(m[1]) * x + double(m[3]) * y);
}

inline void adjugate33(const double *m, double *adj) {
  adj[0] = m[4] * m[8] - m[7] * m[5];
  adj[1] = m[7] * m[2] - m[1] * m[8];
  adj[2] = m[1] * m[5] - m[4] * m[2];
  adj[3] = m[6] * m[5] - m[3] * m[8];
  adj[4] = m[0] * m[8] - m[6] * m[2];
  adj[5] = m[3] * m[2] - m[0] * m[5];
  adj[6] = m[3] * m[7] - m[6] * m[4];
  adj[7] = m[6] * m[1] - m[0] * m[7];
  adj[8] = m[0] * m[4] - m[3] * m[1];
}

inline void invertTrans8(const float *t, float *out) {
  const double m[9] = {t[0], t[1], t[2], t[3], t[4], t[5], double(t[6]) * 0.00001, double(t[7]) * 0.00001, 1};
  double adj[9];
  adjugate33(m, adj);
  const double k = 1 / adj[8];
  for (int i = 0; i < 6; ++i)
    out[i] = float(adj[i] * k);
  out[6] = float(adj[6] * 100000 * k);
  out[7] = float(adj[7] * 100000 * k);
}

inline void multiplySingle33(const float *a, const float *b, float *c) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      c[3 * i + j] = a[3 * i] * b[j];
      c[3 * i + j] = c[3 * i + j] + a[3 * i + 1] * b[3 + j];
      c[3 * i + j] = c[3 * i + j] + a[3 * i + 2] * b[6 + j];
    }
}

// The transform that takes s[i] onto d[i]: x and y of four points each.
inline void fourPairs(const float (*s)[2], const float (*d)[2], float *out) {
  double basis[2][9];
  for (int side = 0; side < 2; ++side) {
    const float(*p)[2] = side == 0 ? s : d;
    double *m = basis[side];
    for (int i = 0; i < 3; ++i) {
      m[i] = p[i][0];
      m[3 + i] = p[i][1];
      m[6 + i] = 1;
    }
    double adj[9];
    adjugate33(m, adj);
    for (int j = 0; j < 3; ++j) {
      const double lambda = adj[3 * j] * double(p[3][0]) + adj[3 * j + 1] * double(p[3][1]) + adj[3 * j + 2] * 1.0;
      for (int i = 0; i < 3; ++i)
        m[3 * i + j] *= lambda;
    }
  }
  double adj[9], c[9];
  adjugate33(basis[0], adj);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      c[3 * i + j] = basis[1][3 * i] * adj[j] + basis[1][3 * i + 1] * adj[3 + j] + basis[1][3 * i + 2] * adj[6 + j];
  for (int i = 0; i < 6; ++i)
    out[i] = float(c[i] / c[8]);
  out[6] = float(c[6] / c[8] * 100000);
  out[7] = float(c[7] / c[8] * 100000);
}

inline int intersection(int checkFirst, int checkSecond, double &outX, double &outY, double x1, double y1, double x2,
                        double y2, double x3, double y3, double x4, double y4) {
  const double d = (x1 - x2) * (y3 - y4) - (y1 - y2) * (x3 - x4);
  if (std::fabs(d) < 0.0000001) return 0;
  outX = ((x1 * y2 - y1 * x2) * (x3 - x4) - (x1 - x2) * (x3 * y4 - y3 * x4)) / d;
  outY = ((x1 * y2 - y1 * x2) * (y3 - y4) - (y1 - y2) * (x3 * y4 - y3 * x4)) / d;
  const double e = 0.00001;
  if (checkFirst && !(std::min(x1, x2) - e <= outX && outX <= std::max(x1, x2) + e)) return 0;
  if (checkFirst && !(std::min(y1, y2) - e <= outY && outY <= std::max(y1, y2) + e)) return 0;
  if (checkSecond && !(std::min(x3, x4) - e <= outX && outX <= std::max(x3, x4) + e)) return 0;
  if (checkSecond && !(std::min(y3, y4) - e <= outY && outY <= std::max(y3, y4) + e)) return 0;
  return 1;
}

struct Crop {
  float x, y;
  int w, h;
};

// 1 and a crop, or 0, also where the size is none that an int can hold.
inline int optimalCrop(const float *t, int w, int h, bool pinToEdge, float factorV, float factorH, Crop &crop) {
  float inverse[8];
  invertTrans8(t, inverse);
  double c[4][2];
  mapTrans8(inverse, 0, 0, c[0][0], c[0][1]);
  mapTrans8(inverse, 0, h, c[1][0], c[1][1]);
  mapTrans8(inverse, w, h, c[2][0], c[2][1]);
  mapTrans8(inverse, w, 0, c[3][0], c[3][1]);
  enum Edge { Left, Top, Bottom, Right };
  const int ends[4][2] = {{0, 1}, {0, 3}, {1, 2}, {3, 2}};

  double cx, cy;
  if (pinToEdge) {
    cx = w / 2;
    cy = h / 2;
  } else {
    cx = (std::max(c[0][0], 0.) + std::max(c[1][0], 0.) + std::min(c[2][0], 1. * w) + std::min(c[3][0], 1. * w)) * 0.25;
    cy = (std::max(c[0][1], 0.) + std::max(c[1][1], 0.) + std::min(c[2][1], 1. * h) + std::min(c[3][1], 1. * h)) * 0.25;
  }

  double hit[2];
  const auto meets = [&](Edge edge, int checkLine, double x3, double y3, double x4, double y4) {
    const double *p = c[ends[edge][0]], *q = c[ends[edge][1]];
    return intersection(1, checkLine, hit[0], hit[1], p[0], p[1], q[0], q[1], x3, y3, x4, y4) == 1;
  };
  const auto either = [&](Edge one, Edge two, int checkLine, double x3, double y3, double x4, double y4) {
    return meets(one, checkLine, x3, y3, x4, y4) || meets(two, checkLine, x3, y3, x4, y4);
  };

  if (!either(Left, Top, 0, cx, cy, cx - w, cy - h)) return 0;
  const double ax = hit[0], ay = hit[1];
  if (!either(Bottom, Right, 0, cx, cy, cx - w, cy - h)) return 0;
  const double bx = hit[0], by = hit[1];
  if (!either(Right, Top, 0, cx, cy, cx + w, cy - h)) return 0;
  const double rx = hit[0], ry = hit[1];
  if (!either(Bottom, Left, 0, cx, cy, cx + w, cy - h)) return 0;
  const double dx = hit[0], dy = hit[1];

  const double left = std::max(ax, dx), right = std::min(bx, rx), top = std::max(ay, ry), bottom = std::min(by, dy);
  const double minLeft = std::min(c[0][0], c[1][0]), maxRight = std::max(c[2][0], c[3][0]);
  const double minTop = std::min(c[0][1], c[3][1]), maxBottom = std::max(c[1][1], c[2][1]);

  double topAtLeft = ay, topAtRight = ry, bottomAtLeft = dy, bottomAtRight = by;
  double leftAtTop = ax, leftAtBottom = dx, rightAtTop = rx, rightAtBottom = bx;
  if (either(Left, Top, 1, left, top, left, minTop)) topAtLeft = std::min(top, hit[1]);
  if (either(Left, Top, 1, left, top, minLeft, top)) leftAtTop = std::min(hit[0], left);
  if (either(Left, Bottom, 1, left, bottom, left, maxBottom)) bottomAtLeft = std::max(bottom, hit[1]);
  if (either(Left, Bottom, 1, left, bottom, minLeft, bottom)) leftAtBottom = std::min(left, hit[0]);
  if (either(Right, Bottom, 1, right, bottom, right, maxBottom)) bottomAtRight = std::max(bottom, hit[1]);
  if (either(Right, Bottom, 1, right, bottom, maxRight, bottom)) rightAtBottom = std::max(right, hit[0]);
  if (either(Right, Top, 1, right, top, right, minTop)) topAtRight = std::min(top, hit[1]);
  if (either(Right, Top, 1, right, top, maxRight, top)) rightAtTop = std::max(right, hit[0]);

  const double fitLeft = std::max(leftAtBottom, leftAtTop), fitTop = std::max(topAtRight, topAtLeft);
  const double fitBottom = std::min(bottomAtLeft, bottomAtRight), fitRight = std::min(rightAtBottom, rightAtTop);
  const double fitW = fitRight - fitLeft, fitH = fitBottom - fitTop;

  double px, py, sx, sy;
  if (factorV < 0 && factorH < 0) {
    px = fitLeft, py = fitBottom, sx = 1, sy = -1;
  } else if (factorV < 0) {
    px = fitRight, py = fitBottom, sx = -1, sy = -1;
  } else if (factorH < 0) {
    px = fitLeft, py = fitTop, sx = 1, sy = 1;
  } else {
    px = fitRight, py = fitTop, sx = -1, sy = 1;
  }
  const double r = double(w) / double(h);
  double qx, qy;
  if (fitW / fitH > r) {
    qx = px + sx * r * fitH;
    qy = py + sy * fitH;
  } else {
    qx = px + sx * fitW;
    qy = py + sy * fitW / r;
  }
  const double xmin = std::min(px, qx), ymin = std::min(py, qy);
  const double width = std::max(px, qx) - xmin, height = std::max(py, qy) - ymin;
  if (!(width < 2147483648.0) || !(height < 2147483648.0)) return 0;
  crop = {float(-xmin), float(-ymin), int(width), int(height)};
  return 1;
}

struct Plan {
  float t[8];
  float cropX, cropY;
  int cropW, cropH; // as the output will be
  int uncutH;       // before the height is held to the source's
  int searchedW;    // as the crop search returned it; 0 when it failed
};

inline void straighteningTransform(int w, int h, float factorV, float factorH, float angle, float *t) {
  const double twoPi = 2 * 3.14159265358979323846;
  const float alpha = float(double(angle) * 0.017453292519943295);
  const float sinA = sinf(alpha), cosA = cosf(alpha);
  const double thetaV = (twoPi / h) * double(factorV), thetaH = (twoPi / w) * double(factorH);
  const float sv = float(sin(thetaV)), cv = float(cos(thetaV)), sh = float(sin(thetaH)), ch = float(cos(thetaH));
  const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const float mv[9] = {1, 0, 0, 0, cv, -sv, 0, sv, cv};
  const float mh[9] = {ch, 0, sh, 0, 1, 0, -sh, 0, ch};
  const float rot[4] = {cosA, sinA, -sinA, cosA};
  float m[9], inverse[8], p[4][2];
  multiplySingle33(identity, mv, m);

  const float s[4][2] = {{0, 0}, {0, float(h)}, {float(w), float(h)}, {float(w), 0}};
  const int hw = w / 2, hh = h / 2;
  mapMat9(m, -hw, -hh, p[0][0], p[0][1]);
  mapMat9(m, -hw, +hh, p[1][0], p[1][1]);
  mapMat9(m, +hw, +hh, p[2][0], p[2][1]);
  mapMat9(m, +hw, -hh, p[3][0], p[3][1]);
  for (auto &q : p) {
    q[0] = q[0] + float(hw);
    q[1] = q[1] + float(hh);
  }
  double x, y;
  fourPairs(s, p, t);
  invertTrans8(t, inverse);
  mapTrans8(inverse, w * 0.5, h * 0.5, x, y);
  float cx = float(x), cy = float(y);
  for (auto &q : p) {
    const float fromX = q[0] - cx, fromY = q[1] - cy;
    mapMat9(mh, fromX, fromY, q[0], q[1]);
    q[0] = q[0] + cx;
    q[1] = q[1] + cy;
  }
  fourPairs(s, p, t);
  invertTrans8(t, inverse);
  mapTrans8(inverse, cx, cy, x, y);
  cx = float(x);
  cy = float(y);
  for (auto &q : p) {
    const float fromX = q[0] - cx, fromY = q[1] - cy;
    mapMat4(rot, fromX, fromY, q[0], q[1]);
    q[0] = q[0] + cx;
    q[1] = q[1] + cy;
  }
  fourPairs(s, p, t);
}

inline Plan straighten(int w, int h, float factorV, float factorH, float angle, bool noCrop, bool pinToEdge) {
  Plan plan = {};
  straighteningTransform(w, h, factorV, factorH, angle, plan.t);
  Crop crop = {};
  const int ok = optimalCrop(plan.t, w, h, pinToEdge, factorV, factorH, crop);
  plan.searchedW = ok ? crop.w : 0;
  const bool near = std::fabs(crop.x) <= 1073741824.0f && std::fabs(crop.y) <= 1073741824.0f;
  if (!ok || noCrop || crop.w <= 0 || crop.h <= 0 || !near) crop = {0, 0, w, h};
  plan.uncutH = crop.h;
  if (crop.w > w) {
    const float s = float(crop.w) / float(w), k = 1 / s;
    const int scaledW = int(float(crop.w) * k), scaledH = int(float(crop.h) * k);
    if (scaledH <= 0) {
      crop = {0, 0, w, h};
      plan.uncutH = h;
    } else {
      const float matrix[9] = {plan.t[0], plan.t[1], plan.t[2], plan.t[3], plan.t[4],
                               plan.t[5], plan.t[6], plan.t[7], 1};
      const float diag[9] = {s, 0, 0, 0, s, 0, 0, 0, 1};
      float product[9];
      multiplySingle33(matrix, diag, product);
      std::copy(product, product + 8, plan.t);
      crop = {crop.x * k, crop.y * k, scaledW, scaledH};
      plan.uncutH = scaledH;
    }
  }
  plan.cropX = crop.x;
  plan.cropY = crop.y;
  plan.cropW = crop.w;
  plan.cropH = std::min(plan.uncutH, h);
  return plan;
}

} // namespace vindrel::reference
