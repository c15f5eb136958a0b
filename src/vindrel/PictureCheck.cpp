#include "vindrel/PictureCheck.h"

#include "vindrel/RankedStack.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vindrel {
namespace {

constexpr double kAgreement = 0.6;      // least correlation of two views of one thing
constexpr double kAsGood = 0.03;        // a correlation lower by no more than this is as good
constexpr int kBeside = 3;              // another place is so far away, pixels; nearer ones are the same, inexactly
constexpr int kLeastVotes = 4;          // cells
constexpr double kContestedShare = 0.3; // of the cells that agree here

constexpr int kSmoothing = 3; // slow changes are the mean of so many pixels to each side
// Values are whole numbers, so that sums are exact and fast: sixteenths of a grey level, limited.
constexpr float kUnit = 16;
constexpr float kLimit = 4000;

struct Picture {
  Size size;
  std::vector<std::int16_t> values;
  const std::int16_t *row(int y) const { return values.data() + static_cast<std::ptrdiff_t>(y) * size.width; }
};

float greyAt(const Thumbnail &thumbnail, int x, int y) {
  return thumbnail.grey[static_cast<std::size_t>(std::clamp(y, 0, thumbnail.size.height - 1)) *
                            static_cast<std::size_t>(thumbnail.size.width) +
                        static_cast<std::size_t>(std::clamp(x, 0, thumbnail.size.width - 1))];
}

// What is left without the slow changes. Sums of sums, one axis after the other.
std::vector<float> withoutSlowChanges(const Thumbnail &thumbnail) {
  const auto [width, height] = thumbnail.size;
  std::vector<float> across(thumbnail.grey.size()), result(thumbnail.grey.size());
  constexpr float kCount = (2 * kSmoothing + 1) * (2 * kSmoothing + 1);
  std::size_t i = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x, ++i)
      for (int k = -kSmoothing; k <= kSmoothing; ++k)
        across[i] += greyAt(thumbnail, x + k, y);
  i = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x, ++i) {
      float sum = 0;
      for (int k = -kSmoothing; k <= kSmoothing; ++k)
        sum += across[static_cast<std::size_t>(std::clamp(y + k, 0, height - 1)) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
      result[i] = thumbnail.grey[i] - sum / kCount;
    }
  return result;
}

std::int16_t quantised(float value) {
  return static_cast<std::int16_t>(std::clamp(value * kUnit, -kLimit, kLimit));
}

// The thumbnail as the frame that `fromFrame` maps from would show it; 0 where it shows nothing.
Picture registered(const Thumbnail &thumbnail, const Transform &fromFrame) {
  const std::vector<float> values = withoutSlowChanges(thumbnail);
  const auto [width, height] = thumbnail.size;
  const double reduction = thumbnail.reduction, centre = (reduction - 1) / 2;
  Picture picture{thumbnail.size, std::vector<std::int16_t>(values.size())};
  std::size_t i = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x, ++i) {
      const Point2 at = fromFrame.map({x * reduction + centre, y * reduction + centre});
      const double u = (at.x - centre) / reduction, v = (at.y - centre) / reduction;
      if (!(u >= 0 && u < width - 1 && v >= 0 && v < height - 1)) continue;
      const auto column = static_cast<std::size_t>(u), row = static_cast<std::size_t>(v);
      const float fx = static_cast<float>(u) - static_cast<float>(column);
      const float fy = static_cast<float>(v) - static_cast<float>(row);
      const float *upper = values.data() + row * static_cast<std::size_t>(width) + column, *lower = upper + width;
      picture.values[i] =
          quantised((upper[0] * (1 - fx) + upper[1] * fx) * (1 - fy) + (lower[0] * (1 - fx) + lower[1] * fx) * fy);
    }
  return picture;
}

// Sums of squares of any rectangle in four steps.
class SquareSums {
public:
  explicit SquareSums(const Picture &picture) : stride_(static_cast<std::size_t>(picture.size.width) + 1) {
    sums_.resize(stride_ * (static_cast<std::size_t>(picture.size.height) + 1));
    for (int y = 0; y < picture.size.height; ++y) {
      std::int64_t row = 0;
      for (int x = 0; x < picture.size.width; ++x) {
        const std::int64_t value = picture.row(y)[x];
        row += value * value;
        at(x + 1, y + 1) = at(x + 1, y) + row;
      }
    }
  }
  std::int64_t of(const Rectangle &r) const {
    return at(r.x + r.width, r.y + r.height) - at(r.x, r.y + r.height) - at(r.x + r.width, r.y) + at(r.x, r.y);
  }

private:
  std::int64_t &at(int x, int y) { return sums_[static_cast<std::size_t>(y) * stride_ + static_cast<std::size_t>(x)]; }
  const std::int64_t &at(int x, int y) const {
    return sums_[static_cast<std::size_t>(y) * stride_ + static_cast<std::size_t>(x)];
  }
  std::size_t stride_;
  std::vector<std::int64_t> sums_;
};

std::int32_t rowProduct(const std::int16_t *a, const std::int16_t *b, int count) {
  std::int32_t sum = 0; // of at most 100 products of 16 million
  for (int i = 0; i < count; ++i)
    sum += std::int32_t{a[i]} * b[i];
  return sum;
}

constexpr int kLongestProduct = 100;

