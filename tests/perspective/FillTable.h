// Which corrections leave fill in the classic crop, measured on pixels. docs/straightening.md holds the same table.
#pragma once

#include "perspective/TightCrop.h"
#include "warp/Warp.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vindrel::test {

// Output pixels of the plan that are filled: a black picture is warped, so that whatever is white has been filled.
inline std::int64_t filledPixels(const StraightenPlan &plan, Size source) {
  const std::vector<std::uint8_t> black(static_cast<std::size_t>(source.width) * source.height);
  std::vector<std::uint8_t> out(static_cast<std::size_t>(plan.size.width) * plan.size.height);
  const ImageView view = {
      .samples = black.data(), .size = source, .channels = 1, .rowStride = source.width, .depth = SampleDepth::U8};
  warpBand(straighteningJob(plan, view), {0, plan.size.height}, out.data());
  return std::count(out.begin(), out.end(), std::uint8_t{255});
}

constexpr Size kTableSource = {400, 300};
constexpr float kTableFactors[] = {-0.1f, -0.05f, 0, 0.05f, 0.1f};
constexpr float kTableDegrees[] = {-45, -10, -5, -2, 0, 2, 5, 10, 45, 90};

inline std::string fillTable() {
  std::string table = "| vertical | horizontal | degrees | crop | filled pixels | clean crop |\n"
                      "|---:|---:|---:|---:|---:|---:|\n";
  for (const float degrees : kTableDegrees) {
    for (const float v : kTableFactors) {
      for (const float h : kTableFactors) {
        const StraightenRequest request = {.factorV = v, .factorH = h, .angleDegrees = degrees};
        const StraightenPlan plan = planStraightening(kTableSource, request);
        const std::int64_t filled = filledPixels(plan, kTableSource);
        if (filled == 0) continue;
        const auto tight = planCleanCrop(kTableSource, request);
        char row[200];
        std::snprintf(row, sizeof row, "| %g | %g | %g | %s%d x %d | %lld | %d x %d |\n", static_cast<double>(v),
                      static_cast<double>(h), static_cast<double>(degrees),
                      plan.cropped ? "" : "none: ", plan.size.width, plan.size.height, static_cast<long long>(filled),
                      tight ? tight->size.width : 0, tight ? tight->size.height : 0);
        table += row;
      }
    }
  }
  return table;
}

} // namespace vindrel::test
