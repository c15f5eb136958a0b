// How whole calls scale: time per image from 2 to 16 images, time per megapixel from 3 to 48 megapixels, on one thread
// and on two, and the memory that a call takes beside its stack. Every call runs in a process of its own, whose memory
// is that of the call; its answer is checked against the places that the frames were cut from.
#include "VindrelRegLib.h"
#include "support/Clock.h"
#include "support/SyntheticPhoto.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vindrel::bench {
namespace {

constexpr int kChannels = 3;
constexpr int kReach = 40; // pixels, between the places of any two frames

enum class Call { Points, Shifts };

struct Setting {
  Call call = Call::Points;
  int threads = 1;
  int images = 0;
  double megapixels = 0;
};

struct Measured {
  double seconds = 0;    // the least of the runs
  double moreMemory = 0; // bytes beyond the stack at the peak
  bool right = false;
};

// 4 by 3.
Size sizeFor(double megapixels) {
  const double height = std::sqrt(megapixels * 1e6 * 3 / 4);
  return {static_cast<int>(height * 4 / 3), static_cast<int>(height)};
}

// Where a frame begins in the picture: anywhere within the reach.
struct Place {
  int x, y;
};
Place placeOf(int image) {
  return {image * 17 % (kReach + 1), image * 29 % (kReach + 1)};
}

// Every second frame is a little darker than the one before the last; in between lies the range of a short bracket.
double gainOf(int image) {
  return 1.0 - 0.03 * image;
}

std::vector<std::uint8_t> cutFrames(const ImageView &picture, int images, Size size) {
  const std::size_t rowBytes = static_cast<std::size_t>(size.width) * kChannels;
  std::vector<std::uint8_t> block(static_cast<std::size_t>(images) * rowBytes * static_cast<std::size_t>(size.height));
  std::uint8_t *out = block.data();
  for (int i = 0; i < images; ++i) {
    const auto gain = static_cast<int>(256 * gainOf(i));
    const Place place = placeOf(i);
    for (int y = 0; y < size.height; ++y) {
      const std::uint8_t *row = picture.row<std::uint8_t>(y + place.y) + place.x * kChannels;
      for (std::size_t x = 0; x < rowBytes; ++x)
        *out++ = static_cast<std::uint8_t>((row[x] * gain) >> 8);
    }
  }
  return block;
}

// A line of /proc/self/status, in bytes.
double memory(const char *name) {
  double value = 0;
  if (std::FILE *file = std::fopen("/proc/self/status", "r")) {
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr)
      if (std::strncmp(line, name, std::strlen(name)) == 0) value = 1024 * std::atof(line + std::strlen(name) + 1);
    std::fclose(file);
  }
  return value;
}

// The peak so far is forgotten.
void resetPeak() {
  if (std::FILE *file = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", file);
    std::fclose(file);
  }
}

int runCall(const Setting &setting, Size size, std::vector<std::uint8_t> &block, int *outSize) {
  if (setting.call == Call::Shifts)
    return tr_align(setting.images, size.width, size.height, kChannels, 8, outSize, block.data(), 0,
                    static_cast<float>(std::ldexp(1.5, 7) / size.width)); // 6 levels: 63 pixels
  return rt_align(setting.threads, 2 * kReach, 2 * kReach, 1, setting.images, size.width, size.height, kChannels, 8,
                  outSize, block.data(), nullptr);
}

// Off by at most a pixel each way, of which feature points may be wrong in half.
bool isRight(const Setting &setting, Size size, const int *outSize) {
  int left = kReach, right = 0, top = kReach, bottom = 0;
  for (int i = 0; i < setting.images; ++i) {
    const auto [x, y] = placeOf(i);
    left = std::min(left, x);
    right = std::max(right, x);
    top = std::min(top, y);
    bottom = std::max(bottom, y);
  }
  const int slack = setting.call == Call::Shifts ? 0 : 6;
  return std::abs(outSize[0] - (size.width - (right - left))) <= slack &&
         std::abs(outSize[1] - (size.height - (bottom - top))) <= slack;
}

