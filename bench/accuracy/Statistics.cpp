#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vindrel::accuracy {

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  std::sort(values.begin(), values.end());
  const double wanted = std::ceil(share * static_cast<double>(values.size()));
  const auto index = static_cast<std::size_t>(std::max(wanted, 1.0)) - 1;
  return values[std::min(index, values.size() - 1)];
}

Statistics statisticsOf(const std::vector<Row> &rows, const std::function<bool(const Row &)> &which) {
  Statistics statistics;
  std::vector<double> errors;
  for (const Row &row : rows) {
    if (!which(row)) continue;
    ++statistics.frames;
    if (!row.found) {
      ++statistics.lost;
      statistics.overcautious += row.error < kAlignedPixels;
      continue;
    }
    ++statistics.found;
    statistics.wrong += row.error > kAlignedPixels;
    statistics.aligned += row.error < kAlignedPixels;
    statistics.wellAligned += row.error < kWellAlignedPixels;
    errors.push_back(row.error);
  }
  statistics.median = quantile(errors, 0.5);
  statistics.percentile95 = quantile(errors, 0.95);
  statistics.largest = quantile(errors, 1.0);
  return statistics;
}

} // namespace vindrel::accuracy
