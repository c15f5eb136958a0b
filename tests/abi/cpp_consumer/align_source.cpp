// Aligns two frames that a source hands over and warps them; saves the transforms to the file that the argument names,
// loads them and warps again: exits with 0 when all of that works.
#include <vindrel/vindrel.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

int main(int argc, char **argv) {
  if (argc != 2) return 10;
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

  const vindrel::Rectangle &common = stack->common;
  const auto warped = [&](const vindrel::StackEstimate &by, int index) {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(vindrel::packedSamples(common.size(), 1)));
    const vindrel::MutableImageView view{out.data(), common.size(), 1, common.width, vindrel::SampleDepth::U8};
    vindrel::warpFrame(by, index, *frame(index), view, {.filter = vindrel::Filter::Lanczos3, .threads = 2}).value();
    return out;
  };
  const std::vector<std::uint8_t> first = warped(*stack, 0), other = warped(*stack, 1);
  // The frames show the same now, but for their noise.
  long difference = 0;
  for (std::size_t i = 0; i < first.size(); ++i)
    difference += std::abs(int{first[i]} - int{other[i]});
  const double mean = static_cast<double>(difference) / static_cast<double>(first.size());
  std::printf("mean difference %.2f\n", mean);
  if (!(mean < 6)) return 3;

  const vindrel::TransformsFile file{.estimate = *stack, .names = {"a", "b"}, .threads = 2};
  if (const auto saved = vindrel::saveTransforms(file, argv[1]); !saved) {
    std::fprintf(stderr, "%s\n", saved.error().message.c_str());
    return 4;
  }
  const auto back = vindrel::loadTransforms(argv[1]);
  if (!back || back->names != file.names || back->libraryVersion != vindrel::version()) return 5;
  if (warped(back->estimate, 1) != other) return 6;
  const auto missing = vindrel::loadTransforms(std::string(argv[1]) + ".none");
  if (missing || missing.error().code != vindrel::ErrorCode::FileSystem) return 7;

  std::uint8_t pixel = 0;
  const auto refused = vindrel::warpFrame(*stack, 7, *frame(1), {&pixel, {1, 1}, 1, 1, vindrel::SampleDepth::U8});
  return !refused && refused.error().code == vindrel::ErrorCode::InvalidArgument ? 0 : 8;
}
