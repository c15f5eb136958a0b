// The exported functions of src/warp.
#include "VindrelRegLib.h"

#include "warp/OutputSize.h"
#include "warp/StripWarp.h"
#include "warp/ThreadedWarp.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <pthread.h>

namespace {

using namespace vindrel;

std::optional<SampleDepth> sampleDepth(std::int64_t bitsPerSample) {
  if (bitsPerSample == 8) return SampleDepth::U8;
  if (bitsPerSample == 16) return SampleDepth::U16;
  return std::nullopt;
}

ImageView sourceView(const void *base, std::int64_t offset, Size size, std::int64_t channels, int stride,
                     SampleDepth depth) {
  return {.samples = static_cast<const std::byte *>(base) + offset * bytesPerSample(depth),
          .size = size,
          .channels = static_cast<int>(channels),
          .rowStride = stride,
          .depth = depth};
}

// An affine table is indexed by image, a perspective one through the slot table: by design, not by oversight.
WarpTransform tableEntry(int perspective, const std::uint32_t *slotTable, const float *transforms, int imageIndex) {
  if (perspective == 0) return {false, transforms + static_cast<std::ptrdiff_t>(imageIndex) * 6};
  return {true, transforms + static_cast<std::size_t>(slotTable[imageIndex]) * 8};
}

} // namespace

int align_with_transf_orig(int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart, int rowEnd,
                           int64_t channels, int64_t bitsPerSample, int offsetX, int offsetY, int perspective,
                           const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                           const void *srcBase, void *dst) {
  const auto depth = sampleDepth(bitsPerSample);
  if (!depth) return 0;
  const WarpJob job = {.source = sourceView(srcBase, srcOffset, {srcWidth, srcHeight}, channels, srcStride, *depth),
                       .dstWidth = dstWidth,
                       .offsetX = offsetX,
                       .offsetY = offsetY,
                       .transform = tableEntry(perspective, slotTable, transforms, imageIndex)};
  return warpCallersBand(job, {rowStart, rowEnd}, dst);
}

int align_with_transf(int nThreads, int srcWidth, int srcHeight, int srcStride, int dstWidth, int rowStart, int rowEnd,
                      int channels, int bitsPerSample, int offsetX, int offsetY, int perspective,
                      const uint32_t *slotTable, const float *transforms, int imageIndex, int64_t srcOffset,
                      const void *srcBase, void *dst) {
  const auto depth = sampleDepth(bitsPerSample);
  if (!depth) return 0; // what every strip would return
  const WarpJob job = {.source = sourceView(srcBase, srcOffset, {srcWidth, srcHeight}, channels, srcStride, *depth),
                       .dstWidth = dstWidth,
                       .offsetX = offsetX,
                       .offsetY = offsetY,
                       .transform = tableEntry(perspective, slotTable, transforms, imageIndex)};
  return warpInStrips(job, {rowStart, rowEnd}, nThreads, dst);
}

void *align_with_transf_threaded(void *record) {
  auto &args = *static_cast<WarpThreadArgs *>(record);
  args.result = 0;
  if (const auto depth = sampleDepth(args.bitsPerSample)) {
    const WarpJob job = {.source = sourceView(args.srcBase, args.srcOffset, {args.srcWidth, args.srcHeight},
                                              args.channels, args.srcStride, *depth),
                         .dstWidth = args.dstWidth,
                         .offsetX = args.offsetX,
                         .offsetY = args.offsetY,
                         .transform = tableEntry(args.perspective, args.slotTable, args.transforms, args.imageIndex)};
    const RowBand rows = stripRows(args.rowCount, args.threadIndex, args.threadCount);
    args.result = warpCallersBand(job, rows, outputRow(job, args.dst, rows.begin));
  }
  pthread_exit(nullptr);
}

void multi_transform_point_perspect(int count, const float *transforms, const uint32_t *chain, float *outX, float *outY,
                                    float x, float y) {
  const Point p = mapThroughChain(count, transforms, chain, x, y);
  *outX = p.x;
  *outY = p.y;
}

void evaluate_resize(const double *par, int, const void *data, double *fvec, int *) {
  const auto &record = *static_cast<const ResizeData *>(data);
  outputSizeResiduals(par,
                      {.frameWidth = record.frameWidth,
                       .frameHeight = record.frameHeight,
                       .imageCount = record.imageCount,
                       .transforms = record.transforms,
                       .chain = record.chain},
                      fvec);
}
