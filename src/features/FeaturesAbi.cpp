// The exported functions of src/features.
#include "VindrelRegLib.h"

#include "base/ImageView.h"
#include "features/BlobDetector.h"
#include "features/Descriptor.h"
#include "features/GreyImage.h"
#include "features/IntegralImage.h"
#include "features/PairMatcher.h"

#include <cstddef>
#include <ctime>

using namespace vindrel;

namespace {

constexpr int kOutOfMemory = -4;

} // namespace

unsigned int greyscale(int width, int height, int channels, int bitDepth, int64_t offset, const void *src,
                       uint8_t *dst) {
  if ((bitDepth != 8 && bitDepth != 16) || height < 1) return 0;
  const auto depth = static_cast<SampleDepth>(bitDepth);
  const auto *first = static_cast<const unsigned char *>(src) + offset * bytesPerSample(depth);
  convertToGrey({.samples = first,
                 .size = {width, height},
                 .channels = channels,
                 .rowStride = static_cast<std::int64_t>(width) * channels,
                 .depth = depth},
                dst);
  return static_cast<unsigned int>(height);
}

uint32_t vdsubcalc(int x1, int y1, int x2, int y2, unsigned int centre, unsigned int width, const uint32_t *integral) {
  return boxSum(integral, static_cast<std::ptrdiff_t>(width), static_cast<std::ptrdiff_t>(centre), {x1, y1, x2, y2});
}

int vddetect(int levels, int width, int height, int maxPoints, int, int, const uint8_t *grey, int, int32_t *x,
             int32_t *y, int32_t *scaleCode, float *descriptor) {
  const DetectionResult result = detectPoints(grey, {width, height}, levels, maxPoints,
                                              {.x = x, .y = y, .scaleCode = scaleCode, .descriptor = descriptor});
  return result.status == Status::Ok ? result.count : kOutOfMemory;
}

void vddescriptor(int count, unsigned int width, const int32_t *x, const int32_t *y, int32_t *scaleCode,
                  const uint32_t *integral, float *descriptor) {
  describePoints(IntegralView<std::uint32_t>{integral, static_cast<std::ptrdiff_t>(width)},
                 {.count = count, .x = x, .y = y, .scaleCode = scaleCode, .descriptor = descriptor});
}

int descr_diff5(const float *a, int aStart, const float *b, int bStart, int n, float *result) {
  *result = descriptorDistance(a + aStart, b + bStart, n);
  return n < 1 ? 0 : n;
}

int find_paires(int maxPairs, int rangeX, int rangeY, int nA, const int32_t *xA, const int32_t *yA,
                const int32_t *scaleA, const float *descA, int nB, const int32_t *xB, const int32_t *yB,
                const int32_t *scaleB, const float *descB, int32_t *outXA, int32_t *outYA, int32_t *outXB,
                int32_t *outYB, float *outDist) {
  // The time is part of what the call is documented to ask of the system, not of its result.
  static_cast<void>(std::time(nullptr));
  const MatchResult result = matchPairs({.count = nA, .x = xA, .y = yA, .scaleCode = scaleA, .descriptor = descA},
                                        {.count = nB, .x = xB, .y = yB, .scaleCode = scaleB, .descriptor = descB},
                                        {.rangeX = rangeX, .rangeY = rangeY}, maxPairs,
                                        {.xA = outXA, .yA = outYA, .xB = outXB, .yB = outYB, .dist = outDist});
  return result.status == Status::Ok ? result.count : kOutOfMemory;
}
