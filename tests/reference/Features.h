// Detector and descriptors as their definition reads: whole response maps, one pixel and one box after another, every
// box by its own four corners. Slow on purpose.
#pragma once

#include "transform/LinearSolver.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace vindrel::reference {

struct Points {
  std::vector<std::int32_t> x, y, scaleCode;
  std::vector<float> descriptor; // 64 a point
  std::string rejections;        // the lines for standard error
};

struct Image {
  int width, height;
  std::vector<std::uint8_t> grey;
};

// Sums of all grey values left of and above each pixel, itself included.
inline std::vector<std::uint32_t> integral(const Image &image) {
  std::vector<std::uint32_t> sums(image.grey.size());
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x) {
      const auto at = [&](int column, int row) {
        return column < 0 || row < 0 ? 0u : sums[static_cast<std::size_t>(row) * image.width + column];
      };
      sums[static_cast<std::size_t>(y) * image.width + x] =
          at(x - 1, y) + image.grey[static_cast<std::size_t>(y) * image.width + x] + at(x, y - 1) - at(x - 1, y - 1);
    }
  return sums;
}

// Columns x1 .. x2, rows y1 .. y2 around the pixel with index centre, by the corners of the integral image; entries
// before its first count as zero.
struct Boxes {
  const std::uint32_t *sums;
  std::int64_t width;
  std::uint32_t at(std::int64_t i) const { return i < 0 ? 0 : sums[i]; }
  std::int32_t operator()(std::int64_t centre, int x1, int y1, int x2, int y2) const {
    return static_cast<std::int32_t>(at(centre + x2 + width * y2) + at(centre + x1 - 1 + width * (y1 - 1)) -
                                     at(centre + x1 - 1 + width * y2) - at(centre + x2 + width * (y1 - 1)));
  }
};

inline float response(const Boxes &b, std::int64_t i, int filterSize) {
  std::int32_t dxx = 0, dyy = 0, dxy = 0;
  double weight = 1;
  if (filterSize == 9) {
    dxx = b(i, -4, -2, -2, 2) + b(i, 2, -2, 4, 2) - 2 * b(i, -1, -2, 1, 2);
    dyy = b(i, -2, -4, 2, -2) + b(i, -2, 2, 2, 4) - 2 * b(i, -2, -1, 2, 1);
    dxy = b(i, -3, -3, -1, -1) + b(i, 1, 1, 3, 3) - b(i, -3, 1, -1, 3) - b(i, 1, -3, 3, -1);
  } else if (filterSize == 15) {
    dxx = b(i, -7, -4, -3, 4) + b(i, 3, -4, 7, 4) - 2 * b(i, -2, -4, 2, 4);
    dyy = b(i, -4, -7, 4, -3) + b(i, -4, 3, 4, 7) - 2 * b(i, -4, -2, 4, 2);
    dxy = b(i, -5, -5, -1, -1) + b(i, 1, 1, 5, 5) - b(i, -5, 1, -1, 5) - b(i, 1, -5, 5, -1);
    weight = 0.1295336787564767;
  } else {
    dxx = b(i, -10, -6, -4, 6) + b(i, 4, -6, 10, 6) - 2 * b(i, -3, -6, 3, 6);
    dyy = b(i, -6, -10, 6, -4) + b(i, -6, 4, 6, 10) - 2 * b(i, -6, -3, 6, 3);
    dxy = b(i, -7, -7, -1, -1) + b(i, 1, 1, 7, 7) - b(i, -7, 1, -1, 7) - b(i, 1, -7, 7, -1);
    weight = 0.033738191632928474;
  }
  const std::int32_t product = dxx * dyy;
  return static_cast<float>(weight * (product - 0.81 * dxy * dxy));
}

inline void describe(const Boxes &b, std::int64_t i, std::int32_t &scaleCode, float *descriptor) {
  const std::int32_t laplacian = (b(i, -4, -7, 4, -3) + b(i, -4, 3, 4, 7) - 2 * b(i, -4, -2, 4, 2)) +
                                 (b(i, -7, -4, -3, 4) + b(i, 3, -4, 7, 4) - 2 * b(i, -2, -4, 2, 4));
  scaleCode = std::abs(scaleCode);
  if (laplacian < 0) scaleCode = -scaleCode;
  float *out = descriptor;
  for (int cr = 0; cr < 4; ++cr)
    for (int cc = 0; cc < 4; ++cc) {
      const std::int64_t cell = i - 16 * b.width - 16 + 8 * cr * b.width + 8 * cc;
      int dx = 0, absDx = 0, dy = 0, absDy = 0;
      for (int v = 0; v < 8; v += 4)
        for (int u = 0; u < 8; u += 4) {
          const int x = b(cell, u, v, u + 1, v + 3) - b(cell, u + 2, v, u + 3, v + 3);
          const int y = b(cell, u, v, u + 3, v + 1) - b(cell, u, v + 2, u + 3, v + 3);
          dx += x, absDx += std::abs(x), dy += y, absDy += std::abs(y);
        }
      for (const int value : {dx, absDx, dy, absDy})
        *out++ = static_cast<float>(value);
    }
  float squares = 0;
  for (int k = 0; k < 64; ++k)
    squares += descriptor[k] * descriptor[k];
  if (squares > 0)
    for (int k = 0; k < 64; ++k)
      descriptor[k] *= 1.0f / std::sqrt(squares);
}

