// What is said of a set of placed frames.
#pragma once

#include "RunCases.h"

#include <functional>
#include <vector>

namespace vindrel::accuracy {

// A frame placed farther off than this is not aligned; pixels, mean over the grid.
constexpr double kAlignedPixels = 1.0;
constexpr double kWellAlignedPixels = 0.5;

struct Statistics {
  int frames = 0;
  int found = 0;
  int lost = 0;         // not found, and said so
  int overcautious = 0; // of the lost, those that lie under kAlignedPixels all the same
  int wrong = 0;        // said to be found, but not aligned
  int aligned = 0;      // found and under kAlignedPixels
  int wellAligned = 0;  // found and under kWellAlignedPixels
  // Of the errors of the frames found, pixels; not numbers when none was.
  double median = 0;
  double percentile95 = 0;
  double largest = 0;
};

// Of the rows that `which` accepts.
Statistics statisticsOf(const std::vector<Row> &rows, const std::function<bool(const Row &)> &which);

// The smallest value that at least the given share of the values does not exceed; not a number for none.
double quantile(std::vector<double> values, double share);

} // namespace vindrel::accuracy
