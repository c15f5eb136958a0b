#include "Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <stdexcept>

namespace vindrel::test {
namespace {

// Plain bounded draws: the distributions of the standard library differ between implementations.
int draw(std::mt19937 &random, int below) {
  return static_cast<int>(random() % static_cast<unsigned>(below));
}

// Light of the scene, 0 to 1, three colours.
std::vector<float> paintScene(unsigned seed, int width, int height) {
  std::mt19937 random(seed);
  std::vector<float> light(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3, 0.4f);
  const int shapes = width * height / 150;
  for (int i = 0; i < shapes; ++i) {
    const int radius = 2 + draw(random, i < shapes / 8 ? 30 : 9);
    const int cx = draw(random, width);
    const int cy = draw(random, height);
    const bool disc = draw(random, 2) == 0;
    const float grey = 0.05f + 0.9f * static_cast<float>(draw(random, 1000)) / 1000;
    const float tint[3] = {grey, grey * 0.9f, 0.1f + grey * 0.8f};
    for (int y = std::max(0, cy - radius); y < std::min(height, cy + radius); ++y) {
      for (int x = std::max(0, cx - radius); x < std::min(width, cx + radius); ++x) {
        if (disc && (x - cx) * (x - cx) + (y - cy) * (y - cy) > radius * radius) continue;
        for (int c = 0; c < 3; ++c)
          light[static_cast<std::size_t>((y * width + x) * 3 + c)] = tint[c];
      }
    }
  }
  return light;
}

double sampleOf(const std::vector<float> &light, std::size_t pixel, int channel, int channels, double exposure) {
  const bool alpha = channels % 2 == 0 && channel == channels - 1;
  if (alpha) return 0.5 + 0.5 * static_cast<double>(light[pixel * 3]);
  return static_cast<double>(light[pixel * 3 + static_cast<std::size_t>(channels < 3 ? 1 : channel)]) * exposure;
}

} // namespace

Photo takePhoto(unsigned seed, const View &view, int channels, int bits) {
  const int width = view.width + kSceneMargin;
  const int height = view.height + kSceneMargin;
  const std::vector<float> light = paintScene(seed, width, height);
  Photo photo{view.width, view.height, channels, bits, {}};
  const double full = bits == 8 ? 255 : 65535;
  for (int y = 0; y < view.height; ++y) {
    for (int x = 0; x < view.width; ++x) {
      const auto pixel = static_cast<std::size_t>((y + view.top) * width + x + view.left);
      for (int c = 0; c < channels; ++c) {
        const double value = sampleOf(light, pixel, c, channels, view.exposure);
        photo.samples.push_back(static_cast<std::uint16_t>(std::lround(value * full)));
      }
    }
  }
  return photo;
}

void save(const std::filesystem::path &path, const Photo &photo, const OIIO::ParamValueList &extra) {
  OIIO::ImageSpec spec(photo.width, photo.height, photo.channels,
                       photo.bits == 8 ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::UINT16);
  spec.attribute("oiio:UnassociatedAlpha", 1);
  for (const OIIO::ParamValue &value : extra)
    spec.attribute(value.name(), value.type(), value.data());
  const auto output = OIIO::ImageOutput::create(path.string());
  if (!output || !output->open(path.string(), spec)) throw std::runtime_error("cannot write " + path.string());
  bool written = false;
  if (photo.bits == 8) {
    const std::vector<std::uint8_t> bytes(photo.samples.begin(), photo.samples.end());
    written = output->write_image(OIIO::TypeDesc::UINT8, bytes.data());
  } else {
    written = output->write_image(OIIO::TypeDesc::UINT16, photo.samples.data());
  }
  if (!written || !output->close()) throw std::runtime_error("cannot write " + path.string());
}

Photo load(const std::filesystem::path &path) {
  OIIO::ImageSpec wishes;
  wishes.attribute("oiio:UnassociatedAlpha", 1);
  const auto input = OIIO::ImageInput::open(path.string(), &wishes);
  if (!input) throw std::runtime_error("cannot read " + path.string() + ": " + OIIO::geterror());
  const OIIO::ImageSpec &spec = input->spec();
  Photo photo{spec.width, spec.height, spec.nchannels, static_cast<int>(spec.format.size() * 8), {}};
  const std::size_t count = static_cast<std::size_t>(spec.image_pixels()) * static_cast<std::size_t>(spec.nchannels);
  bool read = false;
  if (photo.bits == 8) {
    std::vector<std::uint8_t> bytes(count);
    read = input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::UINT8, bytes.data());
    photo.samples.assign(bytes.begin(), bytes.end());
  } else {
    photo.samples.resize(count);
    read = input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::UINT16, photo.samples.data());
  }
  if (!read) throw std::runtime_error("cannot read " + path.string() + ": " + input->geterror());
  return photo;
}

OIIO::ImageSpec loadSpec(const std::filesystem::path &path) {
  const auto input = OIIO::ImageInput::open(path.string());
  if (!input) throw std::runtime_error("cannot read " + path.string() + ": " + OIIO::geterror());
  return input->spec();
}

Photo cut(const Photo &photo, int left, int top, int width, int height) {
  Photo part{width, height, photo.channels, photo.bits, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < photo.channels; ++c)
        part.samples.push_back(photo.at(x + left, y + top, c));
    }
  }
  return part;
}

std::vector<int> placeIn(const Photo &whole, const Photo &part) {
  const auto matches = [&](int left, int top) {
    for (int y = 0; y < part.height - 1; ++y) {
      for (int x = 0; x < part.width - 1; ++x) {
        for (int c = 0; c < part.channels; ++c) {
          if (part.at(x, y, c) != whole.at(x + left, y + top, c)) return false;
        }
      }
    }
    return true;
  };
  for (int top = 0; top <= whole.height - part.height; ++top) {
    for (int left = 0; left <= whole.width - part.width; ++left) {
      if (matches(left, top)) return {left, top};
    }
  }
  return {};
}

double meanDifference(const Photo &a, const Photo &b, int rim) {
  double sum = 0;
  double count = 0;
  for (int y = rim; y < a.height - rim; ++y) {
    for (int x = rim; x < a.width - rim; ++x) {
      for (int c = 0; c < a.channels; ++c) {
        sum += std::abs(static_cast<int>(a.at(x, y, c)) - static_cast<int>(b.at(x, y, c)));
        ++count;
      }
    }
  }
  return sum / count / (a.bits == 8 ? 255 : 65535);
}

} // namespace vindrel::test
