// Aligns two frames that a source hands over, warps them, and saves and loads the transforms: exits with 0 when all of
// that works.
#include <vindrel/vindrel.hpp>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 800, kHeight = 600, kShift = 7;

// Discs of random place, size and grey.
std::vector<std::uint8_t> scene() {
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(kWidth + 20) * kHeight, 128);
  std::uint32_t state = 1;
  const auto random = [&state](std::uint32_t limit) {
    state = state * 1664525u + 1013904223u;
    return static_cast<int>((state >> 8) % limit);
  };
  for (int disc = 0; disc < 10000; ++disc) {
    const int radius = 3 + random(12), x0 = random(kWidth + 20), y0 = random(kHeight), value = 30 + random(190);
    for (int y = y0 - radius; y <= y0 + radius; ++y)
      for (int x = x0 - radius; x <= x0 + radius; ++x)
        if (x >= 0 && x < kWidth + 20 && y >= 0 && y < kHeight &&
            (x - x0) * (x - x0) + (y - y0) * (y - y0) <= radius * radius)
          grey[static_cast<std::size_t>(y * (kWidth + 20) + x)] = static_cast<std::uint8_t>(value);
  }
  return grey;
}

} // namespace

int main() {
  // Each frame with noise of its own, as a sensor adds it.
  std::vector<std::uint8_t> grey[2] = {scene(), scene()};
  std::uint32_t state = 9;
  for (std::vector<std::uint8_t> &frame : grey)
    for (std::uint8_t &sample : frame)
      sample = static_cast<std::uint8_t>(sample + ((state = state * 1664525u + 1013904223u) >> 16) % 5);
  const auto frame = [&](int index) -> vindrel::Result<vindrel::ImageView> {
    // A window into the scene: rows lie farther apart than a row is long.
    return vindrel::ImageView{
        grey[index].data() + index * kShift, {kWidth, kHeight}, 1, kWidth + 20, vindrel::SampleDepth::U8};
  };
  const auto stack = vindrel::estimateStack(
      vindrel::StackSource{2, frame},
      {.model = vindrel::Model::Auto, .reference = vindrel::ReferenceChoice::First, .threads = 2});
  if (!stack) {
    std::fprintf(stderr, "%s\n", stack.error().message.c_str());
    return 1;
  }
  const vindrel::FrameEstimate &second = stack->frames[1];
  const double x = second.frameFromReference.map({0, 0}).x;
  std::printf("vindrel %s: %d pairs, %d inliers, shift %.3f %s\n", vindrel::version(), second.pairs, second.inliers, x,
              second.reason.c_str());
  if (second.verdict != vindrel::Verdict::Found || x > -kShift + 0.5 || x < -kShift - 0.5) return 2;

  std::vector<std::uint8_t> out(static_cast<std::size_t>(vindrel::packedSamples(stack->common.size(), 1)));
  const vindrel::MutableImageView view{out.data(), stack->common.size(), 1, stack->common.width,
                                       vindrel::SampleDepth::U8};
  if (!vindrel::warpFrame(*stack, 1, *frame(1), view, {.filter = vindrel::Filter::Lanczos3, .threads = 2})) return 3;

  vindrel::TransformsFile file;
  file.estimate = *stack;
  file.names = {"a", "b"};
  const auto text = vindrel::toJson(file);
  if (!text) return 4;
  const auto back = vindrel::fromJson(*text);
  if (!back || back->estimate.frames[1].frameFromReference != second.frameFromReference) return 5;

  const auto refused = vindrel::warpFrame(*stack, 7, *frame(1), view);
  return !refused && refused.error().code == vindrel::ErrorCode::InvalidArgument ? 0 : 6;
}
