// Alignment of a stack by whole-pixel shifts, written down step by step: every pixel and every level, no word of bits.
#pragma once

#include "reference/Bitmaps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace reference {

using Histogram = std::array<long long, 256>;

inline int binWhereMoreThan(const Histogram &histogram, long long count) {
  long long sum = 0;
  for (int bin = 0; bin < 256; ++bin)
    if ((sum += histogram[bin]) > count) return bin;
  return 256;
}

inline int adjustedCount(const Histogram &histogram, unsigned round, int count) {
  while (true) {
    const int bin = binWhereMoreThan(histogram, count);
    if (bin > 14 && bin < 236) return count;
    if (round > 39) return count;
    count = static_cast<int>(bin >= 236 ? count * 0.95 : count * 1.05);
    ++round;
  }
}

struct Aligned {
  int result = 0, width = 0, height = 0;
  int lastError = 0;
  std::vector<int> order, offsetX, offsetY;
};

template <class Sample>
class TranslationAlign {
public:
  TranslationAlign(int images, int width, int height, int channels) : n_(images), w_(width), h_(height), c_(channels) {}

  Aligned run(std::vector<Sample> &pixels, bool fullSize, float fraction) {
    Aligned a;
    const int all = w_ * h_;
    half_ = static_cast<int>(0.5 * all);
    low_ = static_cast<int>(0.17 * all);
    const int high = static_cast<int>(0.9 * all), top = static_cast<int>(0.95 * all);
    std::vector<int> key;
    for (int i = 0; i < n_; ++i) {
      grey_.push_back(greyPlane(pixels.data() + static_cast<std::size_t>(i) * all * c_, c_, w_, h_));
      Histogram histogram{};
      for (int value : grey_.back().values)
        ++histogram[value];
      histogram_.push_back(histogram);
      const int b = binWhereMoreThan(histogram, half_);
      if (b == 256) {
        key.push_back(65536);
        target_.push_back(low_);
      } else if (b > 235) {
        key.push_back(256 * b);
        target_.push_back(low_);
      } else {
        target_.push_back(b > 14 ? half_ : high);
        key.push_back(b < 5 ? binWhereMoreThan(histogram, top) : 256 * b);
      }
    }
    std::vector<bool> taken(n_, false);
    for (int k = 0; k < n_; ++k) {
      int best = -1;
      for (int i = 0; i < n_; ++i)
        if (!taken[i] && (best < 0 || key[i] > key[best])) best = i;
      taken[best] = true;
      a.order.push_back(best);
    }
    a.offsetX.assign(n_, 0);
    a.offsetY.assign(n_, 0);
    const double logarithm =
        std::log(static_cast<double>(2.0f * (static_cast<float>(w_) * fraction * 0.25f))) * 1.4426950408889634;
    levels_ = logarithm >= 1 ? static_cast<int>(logarithm) : 0;
    if (levels_ >= 1 && n_ > 1) {
      int count = target_[a.order[0]];
      if (count != low_ && target_[a.order[1]] != half_) count = target_[a.order[1]];
      count = adjustedCount(histogram_[a.order[1]], 0, count);
      auto shift = search(a.order[1], a.order[0], count, a.lastError);
      a.offsetX[a.order[0]] = shift[0];
      a.offsetY[a.order[0]] = shift[1];
      for (int k = 1; k <= n_ - 2; ++k) {
        const int from = a.order[k], to = a.order[k + 1];
        const int next = target_[to] == half_ ? target_[to] : target_[from];
        if (k > 1 || next != count) count = adjustedCount(histogram_[from], 0, next);
        shift = search(from, to, count, a.lastError);
        a.offsetX[to] = a.offsetX[from] + shift[0];
        a.offsetY[to] = a.offsetY[from] + shift[1];
      }
    }
    rewrite(a, pixels, fullSize);
    return a;
  }

private:
  std::vector<Plane> pyramid(int image, int count) const {
    const int threshold = binWhereMoreThan(histogram_[image], count);
    std::vector<Plane> levels;
    Plane grey = grey_[image];
    for (int l = 0; l < levels_; ++l) {
      levels.push_back(bitsAbove(grey, threshold));
      grey = reduced(grey);
    }
    return levels;
  }

  std::array<int, 2> search(int referenceImage, int movingImage, int count, int &lastError) const {
    const std::vector<Plane> fixed = pyramid(referenceImage, count), moving = pyramid(movingImage, count);
    int ox = 0, oy = 0;
    for (int l = levels_ - 1; l >= 0; --l) {
      long long best = static_cast<long long>(fixed[l].width) * fixed[l].height;
      int good = 0, bx = 0, by = 0;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          const long long error = differingBits(fixed[l], moving[l], ox + dx, oy + dy);
          if (error <= best) ++good;
          if (error < best) {
            best = error;
            bx = dx;
            by = dy;
          }
        }
      if (good < 9) {
        ox += bx;
        oy += by;
      }
      lastError = static_cast<int>(best);
      if (l != 0) {
        ox *= 2;
        oy *= 2;
      }
    }
    return {ox, oy};
  }

  void rewrite(Aligned &a, std::vector<Sample> &pixels, bool fullSize) const {
    int minX = 0, maxX = 0, minY = 0, maxY = 0;
    for (int i = 0; i < n_; ++i) {
      minX = std::min(minX, a.offsetX[i]);
      maxX = std::max(maxX, a.offsetX[i]);
      minY = std::min(minY, a.offsetY[i]);
      maxY = std::max(maxY, a.offsetY[i]);
    }
    a.width = w_ - (maxX - minX);
    a.height = h_ - (maxY - minY);
    if (fullSize || a.width <= 0 || a.height <= 0) {
      a.width = w_;
      a.height = h_;
    }
    std::vector<Sample> out;
    for (int i = 0; i < n_; ++i)
      for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
          for (int c = 0; c < c_; ++c) {
            const int sx = x + a.offsetX[i] - minX, sy = y + a.offsetY[i] - minY;
            const bool inside = sx >= 0 && sx < w_ && sy >= 0 && sy < h_;
            out.push_back(inside ? pixels[((static_cast<std::size_t>(i) * h_ + sy) * w_ + sx) * c_ + c]
                                 : static_cast<Sample>(~Sample{0}));
          }
    std::copy(out.begin(), out.end(), pixels.begin());
    a.result = (maxX - minX) + (maxY - minY);
  }

  int n_, w_, h_, c_;
  int levels_ = 0, half_ = 0, low_ = 0;
  std::vector<Plane> grey_;
  std::vector<Histogram> histogram_;
  std::vector<int> target_;
};

} // namespace reference
