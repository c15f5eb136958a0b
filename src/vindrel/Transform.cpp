#include "vindrel/transform.hpp"

#include "transform/Matrix33.h"
#include "vindrel/Arguments.h"
#include "vindrel/Guard.h"

#include <cmath>

namespace vindrel {
namespace {

// A determinant this much smaller than what its terms could make it is rounding and nothing else.
constexpr double kLeastDeterminant = 1e-13;

Mat33 normalised(Mat33 m) {
  if (const double last = m[8]; last != 0)
    for (double &element : m)
      element /= last;
  return m;
}

} // namespace

Result<Transform> Transform::inverse() const {
  return guarded([&]() -> Result<Transform> {
    if (std::string error = transformError(*this); !error.empty()) return invalidArgument(std::move(error));
    const Mat33 back = adjugate(matrix);
    const double terms[] = {matrix[0] * back[0], matrix[1] * back[3], matrix[2] * back[6]};
    const double determinant = terms[0] + terms[1] + terms[2];
    const double size = std::abs(terms[0]) + std::abs(terms[1]) + std::abs(terms[2]);
    if (!(std::abs(determinant) > kLeastDeterminant * size)) {
      return invalidArgument("transform: squeezes the plane onto a line or a point, so that there is no way back");
    }
    const Transform inverted{normalised(back)};
    if (!transformError(inverted).empty()) {
      return invalidArgument("transform: its elements are too large or too small to be inverted");
    }
    return inverted;
  });
}

bool Transform::isWholePixelShift() const noexcept {
  const double x = matrix[2], y = matrix[5];
  return *this == translation(x, y) && x == std::trunc(x) && y == std::trunc(y) && std::isfinite(x) && std::isfinite(y);
}

Transform compose(const Transform &cFromB, const Transform &bFromA) noexcept {
  return {normalised(multiply(cFromB.matrix, bFromA.matrix))};
}

Result<Transform> rebase(const Transform &frameFromOld, const Transform &newFromOld) {
  Result<Transform> oldFromNew = newFromOld.inverse();
  if (!oldFromNew) return oldFromNew;
  return compose(frameFromOld, *oldFromNew);
}

} // namespace vindrel