Measured measure(const Setting &setting, const ImageView &picture, int runs) {
  const Size size = sizeFor(setting.megapixels);
  const std::vector<std::uint8_t> frames = cutFrames(picture, setting.images, size);
  std::vector<std::uint8_t> block(frames);
  Measured measured = {.seconds = std::numeric_limits<double>::max(), .moreMemory = 0, .right = true};
  for (int run = 0; run < runs; ++run) {
    std::copy(frames.begin(), frames.end(), block.begin());
    int outSize[2] = {0, 0};
    resetPeak();
    const double before = memory("VmRSS:");
    const Stopwatch watch(setting.threads);
    const int result = runCall(setting, size, block, outSize);
    measured.seconds = std::min(measured.seconds, watch.seconds());
    measured.moreMemory = std::max(measured.moreMemory, memory("VmHWM:") - before);
    measured.right = measured.right && result >= 0 && isRight(setting, size, outSize);
  }
  return measured;
}

// In a child process, so that no call inherits the memory of the one before.
Measured measureApart(const Setting &setting, const ImageView &picture, int runs) {
  int ends[2];
  Measured measured;
  if (pipe(ends) != 0) return measured;
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(1);
    measured = measure(setting, picture, runs);
    _exit(write(ends[1], &measured, sizeof measured) == sizeof measured ? 0 : 1);
  }
  close(ends[1]);
  if (child < 0 || read(ends[0], &measured, sizeof measured) != sizeof measured) measured.right = false;
  close(ends[0]);
  int status = 0;
  if (child > 0) waitpid(child, &status, 0);
  return measured;
}

std::vector<Setting> settings(bool quick) {
  std::vector<Setting> all;
  for (const Call call : {Call::Points, Call::Shifts})
    for (const int threads : call == Call::Points ? std::vector<int>{1, 2} : std::vector<int>{1}) {
      for (const int images : quick ? std::vector<int>{2, 4} : std::vector<int>{2, 4, 8, 16})
        all.push_back({call, threads, images, quick ? 1.0 : 6.0});
      for (const double megapixels : quick ? std::vector<double>{2} : std::vector<double>{3, 6, 12, 24, 48})
        all.push_back({call, threads, 3, megapixels});
      if (!quick) all.push_back({call, threads, 5, 24});
    }
  return all;
}

int run(bool quick) {
  const std::vector<Setting> all = settings(quick);
  double most = 0;
  for (const Setting &setting : all)
    most = std::max(most, setting.megapixels);
  const Size largest = sizeFor(most);
  const test::SyntheticPhoto photo({largest.width + kReach, largest.height + kReach}, 1);

  std::printf(
      "| call | threads | images | megapixels | seconds | ms an image | ms an image and megapixel | peak memory "
      "of the stack's |\n|---|---|---|---|---|---|---|---|\n");
  bool right = true;
  for (const Setting &setting : all) {
    std::fflush(stdout);
    const Measured measured = measureApart(setting, photo.view(), quick ? 1 : 3);
    const Size size = sizeFor(setting.megapixels);
    const double stack = static_cast<double>(packedSamples(size, kChannels)) * setting.images;
    const double milliseconds = 1e3 * measured.seconds / setting.images;
    std::printf("| %s | %d | %d | %g | %.3f | %.1f | %.2f | %.2f |%s\n",
                setting.call == Call::Points ? "rt_align" : "tr_align", setting.threads, setting.images,
                setting.megapixels, measured.seconds, milliseconds, milliseconds / setting.megapixels,
                1 + measured.moreMemory / stack, measured.right ? "" : " ERROR OCCURRED: wrong answer");
    right = right && measured.right;
  }
  return right ? 0 : 1;
}

} // namespace
} // namespace vindrel::bench

int main(int argc, char **argv) {
  const bool quick = argc == 2 && std::strcmp(argv[1], "--quick") == 0;
  if (argc > 1 && !quick) {
    std::fprintf(stderr, "usage: bench_scaling [--quick]\n");
    return 2;
  }
  return vindrel::bench::run(quick);
}
