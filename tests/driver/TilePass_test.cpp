#include "driver/TilePass.h"

#include "features/BlobDetector.h"
#include "features/GreyImage.h"
#include "features/PairMatcher.h"
#include "support/FailingAllocation.h"
#include "support/SyntheticPhoto.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace vindrel {
namespace {

using test::SyntheticPhoto;

// A view of a part of a photograph: a frame shifted by whole pixels.
ImageView window(const SyntheticPhoto &photo, int x, int y, Size size) {
  ImageView view = photo.view();
  view.samples = photo.view().row<std::uint8_t>(y) + x * 3;
  view.size = size;
  return view;
}

struct Reports {
  std::vector<double> fractions;
  int cancelAt = 0;
  static bool take(void *state, double fraction) {
    auto &self = *static_cast<Reports *>(state);
    self.fractions.push_back(fraction);
    return static_cast<int>(self.fractions.size()) != self.cancelAt;
  }
};

struct FoundPairs {
  std::vector<int> xA, yA, xB, yB;
};

FoundPairs copyOf(const PairsView &pairs) {
  return {{pairs.xA, pairs.xA + pairs.count},
          {pairs.yA, pairs.yA + pairs.count},
          {pairs.xB, pairs.xB + pairs.count},
          {pairs.yB, pairs.yB + pairs.count}};
}

constexpr Size kSize{1400, 1300}; // two by two tiles, the extra ones overlapping the border
const SyntheticPhoto &photo() {
  static const SyntheticPhoto scene({1500, 1400}, 11);
  return scene;
}

TilePassSettings settings(Reports &reports, int threads, int passes = 1) {
  return {.threads = threads,
          .window = {.rangeX = 60, .rangeY = 60},
          .progress = {.function = Reports::take, .state = &reports},
          .passes = passes};
}

TEST(TilePass, FindsTheShiftBetweenTwoFramesInFrameCoordinates) {
  Reports reports;
  TilePass pass(makeTileGrid(kSize, 160), settings(reports, 1));
  ASSERT_TRUE(pass.allocate());
  ASSERT_EQ(pass.run(1, window(photo(), 30, 20, kSize), window(photo(), 42, 13, kSize)), Status::Ok);
  const PairsView pairs = pass.collectPairs();
  ASSERT_GT(pairs.count, 100);
  int right = 0, farRight = 0;
  for (int i = 0; i < pairs.count; ++i) {
    const bool agrees = std::abs(pairs.xB[i] - pairs.xA[i] + 12) <= 1 && std::abs(pairs.yB[i] - pairs.yA[i] - 7) <= 1;
    right += agrees ? 1 : 0;
    farRight += agrees && pairs.xA[i] > 1060 ? 1 : 0;
  }
  EXPECT_GT(right, pairs.count * 8 / 10);
  EXPECT_GT(farRight, 5) << "the second column of tiles contributes";
}

TEST(TilePass, GivesTheSamePairsOnAnyNumberOfThreads) {
  FoundPairs first;
  for (const int threads : {1, 2, 3, 8}) {
    Reports reports;
    TilePass pass(makeTileGrid(kSize, 160), settings(reports, threads));
    ASSERT_TRUE(pass.allocate());
    ASSERT_EQ(pass.run(1, window(photo(), 30, 20, kSize), window(photo(), 42, 13, kSize)), Status::Ok);
    const FoundPairs found = copyOf(pass.collectPairs());
    if (threads == 1) first = found;
    EXPECT_EQ(found.xA, first.xA);
    EXPECT_EQ(found.yB, first.yB);
    EXPECT_EQ(reports.fractions.size(), 4u);
  }
}

TEST(TilePass, ReusesThePointsOfTheLastPassAsThoseOfTheBrighterFrame) {
  Reports reports;
  const ImageView a = window(photo(), 30, 20, kSize), b = window(photo(), 42, 13, kSize),
                  c = window(photo(), 25, 31, kSize);
  TilePass chained(makeTileGrid(kSize, 160), settings(reports, 1, 2));
  ASSERT_TRUE(chained.allocate());
  ASSERT_EQ(chained.run(1, a, b), Status::Ok);
  // Another frame handed over as the brighter one makes no difference: its points are known already.
  ASSERT_EQ(chained.run(2, a, c), Status::Ok);
  Reports others;
  TilePass direct(makeTileGrid(kSize, 160), settings(others, 1));
  ASSERT_TRUE(direct.allocate());
  ASSERT_EQ(direct.run(1, b, c), Status::Ok);
  EXPECT_EQ(copyOf(chained.collectPairs()).xA, copyOf(direct.collectPairs()).xA);
}

TEST(TilePass, ReportsEveryTileOfEveryPassByTheSameFormula) {
  Reports reports;
  TilePass pass(makeTileGrid(kSize, 160), settings(reports, 1, 2));
  ASSERT_TRUE(pass.allocate());
  const ImageView a = window(photo(), 30, 20, kSize), b = window(photo(), 42, 13, kSize);
  ASSERT_EQ(pass.run(1, a, b), Status::Ok);
  ASSERT_EQ(pass.run(2, b, a), Status::Ok);
  ASSERT_EQ(reports.fractions.size(), 8u);
  for (int done = 1; done <= 8; ++done) {
    EXPECT_DOUBLE_EQ(reports.fractions[static_cast<std::size_t>(done - 1)], (done + 1) * 0.9 / 8);
  }
}

TEST(TilePass, SkipsTheRemainingTilesWhenCancelledAndKeepsTheFinishedOnes) {
  Reports reports;
  reports.cancelAt = 2;
  TilePass pass(makeTileGrid(kSize, 160), settings(reports, 1));
  ASSERT_TRUE(pass.allocate());
  EXPECT_EQ(pass.run(1, window(photo(), 30, 20, kSize), window(photo(), 42, 13, kSize)), Status::Cancelled);
  EXPECT_EQ(reports.fractions.size(), 2u);
  EXPECT_GT(pass.collectPairs().count, 0);
}

TEST(TilePass, GivesUpATileWhosePreviousFrameHadNoPointsThere) {
  const Size size{640, 480};
  Reports reports;
  const std::vector<std::uint8_t> flat(static_cast<std::size_t>(packedSamples(size, 3)), 128);
  const ImageView plain{flat.data(), size, 3, size.width * 3, SampleDepth::U8};
  const ImageView a = window(photo(), 0, 0, size), b = window(photo(), 5, 5, size);
  TilePass pass(makeTileGrid(size, 70), settings(reports, 1, 3));
  ASSERT_TRUE(pass.allocate());
  ASSERT_EQ(pass.run(1, a, plain), Status::Ok);
  EXPECT_EQ(pass.collectPairs().count, 0);
  ASSERT_EQ(pass.run(2, plain, a), Status::Ok);
  EXPECT_EQ(pass.collectPairs().count, 0);
  ASSERT_EQ(pass.run(3, a, b), Status::Ok); // both are textured, but the tile was given up
  EXPECT_EQ(pass.collectPairs().count, 0);
  EXPECT_EQ(reports.fractions.size(), 3u);
}

TEST(TilePass, RunsAOneTileGridOnATeamOfMany) {
  const Size size{640, 480};
  Reports reports;
  TilePass pass(makeTileGrid(size, 70), settings(reports, 4));
  ASSERT_TRUE(pass.allocate());
  ASSERT_EQ(pass.run(1, window(photo(), 0, 0, size), window(photo(), 5, 5, size)), Status::Ok);
  EXPECT_GT(pass.collectPairs().count, 30);
}

TEST(TilePass, TakesNoMemoryForThreadsWithoutATile) {
  const Size size{640, 480};
  const auto allocations = [&](int threads) {
    Reports reports;
    TilePass pass(makeTileGrid(size, 70), settings(reports, threads));
    EXPECT_TRUE(pass.allocate());
    return test::countAllocations([&] { pass.run(1, window(photo(), 0, 0, size), window(photo(), 5, 5, size)); });
  };
  EXPECT_EQ(allocations(8), allocations(1));
}

// A uniform frame with a part of the photograph at (x, 50).
std::vector<std::uint8_t> framedPart(Size frame, Size part, int x) {
  std::vector<std::uint8_t> samples(static_cast<std::size_t>(packedSamples(frame, 3)), 128);
  for (int y = 0; y < part.height; ++y) {
    std::copy_n(photo().view().row<std::uint8_t>(y), part.width * 3,
                samples.begin() + (static_cast<std::ptrdiff_t>(y + 50) * frame.width + x) * 3);
  }
  return samples;
}

TEST(TilePass, LetsWeakTilesBorrowTheirNeighboursPoints) {
  // All there is to see lies in the right tile of the brighter frame and in the left tile of the darker one.
  constexpr Size size{2048, 600};
  constexpr int kShift = 350;
  const auto a = framedPart(size, {250, 500}, 1060), b = framedPart(size, {250, 500}, 1060 - kShift);
  const auto view = [&](const std::vector<std::uint8_t> &samples) {
    return ImageView{samples.data(), size, 3, size.width * 3, SampleDepth::U8};
  };
  Reports reports;
  TilePassSettings wide = settings(reports, 1);
  wide.window = {.rangeX = kShift + 10, .rangeY = 40};
  const TileGrid grid = makeTileGrid(size, 160);
  TilePass pass(grid, wide);
  ASSERT_TRUE(pass.allocate());
  ASSERT_EQ(pass.run(1, view(a), view(b)), Status::Ok);
  EXPECT_EQ(pass.collectPairs().count, 0);
  ASSERT_EQ(pass.retryWithNeighbours(), Status::Ok);
  const PairsView pairs = pass.collectPairs();
  EXPECT_GT(pairs.count, 20);
  EXPECT_LE(pairs.count, grid.pairCap);
  int agreeing = 0;
  for (int i = 0; i < pairs.count; ++i) {
    EXPECT_GE(pairs.xA[i], 1024 - kTileOverlap);
    agreeing += std::abs(pairs.xB[i] - pairs.xA[i] + kShift) <= 1 && std::abs(pairs.yB[i] - pairs.yA[i]) <= 1 ? 1 : 0;
  }
  EXPECT_GT(agreeing, pairs.count * 8 / 10);
}

TEST(TilePass, ReportsEveryFailedAllocationOfItsTeam) {
  const Size size{640, 480};
  const ImageView a = window(photo(), 0, 0, size), b = window(photo(), 5, 5, size);
  const long failures = test::forEachFailingAllocation([&](const test::FailingAllocation &failing) {
    Reports reports;
    {
      TilePass pass(makeTileGrid(size, 70), settings(reports, 2));
      const Status status = pass.allocate() ? pass.run(1, a, b) : Status::OutOfMemory;
      const bool done = status == Status::Ok && pass.retryWithNeighbours() == Status::Ok;
      EXPECT_EQ(done, !failing.reached());
    }
    EXPECT_EQ(failing.live(), 0);
  });
  EXPECT_GT(failures, 15);
}

} // namespace
} // namespace vindrel
