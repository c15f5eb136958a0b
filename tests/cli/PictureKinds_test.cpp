// Kinds of files beside plain RGB photographs: read as what they are, or refused with what they hold.
#include "ImageFile.h"
#include "PngChunks.h"
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <random>

namespace vindrel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class PictureKinds : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }

  void write(const std::string &name, const OIIO::ImageSpec &spec, const void *samples, OIIO::TypeDesc type) {
    const auto output = OIIO::ImageOutput::create(name);
    ASSERT_TRUE(output && output->open(file(name), spec)) << OIIO::geterror();
    ASSERT_TRUE(output->write_image(type, samples) && output->close()) << output->geterror();
  }

  // Both commands that read name the file and say why, and nothing is written.
  void expectRefused(const std::string &name, const std::string &why) {
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"info", file(name)}, {"straighten", file(name), "-o", file("out.tif")}}) {
      const Outcome run = runVindrel(command);
      EXPECT_EQ(run.exitCode, 4) << command[0] << " " << name << ": " << run.err;
      EXPECT_THAT(run.err, AllOf(HasSubstr(name + ": "), HasSubstr(why)));
      EXPECT_THAT(run.out, IsEmpty());
    }
    EXPECT_FALSE(std::filesystem::exists(file("out.tif")));
  }

  TemporaryFolder folder_;
};

TEST_F(PictureKinds, ATiffOfSeveralPagesIsRefusedWithTheirNumber) {
  const OIIO::ImageSpec spec(40, 30, 3, OIIO::TypeDesc::UINT8);
  const std::vector<std::uint8_t> samples(40 * 30 * 3, 90);
  const auto output = OIIO::ImageOutput::create("tiff");
  const OIIO::ImageSpec specs[3] = {spec, spec, spec};
  ASSERT_TRUE(output->open(file("pages.tif"), 3, specs));
  for (int page = 0; page < 3; ++page) {
    if (page > 0) {
      ASSERT_TRUE(output->open(file("pages.tif"), spec, OIIO::ImageOutput::AppendSubimage));
    }
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::UINT8, samples.data()));
  }
  ASSERT_TRUE(output->close());
  expectRefused("pages.tif", "holds 3 pictures");
}

TEST_F(PictureKinds, ACmykJpegIsRefused) {
  std::FILE *stream = std::fopen(file("cmyk.jpg").c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  jpeg_stdio_dest(&encoder, stream);
  encoder.image_width = 40;
  encoder.image_height = 30;
  encoder.input_components = 4;
  encoder.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&encoder);
  jpeg_start_compress(&encoder, TRUE);
  std::vector<JSAMPLE> row(40 * 4, 100);
  JSAMPROW rows[1] = {row.data()};
  while (encoder.next_scanline < encoder.image_height)
    jpeg_write_scanlines(&encoder, rows, 1);
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  std::fclose(stream);
  expectRefused("cmyk.jpg", "holds CMYK colours; convert it to RGB");
}

TEST_F(PictureKinds, ACmykTiffIsRefused) {
  OIIO::ImageSpec spec(40, 30, 4, OIIO::TypeDesc::UINT8);
  spec.channelnames = {"C", "M", "Y", "K"};
  spec.attribute("tiff:ColorSpace", "CMYK");
  spec.attribute("oiio:ColorSpace", "CMYK");
  write("cmyk.tif", spec, std::vector<std::uint8_t>(40 * 30 * 4, 100).data(), OIIO::TypeDesc::UINT8);
  expectRefused("cmyk.tif", "CMYK");
}

TEST_F(PictureKinds, SamplesOfThirtyTwoBitNumbersAreRefused) {
  for (const auto &[name, type] : {std::pair{"uint", OIIO::TypeDesc::UINT32}, std::pair{"int", OIIO::TypeDesc::INT32},
                                   std::pair{"double", OIIO::TypeDesc::DOUBLE}}) {
    const std::string tiff = std::string(name) + ".tif";
    write(tiff, OIIO::ImageSpec(40, 30, 3, type), std::vector<double>(40 * 30 * 3).data(), type);
    expectRefused(tiff, std::string("holds samples of type ") + name);
  }
}

