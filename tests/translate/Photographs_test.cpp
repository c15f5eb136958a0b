// Shifts between parts of real photographs: Debian's lomiri-wallpapers-16.04, decoded at a quarter of their size.
#include "translate/Scene.h"
#include "translate/ShiftSearch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <jpeglib.h>
#include <memory>
#include <string>

namespace vindrel::test {
namespace {

constexpr int kWidth = 400, kHeight = 320;
constexpr float kFraction = 0.2F; // a reach of 31 pixels

// Empty when the photograph is not installed.
Scene photograph(const std::string &name) {
  Scene scene;
  const std::string path = "/usr/share/backgrounds/" + name + ".jpg";
  const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return scene;
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_stdio_src(&jpeg, file.get());
  jpeg_read_header(&jpeg, TRUE);
  jpeg.scale_num = 1;
  jpeg.scale_denom = 4;
  jpeg.out_color_space = JCS_RGB;
  jpeg_start_decompress(&jpeg);
  scene.width = static_cast<int>(jpeg.output_width);
  scene.height = static_cast<int>(jpeg.output_height);
  scene.samples.resize(static_cast<std::size_t>(scene.width) * scene.height * 3);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = scene.samples.data() + static_cast<std::size_t>(jpeg.output_scanline) * scene.width * 3;
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  return scene;
}

const char *const kNames[] = {"Dragonfly_by_Bolly", "picosdeeuropa_by_Aitzol_Berasategi", "Picture_0B_by_freespace",
                              "friends_by_Aitzol_Berasategi"};

template <class Sample>
void recoversShifts(int channels) {
  for (const char *name : kNames) {
    const Scene scene = photograph(name);
    if (scene.width == 0) GTEST_SKIP() << "lomiri-wallpapers-16.04 is not installed";
    const int x = (scene.width - kWidth) / 2, y = (scene.height - kHeight) / 2;
    const std::vector<View> views = {
        {x, y, 1}, {x + 13, y - 7, 0.25}, {x - 9, y + 11, 0.5}, {x + 4, y + 9, 2}, {x - 5, y - 3, 0.12}};
    const auto stack = stackOf<Sample>(scene, views, kWidth, kHeight, channels);
    const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 5, kWidth, kHeight, channels), kFraction);
    ASSERT_EQ(estimate.status, Status::Ok);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(estimate.shifts[i].x, x - views[i].x) << name << ' ' << i;
      EXPECT_EQ(estimate.shifts[i].y, y - views[i].y) << name << ' ' << i;
      EXPECT_TRUE(estimate.shifts[i].trustworthy) << name << ' ' << i;
    }
  }
}

TEST(Photographs, RecoverTheirShiftsInBytesOfThreeChannels) {
  recoversShifts<std::uint8_t>(3);
}
TEST(Photographs, RecoverTheirShiftsInBytesOfFourChannels) {
  recoversShifts<std::uint8_t>(4);
}
TEST(Photographs, RecoverTheirShiftsInSixteenBitsOfThreeChannels) {
  recoversShifts<std::uint16_t>(3);
}
TEST(Photographs, RecoverTheirShiftsInSixteenBitsOfFourChannels) {
  recoversShifts<std::uint16_t>(4);
}

TEST(Photographs, AreDoubtedWhenTheyShowDifferentThings) {
  std::vector<std::vector<std::uint8_t>> frames;
  for (const char *name : kNames) {
    const Scene scene = photograph(name);
    if (scene.width == 0) GTEST_SKIP() << "lomiri-wallpapers-16.04 is not installed";
    for (const auto &[dx, dy] : {std::pair{0, 0}, {40, 30}})
      frames.push_back(frameOf<std::uint8_t>(
          scene, {(scene.width - kWidth) / 2 + dx, (scene.height - kHeight) / 2 + dy, 0.7}, kWidth, kHeight, 3));
  }
  for (std::size_t i = 0; i < frames.size(); ++i)
    for (std::size_t j = i / 2 * 2 + 2; j < frames.size(); ++j) { // two frames each show one photograph
      std::vector<std::uint8_t> pair = frames[i];
      pair.insert(pair.end(), frames[j].begin(), frames[j].end());
      const ShiftEstimate estimate = estimateShifts(viewsOf(pair, 2, kWidth, kHeight, 3), kFraction);
      const FrameShift &moved = estimate.shifts[estimate.order[0]];
      EXPECT_FALSE(moved.trustworthy) << i << ' ' << j;
      EXPECT_FALSE(isBetterThanChance(moved.evidence)) << i << ' ' << j; // by the edges alone, whatever the reach
    }
}

TEST(Photographs, AreDoubtedWhenTheShiftLiesBeyondTheReach) {
  for (const char *name : kNames) {
    const Scene scene = photograph(name);
    if (scene.width == 0) GTEST_SKIP() << "lomiri-wallpapers-16.04 is not installed";
    const int x = (scene.width - kWidth) / 2 - 25, y = (scene.height - kHeight) / 2;
    const auto stack = stackOf<std::uint8_t>(scene, {{x, y, 1}, {x + 50, y + 3, 0.5}}, kWidth, kHeight, 3);
    const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), kFraction);
    EXPECT_FALSE(estimate.shifts[estimate.order[0]].trustworthy) << name;
  }
}

// Clipped over more than half of its area, this pattern of alike parts leads the search to a wrong place. That shows.
TEST(Photographs, AreDoubtedWhenTheSearchGoesAstray) {
  const Scene scene = photograph("analogpattern_by_Peter_Nerlich");
  if (scene.width == 0) GTEST_SKIP() << "lomiri-wallpapers-16.04 is not installed";
  const int x = (scene.width - kWidth) / 2, y = (scene.height - kHeight) / 2;
  const auto stack = stackOf<std::uint8_t>(scene, {{x, y, 1}, {x + 4, y + 9, 2}}, kWidth, kHeight, 3);
  const ShiftEstimate estimate = estimateShifts(viewsOf(stack, 2, kWidth, kHeight, 3), kFraction);
  EXPECT_NE(estimate.shifts[1].x, -4);
  EXPECT_EQ(estimate.shifts[1].doubt, ShiftDoubt::NoBetterThanChance);
}

} // namespace
} // namespace vindrel::test
