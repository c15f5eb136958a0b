// The checks that every public function makes of images and numbers. Each returns what is wrong and what to do, or
// nothing.
#pragma once

#include "vindrel/image.hpp"
#include "vindrel/transform.hpp"

#include <cstddef>
#include <string>

namespace vindrel {

constexpr int kMaxChannels = 4;
constexpr int kMaxThreads = 1024;
// Coordinates are single precision: beyond this, whole pixels are no longer told apart to a small part of a pixel.
constexpr int kMaxSide = 65536;

std::string threadsError(int threads);

// name: what the message calls the index.
std::string indexError(int index, std::size_t frames, const std::string &name);

// name: what the message calls the image.
std::string imageError(const ImageView &image, const std::string &name);

std::string transformError(const Transform &transform);

// The memory from an image's first sample to its last, in whichever order its rows lie.
bool overlap(const ImageView &a, const ImageView &b);

} // namespace vindrel
