// The exported functions of src/transform.
#include "VindrelRegLib.h"

#include "transform/BoundingBox.h"
#include "transform/CornerMapping.h"
#include "transform/FourPairs.h"
#include "transform/InversePerspective.h"
#include "transform/LinearSolver.h"
#include "transform/Matrix33.h"
#include "transform/MtRandom.h"
#include "transform/PrintTransform.h"
#include "transform/ThreePairs.h"

#include <algorithm>

// Defined in the lowest layer that reads it.
int MAX_MATCHES_OPTIMIZED = 60;

namespace {

using namespace vindrel;

constexpr int kSuccess = 1;
constexpr int kFailure = -1;

Point pointOf(PointF p) {
  return {p.x, p.y};
}

Mat33 matrixOf(const double *m) {
  Mat33 out{};
  std::copy_n(m, 9, out.begin());
  return out;
}

template <class Array>
void store(const Array &values, typename Array::value_type *out) {
  std::copy(values.begin(), values.end(), out);
}

void store(const Corners<Point> &corners, float *tlx, float *tly, float *trx, float *try_, float *blx, float *bly,
           float *brx, float *bry) {
  *tlx = corners.topLeft.x;
  *tly = corners.topLeft.y;
  *trx = corners.topRight.x;
  *try_ = corners.topRight.y;
  *blx = corners.bottomLeft.x;
  *bly = corners.bottomLeft.y;
  *brx = corners.bottomRight.x;
  *bry = corners.bottomRight.y;
}

} // namespace

// ---- Algebra

void make_identity(float *t, int n) {
  if (n == 8) {
    store(kIdentity8, t);
  } else {
    store(kIdentity6, t);
  }
}

void convert_trans_6to8(const float *t6, float *t8) {
  std::copy_n(t6, 6, t8);
  t8[6] = t8[7] = 0;
}

void calcAdj(const double *m, double *adj) {
  store(adjugate(matrixOf(m)), adj);
}

void MultMatrixVector(const double *m, const double *v, double *out) {
  store(multiplyVector(matrixOf(m), {v[0], v[1], v[2]}), out);
}

void MultMatrixMatrix(const double *A, const double *B, double *C) {
  store(multiply(matrixOf(A), matrixOf(B)), C);
}

int gauss_elim(int n, double *A, double *b, double *x) {
  return gaussEliminate(n, A, b, x) ? kSuccess : kFailure;
}

int calc_transform3(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2) {
  const Point src[3] = {pointOf(s0), pointOf(s1), pointOf(s2)};
  const Point dst[3] = {pointOf(d0), pointOf(d1), pointOf(d2)};
  Trans6 t{};
  if (!affineFromThreePairs(src, dst, t)) return kFailure;
  store(t, out);
  return kSuccess;
}

void calc_transform4(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3,
                     PointF d3) {
  const Point src[4] = {pointOf(s0), pointOf(s1), pointOf(s2), pointOf(s3)};
  const Point dst[4] = {pointOf(d0), pointOf(d1), pointOf(d2), pointOf(d3)};
  store(perspectiveFromFourPairs(src, dst), out);
}

void inverse_transform_perspect(const float *t, float *out) {
  store(inversePerspective(t), out);
}

void transformRectPerspectF(float x0, float y0, float x1, float y1, const float *t, float *tlx, float *tly, float *trx,
                            float *try_, float *blx, float *bly, float *brx, float *bry) {
  store(mapCorners(t, x0, y0, x1, y1), tlx, tly, trx, try_, blx, bly, brx, bry);
}

void transformRectPerspectD(float x0, float y0, float x1, float y1, const double *t, float *tlx, float *tly, float *trx,
                            float *try_, float *blx, float *bly, float *brx, float *bry) {
  store(mapCorners(t, x0, y0, x1, y1), tlx, tly, trx, try_, blx, bly, brx, bry);
}

void getCurPointsBoundingRect(const int32_t *x, const int32_t *y, int n, int *minX, int *minY, int *maxX, int *maxY) {
  const BoundingBox box = boundingBox(x, y, n);
  *minX = box.minX;
  *minY = box.minY;
  *maxX = box.maxX;
  *maxY = box.maxY;
}

int print_transform(const float *t, int n) {
  return printTransform(t, n);
}

int print_transform_dbl(const double *t, int n) {
  return printTransform(t, n);
}

// ---- Random source

static_assert(sizeof(MtState::mt) == kMtWords * sizeof(uint32_t));

void mt_init(MtState *s) {
  mtInit(s->index, s->mt);
}

uint64_t mt_random(MtState *s) {
  return mtNext(s->index, s->mt);
}
