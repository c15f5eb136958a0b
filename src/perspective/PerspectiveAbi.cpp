// The exported functions of src/perspective.
#include "VindrelRegLib.h"

#include "perspective/DebugPrints.h"
#include "perspective/Intersection.h"
#include "perspective/OptimalCrop.h"
#include "perspective/PerspectiveAlgebra.h"
#include "perspective/PointMaps.h"
#include "perspective/Straighten.h"
#include "warp/ThreadedWarp.h"

#include <algorithm>
#include <cstdio>

using namespace vindrel;

int pinToEdge = 0;

namespace {

// In the size argument's first element: keep the source's frame.
constexpr int kNoCrop = 1;

// First number of the align line. Readers of the line know it as a constant; the thread count is not reported.
constexpr int kPrintedThreads = 4;

void printAlignLine(Size source, int channels, int bitsPerSample, const StraightenPlan &plan) {
  std::printf("align(%d, %d, %d, %d, %d, %d, %d, %d, %f, %f, %d...)\n", kPrintedThreads, source.width, source.height,
              plan.size.width, 0, plan.size.height, channels, bitsPerSample, static_cast<double>(plan.cropX),
              static_cast<double>(plan.cropY), 1);
}

Trans8 transformAt(const float *values) {
  Trans8 t;
  std::copy_n(values, t.size(), t.begin());
  return t;
}

Extent extentOf(int check) {
  return check != 0 ? Extent::Bounded : Extent::Unbounded;
}

} // namespace

int straightenImage(int nThreads, int width, int height, int stride, int channels, int bitsPerSample, int *sizeInOut,
                    const void *src, void *dst, float factorV, float factorH, float angle) {
  const Size source = {width, height};
  const StraightenRequest request = {.factorV = factorV,
                                     .factorH = factorH,
                                     .angleDegrees = angle,
                                     .crop = sizeInOut[0] != kNoCrop,
                                     .pinToEdge = pinToEdge != 0};
  std::printf("factorV=%f, factorH=%f\n", static_cast<double>(factorV), static_cast<double>(factorH));
  const StraightenPlan plan = planStraightening(source, request);
  std::printf("\n");
  sizeInOut[0] = plan.size.width;
  sizeInOut[1] = plan.size.height;
  printAlignLine(source, channels, bitsPerSample, plan);

  if (bitsPerSample != 8 && bitsPerSample != 16) return 0;
  const ImageView view = {.samples = src,
                          .size = source,
                          .channels = channels,
                          .rowStride = stride,
                          .depth = static_cast<SampleDepth>(bitsPerSample)};
  warpOnThreads(straighteningJob(plan, view), plan.size.height, nThreads, dst);
  return std::max(plan.size.height, 0);
}

int calcOptimalCropRect(const float *transform, int w, int h, float *cropX, float *cropY, int *cropW, int *cropH,
                        float factorV, float factorH) {
  const auto crop = optimalCrop(
      transformAt(transform), {.source = {w, h}, .factorV = factorV, .factorH = factorH, .pinToEdge = pinToEdge != 0});
  if (!crop) return 0;
  *cropX = crop->x;
  *cropY = crop->y;
  *cropW = crop->width;
  *cropH = crop->height;
  return 1;
}

int calcIntersection(int checkFirst, int checkSecond, double *outX, double *outY, double x1, double y1, double x2,
                     double y2, double x3, double y3, double x4, double y4) {
  const Intersection result =
      intersect({{x1, y1}, {x2, y2}}, extentOf(checkFirst), {{x3, y3}, {x4, y4}}, extentOf(checkSecond));
  if (result.parallel) return 0;
  *outX = result.point.x;
  *outY = result.point.y;
  return result.hit ? 1 : 0;
}

int setPinToEdge(int value) {
  pinToEdge = value;
  return value;
}

void transformViaArray(const float *t, double *outX, double *outY, double x, double y) {
  const PointD p = mapPerspectiveD(t, x, y);
  *outX = p.x;
  *outY = p.y;
}

void transformViaArrayF(const float *t, float *outX, float *outY, double x, double y) {
  const Point p = narrow(mapPerspectiveD(t, x, y));
  *outX = p.x;
  *outY = p.y;
}

void transform9ViaArrayF(const float *m, float *outX, float *outY, double x, double y) {
  const Point p = mapProjective9(m, x, y);
  *outX = p.x;
  *outY = p.y;
}

void transform4ViaArrayF(const float *m, float *outX, float *outY, double x, double y) {
  const Point p = mapLinear4(m, x, y);
  *outX = p.x;
  *outY = p.y;
}

void calcInverseTransform(const float *t, float *out) {
  const Trans8 inverse = inverseByAdjugate(transformAt(t));
  std::copy(inverse.begin(), inverse.end(), out);
}

void matrixMult33(const float *A, const float *B, float *C) {
  multiply33F(A, B, C);
}

int printMat(const double *m) {
  return printMatrix(stdout, m);
}

int logPointCross(int d, double x, double y, float z) {
  return appendCross("c:\\tempp.log", d, x, y, z);
}