std::int64_t productOf(const Picture &a, const Picture &b, const Rectangle &r, int dx, int dy) {
  std::int64_t sum = 0;
  for (int y = r.y; y < r.y + r.height; ++y)
    for (int x = r.x; x < r.x + r.width; x += kLongestProduct)
      sum += rowProduct(a.row(y) + x, b.row(y + dy) + x + dx, std::min(kLongestProduct, r.x + r.width - x));
  return sum;
}

// The part of a cell that, moved by (dx, dy), is still inside.
Rectangle insidePart(const Rectangle &cell, Size size, int dx, int dy) {
  const int left = std::max(cell.x, -dx), top = std::max(cell.y, -dy);
  const int right = std::min(cell.x + cell.width, size.width - dx);
  const int bottom = std::min(cell.y + cell.height, size.height - dy);
  return {left, top, right - left, bottom - top};
}

class CellVotes {
public:
  CellVotes(const Picture &a, const Picture &b, int reach)
      : a_(a), b_(b), squaresOfA_(a), squaresOfB_(b), reach_(reach), side_(2 * reach + 1),
        votes_(static_cast<std::size_t>(side_) * static_cast<std::size_t>(side_)), correlation_(votes_.size()) {}

  void add(const Rectangle &cell) {
    for (int dy = -reach_; dy <= reach_; ++dy)
      for (int dx = -reach_; dx <= reach_; ++dx)
        correlation_[slot(dx, dy)] = correlate(cell, dx, dy);
    double best = 0;
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx)
        best = std::max(best, correlation_[slot(dx, dy)]);
    if (best >= kAgreement) ++here_;
    const double asGood = std::max(kAgreement, best - kAsGood);
    for (int dy = -reach_; dy <= reach_; ++dy)
      for (int dx = -reach_; dx <= reach_; ++dx)
        if (std::max(std::abs(dx), std::abs(dy)) >= kBeside && reaches(dx, dy, asGood)) ++votes_[slot(dx, dy)];
  }
  PictureVotes result() const { return {here_, *std::max_element(votes_.begin(), votes_.end())}; }

private:
  std::size_t slot(int dx, int dy) const {
    return static_cast<std::size_t>(dy + reach_) * static_cast<std::size_t>(side_) +
           static_cast<std::size_t>(dx + reach_);
  }
  double correlate(const Rectangle &cell, int dx, int dy) const {
    const Rectangle part = insidePart(cell, a_.size, dx, dy);
    if (part.width < 2 || part.height < 2) return 0;
    const std::int64_t squares = squaresOfA_.of(part);
    const std::int64_t others = squaresOfB_.of({part.x + dx, part.y + dy, part.width, part.height});
    if (squares == 0 || others == 0) return 0;
    return static_cast<double>(productOf(a_, b_, part, dx, dy)) /
           std::sqrt(static_cast<double>(squares) * static_cast<double>(others));
  }
  // Cells need not agree to the pixel on where they agree.
  bool reaches(int dx, int dy, double least) const {
    for (int y = std::max(dy - 1, -reach_); y <= std::min(dy + 1, reach_); ++y)
      for (int x = std::max(dx - 1, -reach_); x <= std::min(dx + 1, reach_); ++x)
        if (std::max(std::abs(x), std::abs(y)) >= kBeside && correlation_[slot(x, y)] >= least) return true;
    return false;
  }

  const Picture &a_;
  const Picture &b_;
  SquareSums squaresOfA_, squaresOfB_;
  int reach_, side_;
  std::vector<int> votes_;
  std::vector<double> correlation_;
  int here_ = 0;
};

} // namespace

PictureVotes comparePictures(const Thumbnail &a, const Thumbnail &b, const Transform &bFromA, int reach) {
  const Picture first = registered(a, {}), second = registered(b, bFromA);
  CellVotes votes(first, second, reach);
  for (int row = 0; row < kPictureCells; ++row)
    for (int column = 0; column < kPictureCells; ++column) {
      const auto edge = [](int index, int length) { return index * length / kPictureCells; };
      const int left = edge(column, a.size.width), top = edge(row, a.size.height);
      votes.add({left, top, edge(column + 1, a.size.width) - left, edge(row + 1, a.size.height) - top});
    }
  return votes.result();
}

bool isContested(const PictureVotes &votes) {
  return votes.elsewhere >= kLeastVotes && votes.elsewhere >= kContestedShare * votes.here;
}

// Twice: from afar, where even the search's whole reach is a few pixels, and close by, where a small movement shows.
void checkPictures(const std::vector<Thumbnail> &thumbnails, RankedStack &stack) {
  constexpr int kSmallSide = 160, kFarReach = 16, kNearReach = 6; // pixels of the thumbnails
  if (stack.littleOverlap) return;
  std::vector<Thumbnail> small;
  for (const Thumbnail &thumbnail : thumbnails)
    small.push_back(makeThumbnail(thumbnail, kSmallSide));
  for (std::size_t rank = 1; rank < stack.order.size(); ++rank) {
    RankedLink &link = stack.links[rank];
    if (!link.doubt.empty()) continue;
    const auto a = static_cast<std::size_t>(stack.order[rank - 1]), b = static_cast<std::size_t>(stack.order[rank]);
    const Result<Transform> bFromA = rebase(stack.fromAnchor[b], stack.fromAnchor[a]);
    if (!bFromA || isContested(comparePictures(small[a], small[b], *bFromA, kFarReach)) ||
        isContested(comparePictures(thumbnails[a], thumbnails[b], *bFromA, kNearReach))) {
      link.doubt = "parts of the picture lie elsewhere, or it repeats itself";
    }
  }
}

} // namespace vindrel
