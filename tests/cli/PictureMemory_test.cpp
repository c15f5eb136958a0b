// What reading and writing a large picture takes beside the picture itself.
#include "Program.h"
#include "Sanitizers.h"
#include "Scene.h"
#include "WarpedOutputs.h"
#include "WriteImage.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

namespace vindrel::test {
namespace {

// Largest memory in use since the last reset, bytes.
double peak() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    double kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

// Memory in use now becomes the peak.
bool resetPeak() {
  std::ofstream file("/proc/self/clear_refs");
  file << "5" << std::flush;
  return static_cast<bool>(file);
}

class PictureMemory : public testing::Test {
protected:
  void SetUp() override {
    if (kAddressSanitizer || kThreadSanitizer) GTEST_SKIP() << "sanitizers need memory of their own";
    if (!resetPeak()) GTEST_SKIP() << "this kernel keeps no peak that can be reset";
    OIIO::ImageSpec spec(kWidth, kHeight, 3, OIIO::TypeDesc::UINT16);
    spec.attribute("Orientation", 6);
    spec.attribute("Artist", "A. Photographer");
    spec.attribute("compression", "none");
    const std::vector<std::uint16_t> samples(static_cast<std::size_t>(kWidth) * kHeight * 3, 1000);
    const auto output = OIIO::ImageOutput::create("tiff");
    ASSERT_TRUE(output && output->open(file("a.tif"), spec));
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT16, samples.data()) && output->close());
  }

  std::string file(const std::string &name) const { return folder_ / name; }

  // What the call takes at most beyond what is in use before it, in pictures.
  template <class Call>
  double picturesTaken(const Call &call) {
    resetPeak();
    const double before = peak();
    call();
    return (peak() - before) / (6.0 * kWidth * kHeight);
  }

  static constexpr int kWidth = 4000;
  static constexpr int kHeight = 2500; // 60 MB
  TemporaryFolder folder_;
};

TEST_F(PictureMemory, APictureIsTurnedWithoutASecondOne) {
  const cli::ImageHeader header = cli::readHeader(file("a.tif"));
  ASSERT_EQ(header.orientation, 6);
  std::optional<cli::Pixels> pixels;
  EXPECT_LT(picturesTaken([&] { pixels.emplace(cli::readPixels(header)); }), 1.4);
}

TEST_F(PictureMemory, PixelsAreWrittenFromWhereTheyAreAndMetadataTakesTheFileTwice) {
  const cli::ImageHeader header = cli::readHeader(file("a.tif"));
  std::optional<cli::Pixels> pixels = cli::readPixels(header);
  cli::OutputFile out(file("out.tif"), false);
  EXPECT_LT(picturesTaken([&] { cli::writePixels(out, pixels->view(), header, "tiff"); }), 0.5);
  pixels.reset();
  EXPECT_LT(picturesTaken([&] { EXPECT_TRUE(cli::writeMetadata(out, header.size, header, "tiff").empty()); }), 2.4);
  out.finish();
  out.publish();
  EXPECT_EQ(loadSpec(file("out.tif")).get_string_attribute("Artist"), "A. Photographer");
}

TEST_F(PictureMemory, NoPictureIsHeldWhileMetadataIsWritten) {
  // Two photographs at hand and one output are three pictures, which metadata's copies of the file do not add to.
  const std::vector<cli::ImageHeader> headers = {cli::readHeader(file("a.tif")), cli::readHeader(file("a.tif"))};
  const Size size = headers[0].size;
  StackEstimate stack;
  stack.frameSize = size;
  stack.frames.resize(2);
  const std::vector<cli::Output> outputs = {{file("one.tif"), "tiff", 0}, {file("two.tif"), "tiff", 1}};
  cli::FrameReader reader(headers);
  cli::WarpedOutputs written;
  EXPECT_LT(picturesTaken([&] {
              for (const int index : {0, 1})
                (void)reader.frame(index);
              written.write(reader, stack, outputs, {.part = Rectangle{0, 0, size.width, size.height}}, [](double) {});
            }),
            3.4);
  EXPECT_FALSE(reader.holds(1));
  written.publish();
  EXPECT_EQ(loadSpec(file("two.tif")).get_string_attribute("Artist"), "A. Photographer");
}

} // namespace
} // namespace vindrel::test
