// As many extrema at a time as a vector holds numbers: each of them is a long chain of operations that wait for each
// other, with exchanges of rows that cannot be foreseen. In lanes, exchanges are choices, and nothing waits for itself.
//
// The systems are solved by the operations of gaussEliminate() (transform/LinearSolver.h) in its order, its pivot rule
// included, in double precision.
#include "features/SubpixelRefinement.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "features/RefinementKernel.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace vindrel::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::CappedTag<double, 4>;
using Floats = hn::Rebind<float, Doubles>;
using DoubleVector = hn::Vec<Doubles>;
using DoubleMask = hn::Mask<Doubles>;

constexpr int kLanes = static_cast<int>(hn::MaxLanes(Doubles()));

// The responses around as many extrema, of which those from count on are the last one again.
class Cubes {
public:
  HWY_INLINE Cubes(const Extremum *extrema, int count) {
    for (int i = 0; i < kLanes; ++i)
      cubes_[i] = &extrema[std::min(i, count - 1)].responses;
  }

  // The response of a size, rising from 0 on, dx columns and dy rows away.
  HWY_INLINE DoubleVector at(int size, int dx, int dy) const {
    float lanes[kLanes];
    for (int i = 0; i < kLanes; ++i)
      lanes[i] = cubes_[i]->at[size][dy + 1][dx + 1];
    return hn::PromoteTo(Doubles(), hn::LoadU(Floats(), lanes));
  }

private:
  const ResponseCube *cubes_[kLanes];
};

// A row of a system of three equations: coefficients and right side.
struct Row {
  DoubleVector a[3], b;
};

HWY_INLINE Row choose(DoubleMask which, const Row &yes, const Row &no) {
  return {{hn::IfThenElse(which, yes.a[0], no.a[0]), hn::IfThenElse(which, yes.a[1], no.a[1]),
           hn::IfThenElse(which, yes.a[2], no.a[2])},
          hn::IfThenElse(which, yes.b, no.b)};
}

// Whether a pivot can be divided by: neither zero nor undefined.
HWY_INLINE DoubleMask isUsable(DoubleVector pivot) {
  const DoubleVector zero = hn::Zero(Doubles());
  return hn::Or(hn::Lt(pivot, zero), hn::Gt(pivot, zero));
}

// Adds a multiple of the pivot's row to another, so that its coefficient k vanishes; that one is not looked at again.
template <int k>
HWY_INLINE void eliminate(const Row &pivotRow, Row &row) {
  const DoubleVector factor = hn::Div(hn::Neg(row.a[k]), pivotRow.a[k]);
  for (int j = k + 1; j < 3; ++j)
    row.a[j] = hn::Add(row.a[j], hn::Mul(factor, pivotRow.a[j]));
  row.b = hn::Add(row.b, hn::Mul(factor, pivotRow.b));
}

struct Solution {
  DoubleVector x[3];
  DoubleMask exists;
};

HWY_INLINE Solution solve(Row r0, Row r1, Row r2) {
  const Doubles tag;
  // The first candidate for pivot counts by its magnitude, those that replace it by their signed value.
  const DoubleVector least = hn::Abs(r0.a[0]);
  const DoubleMask takes1 = hn::Gt(hn::Abs(r1.a[0]), least);
  const DoubleMask takes2 = hn::Gt(hn::Abs(r2.a[0]), hn::IfThenElse(takes1, r1.a[0], least));
  const Row first = choose(takes2, r2, choose(takes1, r1, r0));
  r1 = choose(hn::AndNot(takes2, takes1), r0, r1);
  r2 = choose(takes2, r0, r2);
  DoubleMask exists = isUsable(first.a[0]);
  eliminate<0>(first, r1);
  eliminate<0>(first, r2);

  const DoubleMask exchanges = hn::Gt(hn::Abs(r2.a[1]), hn::Abs(r1.a[1]));
  const Row second = choose(exchanges, r2, r1);
  Row third = choose(exchanges, r1, r2);
  exists = hn::And(exists, isUsable(second.a[1]));
  eliminate<1>(second, third);

  // What is known of each equation is added up from zero on, which decides the sign of a zero.
  const DoubleVector zero = hn::Zero(tag);
  const DoubleVector x2 = hn::Div(third.b, third.a[2]);
  const DoubleVector x1 = hn::Div(hn::Sub(second.b, hn::Add(zero, hn::Mul(second.a[2], x2))), second.a[1]);
  const DoubleVector known = hn::Add(hn::Add(zero, hn::Mul(first.a[1], x1)), hn::Mul(first.a[2], x2));
  return {{hn::Div(hn::Sub(first.b, known), first.a[0]), x1, x2}, exists};
}

