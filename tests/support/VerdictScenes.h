// Scenes that invite a wrong transform: each is a frame and a darker one of 640 x 480 pixels, 8 bits, RGB.
#pragma once

#include "support/Image.h"
#include "support/SyntheticPhoto.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace vindrel::test {

constexpr Size kVerdictFrame = {640, 480};
using VerdictFrames = std::vector<Image<std::uint8_t>>;

// A window of a scene, darker by a factor, with noise of a few codes.
inline Image<std::uint8_t> look(const ImageView &scene, int left, int top, double gain, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> grain(0, 1.5);
  Image<std::uint8_t> image(kVerdictFrame, 3);
  for (int y = 0; y < kVerdictFrame.height; ++y)
    for (int s = 0; s < kVerdictFrame.width * 3; ++s)
      image.samples[static_cast<std::size_t>(y * kVerdictFrame.width * 3 + s)] = static_cast<std::uint8_t>(
          std::clamp(scene.row<std::uint8_t>(y + top)[left * 3 + s] * gain + grain(random) + 0.5, 0.0, 255.0));
  return image;
}

// The camera turned: the second frame shows everything 14 pixels further left and 9 further down.
inline VerdictFrames twoLooks(const ImageView &scene, double gain) {
  return {look(scene, 30, 30, 1, 1), look(scene, 44, 21, gain, 2)};
}

inline VerdictFrames unrelatedFrames(std::uint32_t seed) {
  const SyntheticPhoto one({720, 560}, seed), other({720, 560}, seed + 50);
  return {look(one.view(), 30, 30, 1, 1), look(other.view(), 30, 30, 0.6, 2)};
}

// What is left in the dark frame are a few codes above black, in noise. Moved as twoLooks() are.
inline VerdictFrames darkFrames(double gain) {
  return twoLooks(SyntheticPhoto({720, 560}, 7).view(), gain);
}

// Windows all alike, and nothing else: one displacement is as good as the next. The second frame shows everything
// `shift` pixels further left and 4 further down.
inline VerdictFrames facadeFrames(int periodX, int periodY, int shift) {
  const SyntheticPhoto tile({820, 660}, 3);
  Image<std::uint8_t> wall({kVerdictFrame.width + 100, kVerdictFrame.height + 100}, 3);
  for (int y = 0; y < wall.size.height; ++y)
    for (int x = 0; x < wall.size.width; ++x)
      for (int c = 0; c < 3; ++c)
        wall.samples[static_cast<std::size_t>((y * wall.size.width + x) * 3 + c)] =
            tile.view().row<std::uint8_t>(100 + y % periodY)[(100 + x % periodX) * 3 + c];
  return {look(wall.view(), 50, 50, 1, 1), look(wall.view(), 50 + shift, 50 - 4, 0.7, 2)};
}

// Another picture's first pixels in the middle of a frame, off by (dx, dy).
inline void putSubject(Image<std::uint8_t> &frame, const ImageView &subject, Size size, int dx, int dy, double gain) {
  const int x = (frame.size.width - size.width) / 2 + dx, y = (frame.size.height - size.height) / 2 + dy;
  for (int row = 0; row < size.height; ++row)
    for (int s = 0; s < size.width * 3; ++s)
      frame.samples[static_cast<std::size_t>(((y + row) * frame.size.width + x) * 3 + s)] =
          static_cast<std::uint8_t>(subject.row<std::uint8_t>(row)[s] * gain);
}

// The background moved as twoLooks() do; a subject of that size before it by (dx, dy).
inline VerdictFrames movedSubjectFrames(Size size, int dx, int dy) {
  const SyntheticPhoto subject({820, 660}, 12);
  VerdictFrames frames = twoLooks(SyntheticPhoto({820, 660}, 11).view(), 0.7);
  putSubject(frames[0], subject.view(), size, 0, 0, 1);
  putSubject(frames[1], subject.view(), size, dx, dy, 0.7);
  return frames;
}

} // namespace vindrel::test
