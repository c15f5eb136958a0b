// vindrel straighten on whole photographs: what it writes, says and refuses.
#include "Program.h"
#include "Scene.h"

#include "vindrel/straighten.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Straighten : public testing::Test {
protected:
  void SetUp() override { save(photo(), takePhoto(1, {.width = 320, .height = 240}, 3, 8)); }

  std::string photo() const { return folder_ / "photo.png"; }
  std::string out(const std::string &name = "straight.png") const { return folder_ / "out" / name; }
  bool anythingWritten() const { return std::filesystem::exists(folder_ / "out"); }

  Outcome straighten(const std::vector<std::string> &options) {
    std::vector<std::string> arguments = {"straighten", photo()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runVindrel(arguments);
  }

  TemporaryFolder folder_;
};

// What the C++ interface makes of the photograph.
template <typename Sample>
Photo expected(const Photo &from, const StraightenOptions &options) {
  constexpr SampleDepth depth = sizeof(Sample) == 1 ? SampleDepth::U8 : SampleDepth::U16;
  const std::vector<Sample> samples(from.samples.begin(), from.samples.end());
  const Straightening s = prepareStraightening({from.width, from.height}, options).value();
  std::vector<Sample> pixels(static_cast<std::size_t>(packedSamples(s.output.size(), from.channels)));
  const auto rowOf = [&](int width) { return static_cast<std::int64_t>(width) * from.channels; };
  EXPECT_TRUE(straightenFrame(s, {samples.data(), s.frameSize, from.channels, rowOf(from.width), depth},
                              {pixels.data(), s.output.size(), from.channels, rowOf(s.output.width), depth}));
  return {s.output.width, s.output.height, from.channels, from.bits, {pixels.begin(), pixels.end()}};
}

TEST_F(Straighten, WritesThePixelsOfTheInterface) {
  ASSERT_EQ(straighten({"-o", out(), "--vertical", "-0.06", "--horizontal", "0.02", "--rotate", "-1.5"}).exitCode, 0);
  const Photo should = expected<std::uint8_t>(load(photo()), {.vertical = -0.06, .horizontal = 0.02, .degrees = -1.5});
  EXPECT_EQ(load(out()).width, should.width);
  EXPECT_EQ(load(out()).samples, should.samples);
}

TEST_F(Straighten, KeepsSixteenBitsAndAlpha) {
  save(photo(), takePhoto(4, {.width = 200, .height = 150}, 4, 16));
  ASSERT_EQ(straighten({"-o", out("deep.tif"), "--rotate", "1"}).exitCode, 0);
  const Photo result = load(out("deep.tif"));
  EXPECT_EQ(result.bits, 16);
  EXPECT_EQ(result.channels, 4);
  EXPECT_EQ(result.samples, expected<std::uint16_t>(load(photo()), {.degrees = 1}).samples);
}

TEST_F(Straighten, PinsTheSearchOfTheCropToTheFramesMiddle) {
  ASSERT_EQ(straighten({"-o", out(), "--vertical", "0.1", "--rotate", "6", "--pin-to-edge"}).exitCode, 0);
  const StraightenOptions options = {.vertical = 0.1, .degrees = 6, .pinToEdge = true};
  EXPECT_EQ(load(out()).samples, expected<std::uint8_t>(load(photo()), options).samples);
}

TEST_F(Straighten, WritesTheSameBytesOnAnyNumberOfThreads) {
  ASSERT_EQ(straighten({"-o", out("one.png"), "--vertical", "0.05", "--threads", "1"}).exitCode, 0);
  ASSERT_EQ(straighten({"-o", out("five.png"), "--vertical", "0.05", "--threads", "5"}).exitCode, 0);
  EXPECT_EQ(readBytes(out("one.png")), readBytes(out("five.png")));
}

