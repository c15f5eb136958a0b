// Runs every method on every case, several cases at a time.
#pragma once

#include "Cases.h"
#include "Method.h"

#include <span>
#include <string>
#include <vector>

namespace vindrel::accuracy {

// One frame of one stack as one method placed it. The reference has no row.
struct Row {
  std::size_t caseIndex = 0;
  std::string method;
  int frame = 0; // in the order of shooting
  double ev = 0; // stops
  bool found = false;
  std::string reason;
  double error = 0;       // mean over the grid, pixels
  double cornerError = 0; // worst corner, pixels
  double unaligned = 0;   // what the mean over the grid would be had the frame been left where it is
  int pairs = 0;
  int inliers = 0;
  double rms = 0;
  double expectedError = 0;
};

// The time that one method took for one stack.
struct Timing {
  std::size_t caseIndex = 0;
  std::string method;
  double seconds = 0;
};

struct Measurements {
  std::vector<Row> rows;        // by case, method and frame
  std::vector<Timing> timings;  // by case and method
  std::vector<Size> frameSizes; // one a case
};

// Reports each finished case on standard error. Throws std::runtime_error with a message for the user.
Measurements runCases(const std::vector<Case> &cases, const std::vector<MethodGroup> &groups, int jobs);

} // namespace vindrel::accuracy
