#include "perspective/PerspectiveAlgebra.h"

#include "perspective/PointMaps.h"
#include "transform/Matrix33.h"

namespace vindrel {

Trans8 inverseByAdjugate(const Trans8 &t) {
  const Mat33 adj = adjugate(transformToMatrix(t));
  const double k = 1.0 / adj[8];
  Trans8 inverse;
  for (int i = 0; i < 6; ++i)
    inverse[i] = static_cast<float>(adj[i] * k);
  for (int i = 6; i < 8; ++i)
    inverse[i] = static_cast<float>(adj[i] * kPerspectiveScale * k);
  return inverse;
}

Trans8 appliedToScaled(const Trans8 &t, float scale) {
  // The last two coefficients stay in their enlarged form: the product only multiplies columns, so that the enlargement
  // of the third row passes through. The last element is not part of the result.
  const Mat33F matrix = {t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], 1};
  const Mat33F diagonal = {scale, 0, 0, 0, scale, 0, 0, 0, 1};
  Mat33F product;
  multiply33F(matrix.data(), diagonal.data(), product.data());
  return {product[0], product[1], product[2], product[3], product[4], product[5], product[6], product[7]};
}

} // namespace vindrel