TEST_F(Straighten, WritesTheCropAndSaysItsSize) {
  const Outcome run = straighten({"-o", out(), "--vertical", "-0.05", "--rotate", "2"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const Photo result = load(out());
  EXPECT_EQ(run.out,
            out() + "  " + std::to_string(result.width) + " x " + std::to_string(result.height) + " of 320 x 240\n");
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_LT(result.width, 320);
  EXPECT_NEAR(result.width, result.height * 320.0 / 240, 2);
}

TEST_F(Straighten, KeepsTheSizeWithoutACrop) {
  ASSERT_EQ(straighten({"-o", out(), "--rotate", "5", "--crop", "none"}).exitCode, 0);
  const Photo result = load(out());
  EXPECT_EQ(result.width, 320);
  EXPECT_EQ(result.height, 240);
  EXPECT_THAT((std::vector{result.at(0, 0, 0), result.at(0, 0, 1), result.at(0, 0, 2)}), ElementsAre(255, 255, 255));
}

TEST_F(Straighten, WritesTheFormatThatTheNameSays) {
  for (const auto &[name, format] : {std::pair("a.jpg", "jpeg"), {"b.png", "png"}, {"c.tif", "tiff"}}) {
    ASSERT_EQ(straighten({"-o", out(name), "-q"}).exitCode, 0) << name;
    EXPECT_STREQ(OIIO::ImageInput::open(out(name))->format_name(), format);
  }
}

TEST_F(Straighten, RefusesNamesThatSayNoFormat) {
  const Outcome run = straighten({"-o", out("straight.gif")});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("straight.gif: its name does not say what to write"));
  EXPECT_FALSE(anythingWritten());
}

TEST_F(Straighten, RefusesAJpegThatWouldLoseDepthOrAlpha) {
  for (const auto &[channels, bits] : {std::pair(3, 16), {4, 8}}) {
    save(photo(), takePhoto(1, {.width = 320, .height = 240}, channels, bits));
    const Outcome run = straighten({"-o", out("straight.jpg")});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("straight.jpg: JPEG holds 8 bits a sample and no alpha"));
    EXPECT_FALSE(anythingWritten());
  }
}

TEST_F(Straighten, NeverReplacesThePhotographItself) {
  const std::string before = readBytes(photo());
  EXPECT_EQ(straighten({"-o", photo(), "--overwrite"}).exitCode, 2);
  EXPECT_EQ(readBytes(photo()), before);
}

TEST_F(Straighten, ReplacesAnOutputOnlyWhenToldTo) {
  ASSERT_EQ(straighten({"-o", out(), "--rotate", "1"}).exitCode, 0);
  const std::string before = readBytes(out());
  const Outcome refused = straighten({"-o", out(), "--rotate", "3"});
  EXPECT_EQ(refused.exitCode, 5);
  EXPECT_THAT(refused.err, HasSubstr("straight.png: exists already"));
  EXPECT_EQ(readBytes(out()), before);
  EXPECT_EQ(straighten({"-o", out(), "--rotate", "3", "--overwrite"}).exitCode, 0);
  EXPECT_NE(readBytes(out()), before);
}

TEST_F(Straighten, RefusesFactorsOutOfRange) {
  for (const char *option : {"--vertical", "--horizontal"}) {
    const Outcome run = straighten({"-o", out(), option, "0.31"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr(option));
  }
  EXPECT_EQ(straighten({"-o", out(), "--rotate", "361"}).exitCode, 2);
  EXPECT_FALSE(anythingWritten());
}

// Where the first stored row and the first stored column lie in the picture as it is looked at (Exif 2.3, tag 0x0112).
struct Orientation {
  int tag;
  bool turned; // rows are the picture's columns
  bool firstRowLast, firstColumnLast;
};

TEST_F(Straighten, TakesThePhotographAsItIsLookedAt) {
  const Photo stored = takePhoto(2, {.width = 64, .height = 48}, 3, 8);
  for (const Orientation &orientation : {Orientation{1, false, false, false},
                                         {2, false, false, true},
                                         {3, false, true, true},
                                         {4, false, true, false},
                                         {5, true, false, false},
                                         {6, true, true, false},
                                         {7, true, true, true},
                                         {8, true, false, true}}) {
    OIIO::ParamValueList extra;
    extra.attribute("Orientation", orientation.tag);
    save(folder_ / "lying.tif", stored, extra);
    ASSERT_EQ(runVindrel({"straighten", folder_ / "lying.tif", "-o", out("upright.tif"), "--crop", "none",
                          "--overwrite", "-q"})
                  .exitCode,
              0);
    const Photo upright = load(out("upright.tif"));
    ASSERT_EQ(upright.width, orientation.turned ? 48 : 64);
    ASSERT_EQ(upright.height, orientation.turned ? 64 : 48);
    EXPECT_EQ(loadSpec(out("upright.tif")).get_int_attribute("Orientation", 1), 1);
    int different = 0;
    for (int row = 0; row < 48; ++row) {
      for (int column = 0; column < 64; ++column) {
        const int fromRow = orientation.firstRowLast ? 47 - row : row;
        const int fromColumn = orientation.firstColumnLast ? 63 - column : column;
        const int x = orientation.turned ? fromRow : fromColumn;
        const int y = orientation.turned ? fromColumn : fromRow;
        if (x + 1 == upright.width || y + 1 == upright.height) continue; // white: no neighbours to interpolate with
        different += upright.at(x, y, 0) != stored.at(column, row, 0);
      }
    }
    EXPECT_EQ(different, 0) << "orientation " << orientation.tag;
  }
}

} // namespace
} // namespace vindrel::test
