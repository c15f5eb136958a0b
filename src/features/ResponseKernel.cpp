// Bay, Ess, Tuytelaars and Van Gool 2008, "Speeded-Up Robust Features (SURF)": second derivatives as differences of
// boxes. The three lobes of Dxx stand side by side, so neighbouring boxes share corners: with S(c) the sum of the
// filter's rows in all columns up to c, Dxx = -S(c0) + 3 S(c1) - 3 S(c2) + S(c3), and Dyy is the same on its side.
// Sums of unsigned 32-bit entries are exact modulo 2^32 in any order, so this grouping changes no bits.
//
// Dxx x Dyy is an integer of at most 32 bits: grey values reach 255, and no image makes both factors large at once -
// for the widest filter |Dxx + Dyy| stays within 255 x 280 = 71400 and |Dxx - Dyy| within 255 x 230 = 58650, so the
// product stays within 35700^2 < 2^31. It can therefore be taken in double precision, where it is exact.
//
// The combination is in double precision, in the order written, and rounded once to float at the end.
#include "features/ResponseKernel.h"

namespace vindrel {
namespace {

// Corrects Dxy for the boxes being a coarse stand-in for Gaussian derivatives.
constexpr double kMixedWeight = 0.81;

// A filter's boxes, as the last column (or row) before each lobe and that of its end. The lobes of Dxx lie along its
// length and reach over its breadth; those of Dyy the other way round; those of Dxy are the four squares.
struct Filter {
  int lobe[4];    // ends of the lobes of Dxx and Dyy along their length
  int breadth[2]; // ends of those lobes across it
  int square[4];  // ends of the two squares of Dxy along either direction
  double weight;  // brings the response to the scale of the smallest filter
};

// The weights are 25/193 and 25/741 to sixteen and seventeen digits; the first is one unit in the last place off the
// nearest double, and stays so.
constexpr Filter kSize9 = {{-5, -2, 1, 4}, {-3, 2}, {-4, -1, 0, 3}, 1.0};
constexpr Filter kSize15 = {{-8, -3, 2, 7}, {-5, 4}, {-6, -1, 0, 5}, 0.1295336787564767};
constexpr Filter kSize21 = {{-11, -4, 3, 10}, {-7, 6}, {-8, -1, 0, 7}, 0.033738191632928474};

template <const Filter &F>
void filterRow(const std::uint32_t *__restrict at, std::ptrdiff_t width, std::ptrdiff_t count, float *__restrict out) {
  // Rows of the integral image that the lobes of Dxx end in.
  const std::uint32_t *xTop = at + F.breadth[0] * width, *xBottom = at + F.breadth[1] * width;
  // Those of Dyy, and those of the squares.
  const std::uint32_t *y0 = at + F.lobe[0] * width, *y1 = at + F.lobe[1] * width;
  const std::uint32_t *y2 = at + F.lobe[2] * width, *y3 = at + F.lobe[3] * width;
  const std::uint32_t *q0 = at + F.square[0] * width, *q1 = at + F.square[1] * width;
  const std::uint32_t *q2 = at + F.square[2] * width, *q3 = at + F.square[3] * width;

  for (std::ptrdiff_t x = 0; x < count; ++x) {
    const auto columns = [x](const std::uint32_t *bottom, const std::uint32_t *top, int c) {
      return bottom[x + c] - top[x + c];
    };
    const auto across = [x](const std::uint32_t *row) { return row[x + F.breadth[1]] - row[x + F.breadth[0]]; };
    const auto squares = [x](const std::uint32_t *row) {
      return row[x + F.square[1]] - row[x + F.square[0]] - (row[x + F.square[3]] - row[x + F.square[2]]);
    };
    const auto dxx =
        static_cast<std::int32_t>(columns(xBottom, xTop, F.lobe[3]) - columns(xBottom, xTop, F.lobe[0]) +
                                  3u * (columns(xBottom, xTop, F.lobe[1]) - columns(xBottom, xTop, F.lobe[2])));
    const auto dyy = static_cast<std::int32_t>(across(y3) - across(y0) + 3u * (across(y1) - across(y2)));
    const auto dxy = static_cast<std::int32_t>(squares(q1) - squares(q0) - (squares(q3) - squares(q2)));

    const double mixed = dxy;
    const double determinant = static_cast<double>(dxx) * static_cast<double>(dyy) - kMixedWeight * mixed * mixed;
    out[x] = static_cast<float>(F.weight * determinant);
  }
}

} // namespace

void responseRow(IntegralView integral, int row, int begin, int end, ResponseSpans out) {
  const std::uint32_t *at = integral.sums + row * integral.width + begin;
  const std::ptrdiff_t count = end - begin;
  filterRow<kSize9>(at, integral.width, count, out.size9);
  filterRow<kSize15>(at, integral.width, count, out.size15);
  filterRow<kSize21>(at, integral.width, count, out.size21);
}

} // namespace vindrel
