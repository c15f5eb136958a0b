// The exported functions of src/driver: stack alignment, ranking, and their small helpers.
#include "VindrelRegLib.h"

#include "driver/Estimate.h"
#include "driver/MostSuitable.h"
#include "driver/ProfileLog.h"
#include "driver/Ranking.h"
#include "driver/WarpBlock.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

using namespace vindrel;

constexpr int kOutOfMemory = -4;
constexpr int kCancelled = -1000;

int failure(Status status) {
  return status == Status::Cancelled ? kCancelled : kOutOfMemory;
}

// What the callback contract says: the flag starts at 0, and a callback that sets it asks to stop. One that throws, as
// a host written in C++ may, is taken to ask the same, because nothing may unwind through the library.
bool askCallback(ProgressCallback callback, double fraction) noexcept {
  if (callback == nullptr) return true;
  int cancel = 0;
  try {
    callback(&cancel, fraction);
  } catch (...) {
    return false;
  }
  return cancel == 0;
}

bool reportTo(void *state, double fraction) {
  return askCallback(*static_cast<ProgressCallback *>(state), fraction);
}

bool knownDepth(int bitsPerSample) {
  return bitsPerSample == 8 || bitsPerSample == 16;
}

// Rows of a source are taken to be three samples a pixel apart whatever the channel count. With fewer channels that
// would read past the block, so there the true distance holds.
int64_t sourceStride(int width, int channels) {
  return static_cast<int64_t>(width) * (channels < 3 ? channels : 3);
}

// What every successful call ends with: returns `cropped`.
int finish(int cropped, Size from, Size to, int *outSize) {
  outSize[0] = to.width;
  outSize[1] = to.height;
  std::fprintf(stderr, "rt_align: %d  from %d x %d  to  %d x %d\n", cropped, from.width, from.height, to.width,
               to.height);
  return cropped;
}

int alignBlock(int nThreads, int maxShiftX, int maxShiftY, int perspective, int nImages, const FrameFormat &format,
               int *outSize, void *images, ProgressCallback callback) {
  const Progress progressReport{.function = callback != nullptr ? reportTo : nullptr, .state = &callback};
  const int threads = nThreads < 1 ? 1 : nThreads;
  nImages = nImages < 0 ? 0 : nImages;
  BlockFrames frames(images, nImages, format);
  const Estimate estimate =
      estimateTransforms(frames,
                         {.threads = threads,
                          .maxShiftX = maxShiftX,
                          .maxShiftY = maxShiftY,
                          .brightness = kThreeConsecutiveSamples,
                          .readableSamples = nImages * packedSamples(format.size, format.channels),
                          .progress = progressReport},
                         {.model = perspective != 0 ? LinkModel::Perspective : LinkModel::Affine,
                          .threads = threads,
                          .keepFrameSize = outSize[0] == 1,
                          .random = processRandom()});
  if (estimate.status != Status::Ok) return failure(estimate.status);
  const Status warped = warpBlock(estimate, format, nImages, images,
                                  {.threads = threads,
                                   .sourceStride = sourceStride(format.size.width, format.channels),
                                   .progress = progressReport});
  if (warped != Status::Ok) return failure(warped);
  return finish(estimate.cropped, format.size, estimate.window.size, outSize);
}

} // namespace

int rt_align(int nThreads, int maxShiftX, int maxShiftY, int perspective, int nImages, int width, int height,
             int channels, int bitsPerSample, int *outSize, void *images, ProgressCallback progressCallback) {
  static_cast<void>(std::time(nullptr));
  // The affine search draws from the standard generator: seeded alike, every call sees the same draws.
  std::srand(0);
  const Size size{width, height};
  MAX_MATCHES_OPTIMIZED = pairBudgetFor(size);
  // Samples of another size can neither be matched nor warped.
  if (!knownDepth(bitsPerSample)) return finish(0, size, size, outSize);
  const FrameFormat format{
      .size = size, .channels = channels, .depth = bitsPerSample == 16 ? SampleDepth::U16 : SampleDepth::U8};
  return alignBlock(nThreads, maxShiftX, maxShiftY, perspective, nImages, format, outSize, images, progressCallback);
}

int progress(ProgressCallback callback, double fraction) {
  return askCallback(callback, fraction) ? 1 : 0;
}

void ProfileLog(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  profileLogV(level, format, arguments);
  va_end(arguments);
}

void matrix_mult(int n, const float *A, const float *B, float *C) {
  multiplyMatrices(n, A, B, C);
}

int classementImages(int nImages, int width, int height, int channels, int bitsPerSample, const void *images,
                     float *scores, uint32_t *rankOrder) {
  if (nImages < 1) return 0;
  Buffer<RankEntry> entries = Buffer<RankEntry>::zeroed(static_cast<std::size_t>(nImages));
  if (!entries) return kOutOfMemory;
  const Size size{width, height};
  const FrameFormat format{
      .size = size, .channels = channels, .depth = bitsPerSample == 16 ? SampleDepth::U16 : SampleDepth::U8};
  const BlockFrames frames(images, nImages, format);
  const int64_t frameSamples = packedSamples(size, channels);
  const bool counts = height >= 1 && knownDepth(bitsPerSample);
  for (int i = 0; i < nImages; ++i) {
    const int64_t sum =
        counts ? sumBrightness(frames.view(i), kThreeConsecutiveSamples, (nImages - i) * frameSamples) : 0;
    entries[static_cast<std::size_t>(i)] = {.index = i, .sum = sum};
    scores[i] = meanBrightness(sum, size);
  }
  rankByBrightness(entries.data(), nImages, rankOrder);
  return nImages;
}

int mostSuitableTransform(int nImages, const PairRecord *records, int k, int count, const int32_t *xA,
                          const int32_t *yA, const int32_t *xB, const int32_t *yB) {
  if (nImages < 2) return -1;
  const MostSuitable suitable =
      mostSuitableRecord(records, nImages, k, {.count = count, .xA = xA, .yA = yA, .xB = xB, .yB = yB});
  return suitable.status == Status::Ok ? suitable.rank : kOutOfMemory;
}

int classementCompareSums(const void *a, const void *b) {
  return compareRankEntries(*static_cast<const RankEntry *>(a), *static_cast<const RankEntry *>(b));
}

int compareErrorRec(const void *a, const void *b) {
  return compareFitEntries(*static_cast<const FitEntry *>(a), *static_cast<const FitEntry *>(b));
}

int compareIntRev(const void *a, const void *b) {
  const int32_t first = *static_cast<const int32_t *>(a);
  const int32_t second = *static_cast<const int32_t *>(b);
  return first > second ? -1 : first < second ? 1 : 0;
}
