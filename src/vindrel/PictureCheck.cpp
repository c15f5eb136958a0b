#include "vindrel/PictureCheck.h"

#include "vindrel/CellProductsKernel.h"
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

static_assert(PaddedRelief::kLimit * PaddedRelief::kLimit <= kLargestProduct);

// Sums of squares of any rectangle in four steps.
class SquareSums {
public:
  explicit SquareSums(const PaddedRelief &picture) : stride_(static_cast<std::size_t>(picture.size().width) + 1) {
    sums_.resize(stride_ * (static_cast<std::size_t>(picture.size().height) + 1));
    for (int y = 0; y < picture.size().height; ++y) {
      std::int64_t row = 0;
      for (int x = 0; x < picture.size().width; ++x) {
        const std::int64_t value = *picture.at(x, y);
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

// The part of a cell that, moved by (dx, dy), is still inside.
Rectangle insidePart(const Rectangle &cell, Size size, int dx, int dy) {
  const int left = std::max(cell.x, -dx), top = std::max(cell.y, -dy);
  const int right = std::min(cell.x + cell.width, size.width - dx);
  const int bottom = std::min(cell.y + cell.height, size.height - dy);
  return {left, top, right - left, bottom - top};
}

// Two pictures in register, and the squares that normalise their products.
struct PicturePair {
  const PaddedRelief &a;
  const PaddedRelief &b;
  SquareSums squaresOfA{a}, squaresOfB{b};
  int reach;
};

constexpr int edge(int index, int length) {
  return index * length / kPictureCells;
}

constexpr int longestCellRow(int width) {
  return ((width + kPictureCells - 1) / kPictureCells + kCellUnit - 1) / kCellUnit * kCellUnit;
}

// The votes of the cells that one member of a team looks at.
class CellVotes {
public:
  explicit CellVotes(const PicturePair &pair)
      : pair_(pair), reach_(pair.reach), side_(2 * reach_ + 1), votes_(static_cast<std::size_t>(sumsAround(reach_))),
        correlation_(votes_.size()), products_(votes_.size()) {
    const auto [width, height] = pair.a.size();
    cell_.resize(static_cast<std::size_t>(longestCellRow(width)) *
                 static_cast<std::size_t>(height / kPictureCells + 1));
  }

  void add(const Rectangle &cell) {
    if (pair_.squaresOfA.of(cell) == 0) return; // agrees with nothing
    multiply(cell);
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
  void addTo(int &here, std::vector<int> &votes) const {
    here += here_;
    for (std::size_t i = 0; i < votes_.size(); ++i)
      votes[i] += votes_[i];
  }

private:
  std::size_t slot(int dx, int dy) const {
    return static_cast<std::size_t>(dy + reach_) * static_cast<std::size_t>(side_) +
           static_cast<std::size_t>(dx + reach_);
  }
  // Beyond the picture there are zeros, so that the whole cell's products are those of the part that is inside.
  void multiply(const Rectangle &cell) {
    const int rowLength = longestCellRow(pair_.a.size().width);
    for (int y = 0; y < cell.height; ++y) {
      const std::int16_t *row = pair_.a.at(cell.x, cell.y + y);
      std::int16_t *own = cell_.data() + static_cast<std::ptrdiff_t>(y) * rowLength;
      std::fill(std::copy_n(row, cell.width, own), own + rowLength, std::int16_t{0});
    }
    sumCellProducts({cell_.data(), cell.height, rowLength}, pair_.b.at(cell.x, cell.y), pair_.b.stride(), reach_,
                    products_.data());
  }
  double correlate(const Rectangle &cell, int dx, int dy) const {
    const Rectangle part = insidePart(cell, pair_.a.size(), dx, dy);
    if (part.width < 2 || part.height < 2) return 0;
    const std::int64_t squares = pair_.squaresOfA.of(part);
    const std::int64_t others = pair_.squaresOfB.of({part.x + dx, part.y + dy, part.width, part.height});
    if (squares == 0 || others == 0) return 0;
    return static_cast<double>(products_[slot(dx, dy)]) /
           std::sqrt(static_cast<double>(squares) * static_cast<double>(others));
  }
  // Cells need not agree to the pixel on where they agree.
  bool reaches(int dx, int dy, double least) const {
    for (int y = std::max(dy - 1, -reach_); y <= std::min(dy + 1, reach_); ++y)
      for (int x = std::max(dx - 1, -reach_); x <= std::min(dx + 1, reach_); ++x)
        if (std::max(std::abs(x), std::abs(y)) >= kBeside && correlation_[slot(x, y)] >= least) return true;
    return false;
  }

  const PicturePair &pair_;
  int reach_, side_;
  std::vector<int> votes_;
  std::vector<double> correlation_;
  std::vector<std::int64_t> products_;
  std::vector<std::int16_t> cell_;
  int here_ = 0;
};

} // namespace

PictureVotes comparePictures(const Relief &a, const Relief &b, const Transform &bFromA, int reach, RowTeam *team) {
  const PaddedRelief first(a, {}, 0, 0, team), second(b, bFromA, reach, longestCellRow(b.size.width), team);
  const PicturePair pair{.a = first, .b = second, .reach = reach};
  std::vector<CellVotes> members(team != nullptr ? static_cast<std::size_t>(team->size()) : 1, CellVotes(pair));
  shareRows(team, kPictureCells, 1, [&](int member, RowRange rows) {
    for (int row = rows.begin; row < rows.end; ++row)
      for (int column = 0; column < kPictureCells; ++column) {
        const int left = edge(column, a.size.width), top = edge(row, a.size.height);
        members[static_cast<std::size_t>(member)].add(
            {left, top, edge(column + 1, a.size.width) - left, edge(row + 1, a.size.height) - top});
      }
  });
  PictureVotes result;
  std::vector<int> votes(static_cast<std::size_t>(sumsAround(reach)));
  for (const CellVotes &member : members)
    member.addTo(result.here, votes);
  result.elsewhere = *std::max_element(votes.begin(), votes.end());
  return result;
}

bool isContested(const PictureVotes &votes) {
  return votes.elsewhere >= kLeastVotes && votes.elsewhere >= kContestedShare * votes.here;
}

// Twice: from afar, where even the search's whole reach is a few pixels, and close by, where a small movement shows.
void checkPictures(const std::vector<Thumbnail> &thumbnails, RankedStack &stack, RowTeam &team) {
  constexpr int kSmallSide = 160, kFarReach = 16, kNearReach = 6; // pixels of the thumbnails
  if (stack.littleOverlap) return;
  std::vector<Relief> large, small;
  for (const Thumbnail &thumbnail : thumbnails) {
    large.push_back(makeRelief(thumbnail, &team));
    small.push_back(makeRelief(makeThumbnail(thumbnail, kSmallSide), &team));
  }
  for (std::size_t rank = 1; rank < stack.order.size(); ++rank) {
    RankedLink &link = stack.links[rank];
    if (!link.doubt.empty()) continue;
    const auto a = static_cast<std::size_t>(stack.order[rank - 1]), b = static_cast<std::size_t>(stack.order[rank]);
    const Result<Transform> bFromA = rebase(stack.fromAnchor[b], stack.fromAnchor[a]);
    if (!bFromA || isContested(comparePictures(small[a], small[b], *bFromA, kFarReach, &team)) ||
        isContested(comparePictures(large[a], large[b], *bFromA, kNearReach, &team))) {
      link.doubt = "parts of the picture lie elsewhere, or it repeats itself";
    }
  }
}

} // namespace vindrel