TEST_F(PictureKinds, APalettePngIsReadInItsColours) {
  // 8 x 2 pixels of one bit each in two colours, packed by hand: a zlib stream of one block that is not compressed.
  const std::string rows("\0\xaa\0\x0f", 4); // each behind its filter, none
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (const char byte : rows) {
    a = (a + static_cast<unsigned char>(byte)) % 65521;
    b = (b + a) % 65521;
  }
  std::string stream = std::string("\x78\x01\x01\x04\x00\xfb\xff", 7) + rows;
  for (const std::uint32_t half : {b, a})
    stream += {static_cast<char>(half >> 8), static_cast<char>(half & 0xffu)};
  writeBytes(file("palette.png"), "\x89PNG\r\n\x1a\n" +
                                      cli::pngChunk("IHDR", std::string("\0\0\0\x08\0\0\0\x02\x01\x03\0\0\0", 13)) +
                                      cli::pngChunk("PLTE", std::string("\xff\x80\x00\x00\x20\xff", 6)) +
                                      cli::pngChunk("IDAT", stream) + cli::pngChunk("IEND", ""));
  const cli::ImageHeader header = cli::readHeader(file("palette.png"));
  ASSERT_EQ(header.channels, 3);
  ASSERT_EQ(header.size, (Size{8, 2}));
  const cli::Pixels pixels = cli::readPixels(header);
  const auto *row = pixels.view().row<std::uint8_t>(0);
  const std::uint8_t colours[2][3] = {{255, 128, 0}, {0, 32, 255}};
  for (int i = 0; i < 16; ++i) {
    const int index = i < 8 ? 1 - i % 2 : (i - 8) / 4;
    for (int c = 0; c < 3; ++c)
      EXPECT_EQ(row[i * 3 + c], colours[index][c]) << i;
  }
}

TEST_F(PictureKinds, AOneBitTiffIsReadAsBlackAndWhite) {
  OIIO::ImageSpec spec(40, 30, 1, OIIO::TypeDesc::UINT8);
  spec.attribute("oiio:BitsPerSample", 1);
  std::vector<std::uint8_t> samples;
  for (int i = 0; i < 40 * 30; ++i)
    samples.push_back(i % 3 == 0 ? 255 : 0);
  write("one.tif", spec, samples.data(), OIIO::TypeDesc::UINT8);
  ASSERT_EQ(loadSpec(file("one.tif")).get_int_attribute("oiio:BitsPerSample"), 1);
  const cli::Pixels pixels = cli::readPixels(cli::readHeader(file("one.tif")));
  ASSERT_EQ(pixels.byteCount(), samples.size());
  EXPECT_TRUE(std::equal(samples.begin(), samples.end(), pixels.view().row<std::uint8_t>(0)));
}

TEST_F(PictureKinds, OpenExrWithOtherChannelsThanAPicturesIsRefused) {
  OIIO::ImageSpec spec(40, 30, 4, OIIO::TypeDesc::FLOAT);
  spec.channelnames = {"R", "G", "B", "Z"};
  spec.alpha_channel = -1;
  write("depth.exr", spec, std::vector<float>(40 * 30 * 4).data(), OIIO::TypeDesc::FLOAT);
  expectRefused("depth.exr", "holds the channels R, G, B, Z");
}

TEST_F(PictureKinds, DamagedFilesNeverCrashTheProgram) {
  // Bytes turned at random, in the head above all: whatever comes of it is a picture or a refusal.
  std::mt19937 random(7);
  for (const char *extension : {"jpg", "png", "tif"}) {
    const std::string whole = file(std::string("whole.") + extension);
    save(whole, takePhoto(1, {.width = 60, .height = 40}, 3, 8));
    const std::string bytes = readBytes(whole);
    for (int round = 0; round < 12; ++round) {
      std::string damaged = bytes;
      for (int i = 0; i < 4; ++i) {
        const std::size_t within = i < 2 ? std::min<std::size_t>(bytes.size(), 200) : bytes.size();
        damaged[random() % within] = static_cast<char>(random());
      }
      writeBytes(file(std::string("damaged.") + extension), damaged);
      const Outcome run = runVindrel({"straighten", file(std::string("damaged.") + extension), "-o",
                                      file(std::string("out.") + extension), "--overwrite"},
                                     withoutLeakCheck());
      EXPECT_TRUE(run.exitCode == 0 || run.exitCode == 4) << extension << round << ": " << run.exitCode << run.err;
      if (run.exitCode == 4) {
        EXPECT_THAT(run.err, HasSubstr(std::string("damaged.") + extension + ": "));
      }
    }
  }
}

} // namespace
} // namespace vindrel::test
