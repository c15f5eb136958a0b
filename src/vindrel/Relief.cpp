#include "vindrel/Relief.h"

#include <algorithm>
#include <cstddef>

namespace vindrel {
namespace {

constexpr int kSmoothing = 3; // slow changes are the mean of so many pixels to each side
constexpr float kUnit = 16;   // of a grey level
constexpr int kRowsAtATime = 30;

std::ptrdiff_t offset(int row, int width) {
  return static_cast<std::ptrdiff_t>(row) * width;
}

// Sums of the pixels around each of a row; the border's pixels are continued outward. Pixels are added from left to
// right, for all sums at a time.
void sumAcross(const float *row, int width, float *sums) {
  std::fill(sums, sums + width, 0.0f);
  for (int k = -kSmoothing; k <= kSmoothing; ++k) {
    const int begin = std::clamp(-k, 0, width), end = std::clamp(width - k, begin, width);
    for (int x = 0; x < begin; ++x)
      sums[x] += row[0];
    for (int x = begin; x < end; ++x)
      sums[x] += row[x + k];
    for (int x = end; x < width; ++x)
      sums[x] += row[width - 1];
  }
}

std::int16_t quantised(float value) {
  constexpr float kLimit = PaddedRelief::kLimit;
  return static_cast<std::int16_t>(std::clamp(value * kUnit, -kLimit, kLimit));
}

} // namespace

// One axis after the other.
Relief makeRelief(const Thumbnail &thumbnail, RowTeam *team) {
  const auto [width, height] = thumbnail.size;
  Relief relief{thumbnail.size, thumbnail.reduction, std::vector<float>(thumbnail.grey.size())};
  std::vector<float> across(thumbnail.grey.size());
  const float *grey = thumbnail.grey.data();
  shareRows(team, height, kRowsAtATime, [&, w = width](int, RowRange rows) {
    for (int y = rows.begin; y < rows.end; ++y)
      sumAcross(grey + offset(y, w), w, across.data() + offset(y, w));
  });
  shareRows(team, height, kRowsAtATime, [&, w = width, h = height](int, RowRange rows) {
    constexpr float kCount = (2 * kSmoothing + 1) * (2 * kSmoothing + 1);
    for (int y = rows.begin; y < rows.end; ++y) {
      float *result = relief.values.data() + offset(y, w);
      for (int k = -kSmoothing; k <= kSmoothing; ++k) {
        const float *sums = across.data() + offset(std::clamp(y + k, 0, h - 1), w);
        for (int x = 0; x < w; ++x)
          result[x] += sums[x];
      }
      for (int x = 0; x < w; ++x)
        result[x] = grey[offset(y, w) + x] - result[x] / kCount;
    }
  });
  return relief;
}

PaddedRelief::PaddedRelief(const Relief &relief, const Transform &fromFrame, int margin, int behind, RowTeam *team)
    : size_(relief.size), margin_(margin), stride_(std::ptrdiff_t{size_.width} + 2 * margin + behind),
      values_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(size_.height + 2 * margin)) {
  shareRows(team, size_.height, kRowsAtATime, [&](int, RowRange rows) {
    for (int y = rows.begin; y < rows.end; ++y)
      registerRow(relief, fromFrame, y);
  });
}

void PaddedRelief::registerRow(const Relief &relief, const Transform &fromFrame, int y) {
  const auto [width, height] = size_;
  const double reduction = relief.reduction, centre = (reduction - 1) / 2;
  std::int16_t *values = values_.data() + (y + margin_) * stride_ + margin_;
  if (fromFrame == Transform{}) { // what the loop below would come to
    if (y < height - 1)
      std::transform(relief.values.data() + offset(y, width), relief.values.data() + offset(y, width) + width - 1,
                     values, quantised);
    return;
  }
  for (int x = 0; x < width; ++x) {
    const Point2 at = fromFrame.map({x * reduction + centre, y * reduction + centre});
    const double u = (at.x - centre) / reduction, v = (at.y - centre) / reduction;
    if (!(u >= 0 && u < width - 1 && v >= 0 && v < height - 1)) continue;
    const int column = static_cast<int>(u), row = static_cast<int>(v);
    const float fx = static_cast<float>(u) - static_cast<float>(column);
    const float fy = static_cast<float>(v) - static_cast<float>(row);
    const float *upper = relief.values.data() + offset(row, width) + column, *lower = upper + width;
    values[x] =
        quantised((upper[0] * (1 - fx) + upper[1] * fx) * (1 - fy) + (lower[0] * (1 - fx) + lower[1] * fx) * fy);
  }
}

} // namespace vindrel
