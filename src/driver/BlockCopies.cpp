#include "driver/BlockCopies.h"

#include "base/StaticShare.h"

#include <algorithm>
#include <cstring>
#include <omp.h>

namespace vindrel {
namespace {

// Below this a thread's share is not worth waking it for, bytes.
constexpr std::size_t kLeastShare = std::size_t{1} << 18;

int worthwhileThreads(std::size_t bytes, int threads) {
  const std::size_t shares = std::max<std::size_t>(1, bytes / kLeastShare);
  return shares < static_cast<std::size_t>(std::max(threads, 1)) ? static_cast<int>(shares) : std::max(threads, 1);
}

// The first byte of a thread's share.
std::size_t shareBegin(std::size_t bytes, int thread, int threads) {
  return bytes / static_cast<std::size_t>(threads) * static_cast<std::size_t>(thread);
}

} // namespace

void copyOnThreads(std::uint8_t *to, const std::uint8_t *from, std::size_t bytes, int threads) {
#pragma omp parallel num_threads(worthwhileThreads(bytes, threads))
  {
    const int thread = omp_get_thread_num(), team = omp_get_num_threads();
    const std::size_t begin = shareBegin(bytes, thread, team);
    const std::size_t end = thread + 1 == team ? bytes : shareBegin(bytes, thread + 1, team);
    std::memcpy(to + begin, from + begin, end - begin);
  }
}

void moveDownOnThreads(std::uint8_t *to, const std::uint8_t *from, std::size_t bytes, int threads) {
  // Pieces as long as the distance do not reach into what they are moved from, so that threads may share each of them.
  const auto distance = static_cast<std::size_t>(from - to);
  if (distance == 0) return;
  if (worthwhileThreads(std::min(bytes, distance), threads) < 2) {
    std::memmove(to, from, bytes);
    return;
  }
  for (std::size_t begin = 0; begin < bytes; begin += distance)
    copyOnThreads(to + begin, from + begin, std::min(distance, bytes - begin), threads);
}

void cropDown(std::uint8_t *to, const ImageView &frame, int left, int top, Size size) {
  const std::int64_t sampleBytes = bytesPerSample(frame.depth);
  const std::int64_t sourceRow = packedSamples({frame.size.width, 1}, frame.channels) * sampleBytes;
  const std::int64_t outRow = packedSamples({size.width, 1}, frame.channels) * sampleBytes;
  const auto *from = static_cast<const std::uint8_t *>(frame.samples) + top * sourceRow +
                     std::int64_t{left} * frame.channels * sampleBytes;
  // No output row ends behind where the next source row begins: what is overwritten has been read.
  for (std::int64_t y = 0; y < size.height; ++y)
    std::memmove(to + y * outRow, from + y * sourceRow, static_cast<std::size_t>(outRow));
}

} // namespace vindrel
