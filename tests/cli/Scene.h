// Textured scenes and the photographs that tests take of them, written and read without the program's own code.
#pragma once

#include <OpenImageIO/imageio.h>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vindrel::test {

// Samples as 16 bit whatever the file's depth, interleaved, rows packed.
struct Photo {
  int width = 0;
  int height = 0;
  int channels = 0;
  int bits = 8;
  std::vector<std::uint16_t> samples;

  std::uint16_t at(int x, int y, int c) const {
    return samples[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
                       static_cast<std::size_t>(channels) +
                   static_cast<std::size_t>(c)];
  }
};

struct View {
  int width = 640;
  int height = 480;
  int left = 0; // of the scene, which is larger by kSceneMargin on the right and at the bottom
  int top = 0;
  double exposure = 1; // multiplies the scene's light, 0 to 1
};

constexpr int kSceneMargin = 40;

// A view of scene `seed`: overlapping discs and boxes of all sizes and greys. Alpha, where there is one, varies too.
Photo takePhoto(unsigned seed, const View &view, int channels, int bits);

// Format by extension. `extra` is written along as metadata.
void save(const std::filesystem::path &path, const Photo &photo, const OIIO::ParamValueList &extra = {});

Photo load(const std::filesystem::path &path);
OIIO::ImageSpec loadSpec(const std::filesystem::path &path);

// The rectangle of that size whose top-left corner is (left, top).
Photo cut(const Photo &photo, int left, int top, int width, int height);

// Where `part` shows the very samples of `whole`: left and top edge, the outermost right column and bottom row of
// `part` left out of account. Empty when it does so nowhere.
std::vector<int> placeIn(const Photo &whole, const Photo &part);

// Mean absolute difference of all samples, in fractions of the full scale, `rim` pixels along the edges left out.
double meanDifference(const Photo &a, const Photo &b, int rim);

} // namespace vindrel::test
