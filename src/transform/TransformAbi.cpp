// The exported functions of src/transform.
#include "VindrelRegLib.h"

#include "transform/AffineCost.h"
#include "transform/AffineResiduals.h"
#include "transform/AffineSearch.h"
#include "transform/BoundingBox.h"
#include "transform/CornerAngles.h"
#include "transform/CornerMapping.h"
#include "transform/FourPairFit.h"
#include "transform/FourPairs.h"
#include "transform/InversePerspective.h"
#include "transform/LinearSolver.h"
#include "transform/Matrix33.h"
#include "transform/MtRandom.h"
#include "transform/PerspectiveCost.h"
#include "transform/PerspectiveResiduals.h"
#include "transform/PerspectiveSearch.h"
#include "transform/PrintTransform.h"
#include "transform/RandomSource.h"
#include "transform/RigidFromTwoPairs.h"
#include "transform/Simplex.h"
#include "transform/ThreePairs.h"

#include <algorithm>

// Defined in the lowest layer that reads it.
int MAX_MATCHES_OPTIMIZED = 60;

namespace {

using namespace vindrel;

constexpr int kSuccess = 1;
constexpr int kFailure = -1;
constexpr int kNoMemory = -4;

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

PairsView pairsOf(const AffineFitData &data, int count) {
  return {.count = count, .xA = data.srcX, .yA = data.srcY, .xB = data.dstX, .yB = data.dstY};
}

// The number that a simplex search over nParams values promises. Cost takes the coefficients and the pairs.
template <int (*cost)(const float *, const PairsView &)>
int simplexResult(int nParams, const PairsView &pairs, const float *start, float *result) {
  const auto costOf = [](const void *state, const float *t) { return cost(t, *static_cast<const PairsView *>(state)); };
  const Status status = minimiseBySimplex(nParams, start, {.function = costOf, .state = &pairs}, result);
  return status == Status::Ok ? kSuccess : kNoMemory;
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

int calc_transform4_old(float *out, PointF s0, PointF d0, PointF s1, PointF d1, PointF s2, PointF d2, PointF s3,
                        PointF d3) {
  const Point src[4] = {pointOf(s0), pointOf(s1), pointOf(s2), pointOf(s3)};
  const Point dst[4] = {pointOf(d0), pointOf(d1), pointOf(d2), pointOf(d3)};
  const FourPairFit fit = fitFourPairs(src, dst);
  if (fit.outcome == FourPairFit::Outcome::Degenerate) return kFailure;
  store(fit.transform, out);
  return fit.outcome == FourPairFit::Outcome::Accepted ? kSuccess : kFailure;
}

int trRot(PointF s0, PointF s1, PointF d0, PointF d1, float *out) {
  const Point src[2] = {pointOf(s0), pointOf(s1)};
  const Point dst[2] = {pointOf(d0), pointOf(d1)};
  Trans6 t{};
  if (!rigidFromTwoPairs(src, dst, t)) return kFailure;
  store(t, out);
  return kSuccess;
}

// ---- Searches

int find_at7(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
             const int32_t *yB, const float *dist, float *result) {
  const AffineSearchResult found =
      searchAffine({.count = nPairs, .xA = xA, .yA = yA, .xB = xB, .yB = yB, .dist = dist},
                   {.frame = {width, height}, .pairBudget = MAX_MATCHES_OPTIMIZED, .random = processRandom()});
  if (found.status != Status::Ok) return kNoMemory;
  store(found.transform, result);
  return found.anchorsTried;
}

// What the records and the rank could tell is not needed here: the stack alignment chooses the guess by them.
float find_at9(int width, int height, int nPairs, const int32_t *xA, const int32_t *yA, const int32_t *xB,
               const int32_t *yB, const float *dist, float *result, int nThreads, PairRecord *, int, int, int mode,
               const float *initialGuess, int *flag) {
  const PerspectiveSearchResult found = searchPerspective(
      {.count = nPairs, .xA = xA, .yA = yA, .xB = xB, .yB = yB, .dist = dist}, {.frame = {width, height},
                                                                                .anchorBudget = MAX_MATCHES_OPTIMIZED,
                                                                                .threads = std::max(1, nThreads),
                                                                                .mode = mode,
                                                                                .guess = initialGuess});
  if (found.status != Status::Ok) return kNoMemory;
  store(found.found ? found.transform : kIdentity8, result);
  if (found.doubtful) *flag = 1;
  return found.found ? found.error : static_cast<float>(kFailure);
}

int find_affine(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                const float *start, float *result) {
  return simplexResult<affineCost>(nParams, {.count = nPts, .xA = xA, .yA = yA, .xB = xB, .yB = yB}, start, result);
}

int calc_diff4trans(int, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                    const int32_t *xB, const int32_t *yB) {
  return affineCost(params + first, {.count = nPts, .xA = xA, .yA = yA, .xB = xB, .yB = yB});
}

int find_transform(int nParams, int nPts, const int32_t *xA, const int32_t *yA, const int32_t *xB, const int32_t *yB,
                   const float *start, float *result) {
  return simplexResult<perspectiveCost>(nParams, {.count = nPts, .xA = xA, .yA = yA, .xB = xB, .yB = yB}, start,
                                        result);
}

int calc_diff8trans(int, int nPts, const float *params, int first, const int32_t *xA, const int32_t *yA,
                    const int32_t *xB, const int32_t *yB) {
  return perspectiveCost(params + first, {.count = nPts, .xA = xA, .yA = yA, .xB = xB, .yB = yB});
}

// ---- Plausibility and residuals

float angleBetweenVectors(float x0, float y0, float x1, float y1, float x2, float y2) {
  return angleAtVertex({x0, y0}, {x1, y1}, {x2, y2});
}

void getPerspectTransformDiff(int w, int h, const float *tA, const double *tB, float *dTL, float *dTR, float *dBL,
                              float *dBR, float *aTL, float *aBLv, float *aBLh, float *aBR, float *qTL, float *qTR,
                              float *qBR, float *qBL) {
  const CornerDifference difference = cornerDifference({w, h}, tA, tB);
  *dTL = difference.displacement.topLeft;
  *dTR = difference.displacement.topRight;
  *dBL = difference.displacement.bottomLeft;
  *dBR = difference.displacement.bottomRight;
  *aTL = difference.topEdge;
  *aBLv = difference.bottomEdge;
  *aBLh = difference.leftEdge;
  *aBR = difference.rightEdge;
  if (qTL != nullptr) *qTL = difference.interior.topLeft;
  if (qTR != nullptr) *qTR = difference.interior.topRight;
  if (qBR != nullptr) *qBR = difference.interior.bottomRight;
  if (qBL != nullptr) *qBL = difference.interior.bottomLeft;
}

float perspectTransformTooDifferentAmount(int w, int h, const float *tA, const double *tB, float maxDist,
                                          float maxAngle) {
  return transformPenalty({w, h}, tA, tB, maxDist, maxAngle);
}

void evaluate_transform(const double *par, int m, const void *data, double *fvec, int *) {
  const PerspFitData &d = *static_cast<const PerspFitData *>(data);
  perspectiveResiduals(par, m,
                       {.pairs = {.xA = d.srcX, .yA = d.srcY, .xB = d.dstX, .yB = d.dstY},
                        .reference = d.refTrans,
                        .frame = {d.width, d.height},
                        .maxAngle = d.maxAngle,
                        .shapeResiduals = d.shapeResiduals != 0},
                       fvec);
}

void evaluate_transform6(const double *par, int m, const void *data, double *fvec, int *) {
  affineResiduals(par, m, pairsOf(*static_cast<const AffineFitData *>(data), m), fvec);
}

void evaluate_single_transform8(const double *par, int m, const void *data, double *fvec, int *) {
  plainPerspectiveResiduals(par, m, pairsOf(*static_cast<const AffineFitData *>(data), m / 2), fvec);
}

// ---- Random source

static_assert(sizeof(MtState::mt) == kMtWords * sizeof(uint32_t));

void mt_init(MtState *s) {
  mtInit(s->index, s->mt);
}

uint64_t mt_random(MtState *s) {
  return mtNext(s->index, s->mt);
}
