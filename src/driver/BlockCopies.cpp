#include "driver/BlockCopies.h"

#include <algorithm>
#include <cstring>

namespace vindrel {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 18; // that are worth waking a thread for

// Blocks that do not overlap, in pieces.
void copyByTeam(RowTeam &team, std::uint8_t *to, const std::uint8_t *from, std::size_t bytes) {
  const auto pieces = static_cast<int>((bytes + kPieceBytes - 1) / kPieceBytes);
  team.share(pieces, 1, [=](int, RowRange some) {
    const std::size_t begin = static_cast<std::size_t>(some.begin) * kPieceBytes;
    const std::size_t end = std::min(static_cast<std::size_t>(some.end) * kPieceBytes, bytes);
    std::memcpy(to + begin, from + begin, end - begin);
  });
}

} // namespace

void moveDownByTeam(RowTeam &team, std::uint8_t *to, const std::uint8_t *from, std::size_t bytes) {
  // What lies no farther on than the distance does not reach into what it is moved from, so that it may be shared.
  const auto distance = static_cast<std::size_t>(from - to);
  if (distance == 0) return;
  if (std::min(bytes, distance) < 2 * kPieceBytes) {
    std::memmove(to, from, bytes);
    return;
  }
  for (std::size_t begin = 0; begin < bytes; begin += distance)
    copyByTeam(team, to + begin, from + begin, std::min(distance, bytes - begin));
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
