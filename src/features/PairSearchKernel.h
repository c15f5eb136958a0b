// Which points of a set lie in a point's window, and which of those can be its nearest.
//
// A distance is a sum in single precision whose order is part of the result, so that no two of its additions can be
// made at once. Nearly all distances are only needed to be told from the least one. They are estimated: the same sum,
// but in the order that suits vectors. Estimates far apart leave no doubt about the distances.
#pragma once

#include "features/FeaturePoints.h"

#include <cstdint>

namespace vindrel {

// The distance and its estimate are both sums of the same 64 squares and round off at most 2^-24 of it for each
// subtraction, square and addition, 66 in all. As long as neither is so small that squares were lost altogether they
// are less than this factor apart, with room to spare for products with it.
constexpr float kEstimateFactor = 1.0001f;
constexpr float kLeastReliableEstimate = 1e-30f; // but 0 is exact: all squares are 0 either way

// All bounds inclusive; none is below its counterpart.
struct PairLimits {
  std::int32_t scaleLow = 0, scaleHigh = 0, xLow = 0, xHigh = 0, yLow = 0, yHigh = 0;
};

// Entries that the lists of a search and the columns of the set searched have room for beyond its points.
constexpr int kSearchSlack = 16;

// The points a search can find, with columns that have kSearchSlack more entries of any contents.
struct SearchedSet {
  int count = 0;
  const std::int32_t *x = nullptr, *y = nullptr, *scaleCode = nullptr;
  const float *descriptor = nullptr; // kDescriptorLength floats a point, no slack
};

// Lists the points from first on that lie within the limits, in their order, up to the one that ends the search: the
// first whose scaleCode is above its limits, or whose row is and whose scaleCode is not below them. Returns how many.
int listWindow(const SearchedSet &set, int first, const PairLimits &limits, std::int32_t *indices);

// Of the count listed points, keeps those whose estimated distance to the descriptor is not beyond doubt greater than
// that of one before, and writes the estimates. Of every point that it drops the distance is greater than one before.
// Returns how many it kept.
int keepNear(const SearchedSet &set, const float *descriptor, std::int32_t *indices, int count, float *estimates);

// Descriptors to be measured against each other.
struct DescriptorPair {
  const float *a = nullptr, *b = nullptr;
};

// distances[i] = descriptorDistance(pairs[i].a, pairs[i].b, kDescriptorLength), bit for bit.
void pairDistances(const DescriptorPair *pairs, int count, float *distances);

} // namespace vindrel