inline bool standsOut(const float *m9, const float *m15, const float *m21, std::int64_t stride) {
  const float v = *m15;
  if (!(v >= 10000 || v <= -10000)) return false;
  for (const float *map : {m9, m15, m21})
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx) {
        if (map == m15 && dx == 0 && dy == 0) continue;
        const float neighbour = map[dy * stride + dx];
        if (v > 0 ? !(v > neighbour) : !(v < neighbour)) return false;
      }
  return true;
}

// Where the extremum of the quadratic through the responses lies, in columns, rows and steps of size; false where its
// Hessian is singular. Pointers to the extremum in the maps of the three sizes.
inline bool refine(const float *at9, const float *at15, const float *at21, std::int64_t stride, double *offset) {
  const auto m9 = [&](int dx, int dy) { return double{at9[dy * stride + dx]}; };
  const auto m15 = [&](int dx, int dy) { return double{at15[dy * stride + dx]}; };
  const auto m21 = [&](int dx, int dy) { return double{at21[dy * stride + dx]}; };
  const double v = m15(0, 0);
  const double hxx = m15(1, 0) + m15(-1, 0) - 2 * v, hyy = m15(0, 1) + m15(0, -1) - 2 * v;
  const double hss = m21(0, 0) + m9(0, 0) - 2 * v;
  const double hxy = 0.25 * ((m15(1, 1) + m15(-1, -1)) - (m15(-1, 1) + m15(1, -1)));
  const double hxs = 0.25 * ((m21(1, 0) - m21(-1, 0)) - (m9(1, 0) - m9(-1, 0)));
  const double hys = 0.25 * ((m21(0, 1) - m21(0, -1)) - (m9(0, 1) - m9(0, -1)));
  double matrix[9] = {hxx, hxy, hxs, hxy, hyy, hys, hxs, hys, hss};
  double right[3] = {-0.5 * (m15(1, 0) - m15(-1, 0)), -0.5 * (m15(0, 1) - m15(0, -1)), -0.5 * (m21(0, 0) - m9(0, 0))};
  return gaussEliminate(3, matrix, right, offset);
}

inline std::int32_t converted(std::int32_t value) {
  const std::int32_t q = value / 100;
  return static_cast<float>(value * 0.01) + 0.5 > q ? q + 1 : q;
}

inline Points detect(const Image &image, int levels, int maxPoints) {
  const std::int64_t width = image.width, height = image.height;
  const std::vector<std::uint32_t> sums = integral(image);
  const Boxes boxes{sums.data(), width};
  Points points;
  const auto count = [&] { return static_cast<int>(points.x.size()); };

  std::int64_t positions = 0;
  for (int s = 0; s < levels; ++s)
    positions += ((width >> s) - 42) * ((height >> s) - 42);
  const float perPosition = 1.0f / static_cast<float>(positions), perPoint = 1.0f / static_cast<float>(maxPoints);
  float tolPosition = 0.6f, tolSize = 0.5f;
  int n = 0;

  for (int s = 0; s < levels && count() <= maxPoints; ++s) {
    const std::int64_t w = width >> s, h = height >> s;
    std::vector<float> maps[3];
    for (int f = 0; f < 3; ++f)
      maps[f].assign(image.grey.size(), 0.0f);
    for (std::int64_t r = 20; r <= height - 21; ++r)
      for (std::int64_t c = 20; c <= width - 21; ++c)
        for (int f = 0; f < 3; ++f)
          maps[f][r * width + c] = response(boxes, r * width + c, 9 + 6 * f);

    for (std::int64_t y = 21; y <= h - 22 && count() <= maxPoints; ++y)
      for (std::int64_t x = 21; x <= w - 22 && count() <= maxPoints; ++x) {
        if (++n % 50 == 0) {
          const float p = static_cast<float>(n) * perPosition, f = static_cast<float>(count()) * perPoint;
          if (f > p) {
            tolPosition = std::max(tolPosition - 0.001f, 0.2f);
            tolSize = std::max(tolSize - 0.001f, 0.2f);
          } else if (p > f) {
            tolPosition = std::min(tolPosition + 0.1f, 0.8f);
            tolSize = std::min(tolSize + 0.1f, 0.7f);
          }
        }
        const float *at9 = &maps[0][y * w + x], *at15 = &maps[1][y * w + x], *at21 = &maps[2][y * w + x];
        if (!standsOut(at9, at15, at21, w)) continue;

        double o[3];
        if (!refine(at9, at15, at21, w, o)) {
          points.rejections += std::to_string(y) + "  " + std::to_string(x) + " rejete - resolution impossible\n";
          continue;
        }
        const bool keep = -tolPosition <= o[0] && o[0] <= tolPosition && -tolPosition <= o[1] && o[1] <= tolPosition &&
                          -tolSize <= o[2] && o[2] <= tolSize;
        if (!keep) continue;
        points.x.push_back(static_cast<std::int32_t>((100 * x + static_cast<int>(100 * o[0])) << s));
        points.y.push_back(static_cast<std::int32_t>((100 * y + static_cast<int>(100 * o[1])) << s));
        points.scaleCode.push_back(100 * s + static_cast<int>(100 * o[2]));
      }
    for (auto &value : points.x)
      value = converted(value);
    for (auto &value : points.y)
      value = converted(value);
  }

  points.descriptor.resize(points.x.size() * 64);
  for (std::size_t i = 0; i < points.x.size(); ++i)
    describe(boxes, points.y[i] * width + points.x[i], points.scaleCode[i], &points.descriptor[64 * i]);
  return points;
}

} // namespace vindrel::reference