// The quadratic through the responses: its Hessian, and the gradient against which its extremum lies.
HWY_INLINE Solution refine(const Cubes &cubes) {
  const Doubles tag;
  const auto m9 = [&](int dx, int dy) HWY_ATTR { return cubes.at(0, dx, dy); };
  const auto m15 = [&](int dx, int dy) HWY_ATTR { return cubes.at(1, dx, dy); };
  const auto m21 = [&](int dx, int dy) HWY_ATTR { return cubes.at(2, dx, dy); };
  const auto sum = [](DoubleVector a, DoubleVector b) HWY_ATTR { return hn::Add(a, b); };
  const auto difference = [](DoubleVector a, DoubleVector b) HWY_ATTR { return hn::Sub(a, b); };
  const auto quarter = [=](DoubleVector a) HWY_ATTR { return hn::Mul(hn::Set(tag, 0.25), a); };
  const auto minusHalf = [=](DoubleVector a) HWY_ATTR { return hn::Mul(hn::Set(tag, -0.5), a); };

  const DoubleVector left = m15(-1, 0), right = m15(1, 0), up = m15(0, -1), down = m15(0, 1);
  const DoubleVector smaller = m9(0, 0), larger = m21(0, 0);
  const DoubleVector twice = hn::Mul(hn::Set(tag, 2.0), m15(0, 0));
  const DoubleVector xx = difference(sum(right, left), twice);
  const DoubleVector yy = difference(sum(down, up), twice);
  const DoubleVector ss = difference(sum(larger, smaller), twice);
  const DoubleVector xy = quarter(difference(sum(m15(1, 1), m15(-1, -1)), sum(m15(-1, 1), m15(1, -1))));
  const DoubleVector xs = quarter(difference(difference(m21(1, 0), m21(-1, 0)), difference(m9(1, 0), m9(-1, 0))));
  const DoubleVector ys = quarter(difference(difference(m21(0, 1), m21(0, -1)), difference(m9(0, 1), m9(0, -1))));
  return solve({{xx, xy, xs}, minusHalf(difference(right, left))}, {{xy, yy, ys}, minusHalf(difference(down, up))},
               {{xs, ys, ss}, minusHalf(difference(larger, smaller))});
}

void refineAll(const Extremum *extrema, int count, RefinedExtremum *refined) {
  const Doubles tag;
  for (int i = 0; i < count; i += kLanes) {
    const int size = std::min(kLanes, count - i);
    const Solution solution = refine(Cubes(extrema + i, size));
    double offsets[3][kLanes], exists[kLanes];
    for (int axis = 0; axis < 3; ++axis)
      hn::StoreU(solution.x[axis], tag, offsets[axis]);
    hn::StoreU(hn::IfThenElseZero(solution.exists, hn::Set(tag, 1.0)), tag, exists);
    for (int k = 0; k < size; ++k)
      refined[i + k] = {{offsets[0][k], offsets[1][k], offsets[2][k]}, exists[k] != 0};
  }
}

} // namespace
} // namespace vindrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vindrel {

HWY_EXPORT(refineAll);

void refineExtrema(const Extremum *extrema, int count, RefinedExtremum *refined) {
  HWY_DYNAMIC_DISPATCH(refineAll)(extrema, count, refined);
}

} // namespace vindrel
#endif
