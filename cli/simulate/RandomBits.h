// Random numbers that are functions of a key and a counter. Any of them can be computed alone, so that threads need no
// order among themselves, and they are the same with every compiler and standard library, which the distributions of
// <random> are not. The mixing is the output function of SplitMix64 (Steele, Lea, Flood: "Fast splittable pseudorandom
// number generators", 2014).
#pragma once

#include <cstdint>

namespace vindrel {

constexpr std::uint64_t mixBits(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

// The counter's multiplier is odd, so that all counters give different inputs to the mixing.
constexpr std::uint64_t randomBits(std::uint64_t key, std::uint64_t counter) {
  return mixBits(key + (counter + 1) * 0x9e3779b97f4a7c15u);
}

// A key for a stream of its own within another key.
constexpr std::uint64_t streamKey(std::uint64_t key, std::uint64_t stream) {
  return mixBits(randomBits(key, stream) ^ 0xd1b54a32d192ed03u);
}

// Uniform in [-1, 1).
constexpr double randomSigned(std::uint64_t bits) {
  return static_cast<double>(bits >> 11) * (1.0 / static_cast<double>(1ull << 52)) - 1.0;
}

// Nearly normal with mean 0 and variance 1: the sum of the eight bytes, each uniform, brought to unit variance. Its
// excess kurtosis is -0.15 and it ends at 4.9 standard deviations, which pixel noise cannot tell from a normal; integer
// sums give the same bits everywhere, which the logarithm and cosine of other methods would not.
constexpr float randomNormal(std::uint64_t bits) {
  constexpr std::uint64_t evenBytes = 0x00ff00ff00ff00ffu;
  const std::uint64_t pairs = (bits & evenBytes) + ((bits >> 8) & evenBytes);
  const auto sum = static_cast<std::int32_t>((pairs * 0x0001000100010001u) >> 48);
  constexpr std::int32_t mean = 8 * 255 / 2;
  constexpr float deviation = 209.0223f; // sqrt(8 * (256^2 - 1) / 12)
  return static_cast<float>(sum - mean) * (1.0f / deviation);
}

} // namespace vindrel
