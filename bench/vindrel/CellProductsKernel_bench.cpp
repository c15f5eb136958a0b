// The products of a picture's cells and another picture at all places around, in products a second: the two looks that
// an estimate takes at a pair of frames.
#include "vindrel/CellProductsKernel.h"

#include "reference/CellProducts.h"
#include "support/RegisterForEveryTarget.h"

#include <algorithm>
#include <random>
#include <vector>

namespace vindrel::bench {
namespace {

void productsOfCell(benchmark::State &state, int width, int rows, int reach) {
  std::mt19937 random(1);
  const int rowLength = (width + kCellUnit - 1) / kCellUnit * kCellUnit;
  const std::ptrdiff_t stride = 600;
  const auto value = [&] { return static_cast<std::int16_t>(static_cast<int>(random() % 8001) - 4000); };
  std::vector<std::int16_t> cell(static_cast<std::size_t>(rows) * static_cast<std::size_t>(rowLength));
  for (int y = 0; y < rows; ++y)
    std::generate_n(cell.begin() + y * rowLength, width, value);
  std::vector<std::int16_t> picture(static_cast<std::size_t>(stride * (rows + 2 * reach)));
  std::generate(picture.begin(), picture.end(), value);
  const std::int16_t *place = picture.data() + reach * stride + reach;
  std::vector<std::int64_t> sums(static_cast<std::size_t>(sumsAround(reach)));
  for (auto _ : state) {
    sumCellProducts({cell.data(), rows, rowLength}, place, stride, reach, sums.data());
    benchmark::DoNotOptimize(sums.data());
  }
  const auto ofCell = [&](int x, int y) { return int{cell[static_cast<std::size_t>(y * rowLength + x)]}; };
  const auto ofPicture = [&](int x, int y) { return int{place[y * stride + x]}; };
  std::size_t i = 0;
  for (int dy = -reach; dy <= reach; ++dy)
    for (int dx = -reach; dx <= reach; ++dx, ++i)
      if (sums[i] != reference::cellProduct(width, rows, ofCell, ofPicture, dx, dy))
        state.SkipWithError("wrong answer");
  state.counters["products/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * width * rows * sumsAround(reach), benchmark::Counter::kIsRate);
}

[[maybe_unused]] const int registered = [] {
  registerForEveryTarget("cellProducts/far", [](benchmark::State &state) { productsOfCell(state, 20, 15, 16); });
  registerForEveryTarget("cellProducts/near", [](benchmark::State &state) { productsOfCell(state, 60, 45, 6); });
  return 0;
}();

} // namespace
} // namespace vindrel::bench
