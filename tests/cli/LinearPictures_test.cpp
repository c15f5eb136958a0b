// Scene-linear pictures in OpenEXR and float TIFF: read and written value by value, looked at by their proxy, and
// resampled in float.
#include "ExifTool.h"
#include "Failure.h"
#include "Program.h"
#include "Proxy.h"
#include "Scene.h"
#include "WholePicture.h"
#include "vindrel/apply.hpp"
#include "vindrel/stack.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>

namespace vindrel::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

// Values that all kinds of float samples hold exactly, and those that only floats have at all.
std::vector<float> oddSamples(Size size, int channels) {
  const float odd[] = {0.0f,
                       -0.5f,
                       1.0f,
                       1000.0f,
                       0.25f,
                       65504.0f,
                       std::numeric_limits<float>::infinity(),
                       -2048.0f,
                       3.5f,
                       0.125f,
                       -0.0f,
                       std::numeric_limits<float>::quiet_NaN()};
  std::vector<float> samples;
  for (std::int64_t i = 0; i < packedSamples(size, channels); ++i)
    samples.push_back(odd[static_cast<std::size_t>(i * 7 % 12)]);
  return samples;
}

void write(const fs::path &path, const OIIO::ImageSpec &spec, const std::vector<float> &samples) {
  const auto output = OIIO::ImageOutput::create(path.string());
  if (!output || !output->open(path.string(), spec) || !output->write_image(OIIO::TypeDesc::FLOAT, samples.data()) ||
      !output->close()) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

std::vector<float> read(const fs::path &path) {
  const auto input = OIIO::ImageInput::open(path.string());
  if (!input) throw std::runtime_error("cannot read " + path.string());
  std::vector<float> samples(static_cast<std::size_t>(input->spec().image_pixels()) *
                             static_cast<std::size_t>(input->spec().nchannels));
  if (!input->read_image(0, 0, 0, input->spec().nchannels, OIIO::TypeDesc::FLOAT, samples.data())) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return samples;
}

bool sameBits(const std::vector<float> &a, const float *b) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::isnan(a[i]) ? !std::isnan(b[i]) : std::memcmp(&a[i], &b[i], sizeof b[i]) != 0) return false;
  }
  return true;
}

void rewrite(const cli::ImageHeader &photo, const ImageView &picture, const fs::path &to) {
  cli::OutputFile file(to, true);
  EXPECT_THAT(writeWhole(file, picture, photo, cli::formatByName(to)), IsEmpty());
  file.finish();
  file.publish();
}

struct Kind {
  const char *name;
  OIIO::TypeDesc::BASETYPE type;
  int tile;
};

class LinearPictures : public testing::TestWithParam<Kind> {
protected:
  OIIO::ImageSpec spec(Size size, int channels) const {
    OIIO::ImageSpec made(size.width, size.height, channels, OIIO::TypeDesc(GetParam().type));
    made.tile_width = made.tile_height = GetParam().tile;
    if (channels == 1) made.channelnames = {"Y"};
    if (channels == 2) made.channelnames = {"Y", "A"};
    return made;
  }

  TemporaryFolder folder_;
};

TEST_P(LinearPictures, KeepEveryValueThroughReadingAndWriting) {
  const Size size = {150, 70};
  const std::string extension = fs::path(GetParam().name).extension().string();
  for (int channels = 1; channels <= 4; ++channels) {
    const std::vector<float> samples = oddSamples(size, channels);
    write(folder_ / GetParam().name, spec(size, channels), samples);
    const cli::ImageHeader header = cli::readHeader(folder_ / GetParam().name, cli::Accept::FloatToo);
    EXPECT_EQ(header.depth, SampleDepth::F32);
    EXPECT_EQ(header.channels, channels);
    ASSERT_EQ(header.size, size);
    const cli::Pixels pixels = cli::readPixels(header);
    EXPECT_TRUE(sameBits(samples, pixels.view().row<float>(0))) << channels;

    rewrite(header, pixels.view(), folder_ / ("out" + extension));
    EXPECT_TRUE(sameBits(samples, read(folder_ / ("out" + extension)).data())) << channels;
    const OIIO::ImageSpec written = loadSpec(folder_ / ("out" + extension));
    EXPECT_EQ(written.nchannels, channels);
    EXPECT_EQ(written.format, extension == ".exr" ? OIIO::TypeDesc(GetParam().type) : OIIO::TypeDesc::FLOAT);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, LinearPictures,
                         testing::Values(Kind{"float.exr", OIIO::TypeDesc::FLOAT, 0},
                                         Kind{"half.exr", OIIO::TypeDesc::HALF, 0},
                                         Kind{"tiles.exr", OIIO::TypeDesc::HALF, 32},
                                         Kind{"float.tif", OIIO::TypeDesc::FLOAT, 0},
                                         Kind{"tiles.tif", OIIO::TypeDesc::FLOAT, 32}),
                         [](const auto &kind) {
                           std::string name = kind.param.name;
                           name[name.find('.')] = '_';
                           return name;
                         });

class LinearFiles : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }
  TemporaryFolder folder_;
};

TEST_F(LinearFiles, KeepTheirAttributesInOpenExr) {
  OIIO::ImageSpec spec(60, 40, 3, OIIO::TypeDesc::HALF);
  spec.attribute("ExposureTime", 0.25f);
  spec.attribute("FNumber", 4.0f);
  spec.attribute("Exif:ISOSpeedRatings", 100);
  spec.attribute("Make", "Nobody");
  spec.attribute("production", "a series");
  const float primaries[8] = {0.64f, 0.33f, 0.3f, 0.6f, 0.15f, 0.06f, 0.3127f, 0.329f};
  spec.attribute("chromaticities", OIIO::TypeDesc(OIIO::TypeDesc::FLOAT, 8), primaries);
  spec.attribute("compression", "dwaa"); // loses detail
  write(file("a.exr"), spec, std::vector<float>(60 * 40 * 3, 0.5f));
  const cli::ImageHeader header = cli::readHeader(file("a.exr"), cli::Accept::FloatToo);
  rewrite(header, cli::readPixels(header).view(), file("out.exr"));
  const OIIO::ImageSpec before = loadSpec(file("a.exr"));
  const OIIO::ImageSpec after = loadSpec(file("out.exr"));
  for (const char *name : {"ExposureTime", "FNumber", "Make", "production", "chromaticities"}) {
    const OIIO::ParamValue *kept = after.find_attribute(name);
    ASSERT_NE(kept, nullptr) << name;
    EXPECT_EQ(kept->get_string(), before.find_attribute(name)->get_string()) << name;
  }
  EXPECT_EQ(after.get_string_attribute("compression"), "zip");

  const Outcome run = runVindrel({"info", "--json", file("a.exr")});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const nlohmann::json entry = nlohmann::json::parse(run.out).at("files").at(0);
  EXPECT_EQ(entry.at("format"), "openexr");
  EXPECT_EQ(entry.at("bits"), 16);
  EXPECT_EQ(entry.at("float"), true);
  EXPECT_EQ(entry.at("exposureTime"), 0.25);
  EXPECT_EQ(entry.at("fNumber"), 4.0);
}

TEST_F(LinearFiles, InTiffKeepMetadataAndAreTurnedUpright) {
  std::vector<float> samples;
  for (int i = 0; i < 60 * 40 * 3; ++i)
    samples.push_back(static_cast<float>(i) / 100);
  write(file("a.tif"), OIIO::ImageSpec(60, 40, 3, OIIO::TypeDesc::FLOAT), samples);
  exifTool({"-q", "-n", "-overwrite_original", "-IFD0:Orientation=8", "-IFD0:Artist=A", "-GPS:GPSLatitude=1.5",
            file("a.tif")});
  const cli::ImageHeader header = cli::readHeader(file("a.tif"), cli::Accept::FloatToo);
  ASSERT_EQ(header.size, (Size{40, 60}));
  const cli::Pixels pixels = cli::readPixels(header);
  // Turned anticlockwise, the stored picture's top right comes to the top left.
  EXPECT_EQ(pixels.view().row<float>(0)[0], samples[59 * 3]);
  EXPECT_EQ(pixels.view().row<float>(59)[0], samples[0]);
  rewrite(header, pixels.view(), file("out.tif"));
  const nlohmann::json tags = tagsOf(file("out.tif"));
  EXPECT_EQ(tags.value("IFD0:Artist", ""), "A");
  EXPECT_EQ(tags.value("GPS:GPSLatitude", 0.0), 1.5);
  EXPECT_EQ(tags.value("IFD0:Orientation", 0), 1);
  EXPECT_EQ(tags.value("IFD0:SampleFormat", nlohmann::json()).dump().find('1'), std::string::npos) << "not integers";
  EXPECT_EQ(read(file("out.tif"))[0], samples[59 * 3]);
}

TEST_F(LinearFiles, AreRefusedWhereOnlyWholeNumbersAreTaken) {
  write(file("a.exr"), OIIO::ImageSpec(60, 40, 3, OIIO::TypeDesc::HALF), std::vector<float>(60 * 40 * 3, 0.5f));
  EXPECT_THROW(cli::readHeader(file("a.exr")), cli::Failure);
  EXPECT_NO_THROW(cli::readHeader(file("a.exr"), cli::Accept::FloatToo));
}

TEST_F(LinearFiles, GoIntoNoFormatThatCannotHoldThem) {
  write(file("a.exr"), OIIO::ImageSpec(60, 40, 3, OIIO::TypeDesc::HALF), std::vector<float>(60 * 40 * 3, 0.5f));
  const cli::ImageHeader linear = cli::readHeader(file("a.exr"), cli::Accept::FloatToo);
  save(file("b.png"), takePhoto(1, {.width = 60, .height = 40}, 3, 8));
  const cli::ImageHeader shown = cli::readHeader(file("b.png"));
  EXPECT_THAT(cli::whyNotFormat(linear, "jpeg"), HasSubstr(".exr"));
  EXPECT_THAT(cli::whyNotFormat(linear, "png"), HasSubstr(".exr"));
  EXPECT_EQ(cli::whyNotFormat(linear, "tiff"), "");
  EXPECT_EQ(cli::whyNotFormat(linear, "openexr"), "");
  EXPECT_THAT(cli::whyNotFormat(shown, "openexr"), HasSubstr(".png"));
}

TEST_F(LinearFiles, CutShortAreRefused) {
  for (const char *extension : {"exr", "tif"}) {
    const std::string whole = file(std::string("whole.") + extension);
    const std::string cut = file(std::string("cut.") + extension);
    write(whole, OIIO::ImageSpec(200, 150, 3, OIIO::TypeDesc::FLOAT), oddSamples({200, 150}, 3));
    const std::string bytes = readBytes(whole);
    for (const double share : {0.01, 0.3, 0.9}) {
      writeBytes(cut, bytes.substr(0, static_cast<std::size_t>(share * static_cast<double>(bytes.size()))));
      try {
        cli::readPixels(cli::readHeader(cut, cli::Accept::FloatToo));
        ADD_FAILURE() << extension << " was read as if it were whole, cut at " << share;
      } catch (const cli::Failure &failure) {
        EXPECT_EQ(failure.code, cli::ExitCode::Unreadable);
        EXPECT_THAT(failure.what(), HasSubstr(std::string("cut.") + extension));
      }
    }
  }
}

// A bracket as a raw developer writes it: light in one scale, or frames each in their own, moved against each other.
TEST_F(LinearFiles, OfAStackAreAlignedByTheirProxiesAndKeepTheirValues) {
  struct Frame {
    int left;
    int top;
    double light;
  };
  const Frame frames[] = {{10, 6, 40.0}, {4, 12, 5.0}, {17, 9, 0.6}};
  std::vector<cli::ImageHeader> headers;
  for (const Frame &frame : frames) {
    const Photo photo = takePhoto(11, {.width = 640, .height = 480, .left = frame.left, .top = frame.top}, 3, 16);
    std::vector<float> samples;
    for (const std::uint16_t sample : photo.samples)
      samples.push_back(static_cast<float>(std::pow(sample / 65535.0, 2.2) * frame.light));
    const std::string name = file(std::to_string(headers.size()) + ".exr");
    write(name, OIIO::ImageSpec(640, 480, 3, OIIO::TypeDesc::FLOAT), samples);
    headers.push_back(cli::readHeader(name, cli::Accept::FloatToo));
  }
  std::vector<cli::Pixels> proxies;
  std::vector<ImageView> views;
  for (const cli::ImageHeader &header : headers)
    proxies.push_back(cli::readForSearch(header));
  for (const cli::Pixels &proxy : proxies)
    views.push_back(proxy.view());
  const Result<StackEstimate> stack = estimateStack(views, {.model = Model::Affine, .polish = true});
  ASSERT_TRUE(stack) << stack.error().message;
  EXPECT_EQ(stack->reference, 0) << "the brightest in light is the brightest to look at";

  std::vector<cli::Pixels> aligned;
  for (std::size_t i = 0; i < headers.size(); ++i) {
    if (i > 0) {
      EXPECT_EQ(stack->frames[i].verdict, Verdict::Found) << stack->frames[i].reason;
    }
    cli::Pixels out(stack->common.size(), 3, SampleDepth::F32);
    const cli::Pixels samples = cli::readPixels(headers[i]);
    ASSERT_TRUE(warpFrame(*stack, static_cast<int>(i), samples.view(), out.mutableView()));
    rewrite(headers[i], out.view(), file(std::to_string(i) + "out.exr"));
    aligned.push_back(std::move(out));
  }
  // In the same place, the same light, each on its own scale.
  const std::vector<float> first = read(file("0out.exr"));
  for (std::size_t i = 1; i < headers.size(); ++i) {
    const std::vector<float> other = read(file(std::to_string(i) + "out.exr"));
    ASSERT_EQ(other.size(), first.size());
    std::size_t close = 0;
    for (std::size_t s = 0; s < first.size(); ++s) {
      const double a = static_cast<double>(first[s]) / frames[0].light;
      const double b = static_cast<double>(other[s]) / frames[i].light;
      close += std::abs(a - b) <= 0.02 + 0.02 * a ? 1 : 0;
    }
    EXPECT_GT(static_cast<double>(close) / static_cast<double>(first.size()), 0.93) << i;
  }
}

struct LinearStack {
  const char *extension;
  OIIO::TypeDesc::BASETYPE type;
};

class AlignedLinear : public LinearFiles, public testing::WithParamInterface<LinearStack> {};

// Copies of a whole-pixel shift hold the very samples; the search sees a display picture of frames four stops apart.
TEST_P(AlignedLinear, StacksKeepTheLightOfEverySample) {
  const auto [extension, type] = GetParam();
  std::vector<std::string> command = {"align"};
  std::vector<std::vector<float>> sources;
  for (const auto &[left, top, light] : {std::tuple{10, 6, 8.0}, {4, 12, 2.0}, {17, 9, 0.5}}) {
    const Photo photo = takePhoto(11, {.width = 640, .height = 480, .left = left, .top = top}, 3, 16);
    std::vector<float> samples;
    for (const std::uint16_t sample : photo.samples)
      samples.push_back(static_cast<float>(std::pow(sample / 65535.0, 2.2) * light));
    command.push_back(file(std::to_string(sources.size()) + extension));
    write(command.back(), OIIO::ImageSpec(640, 480, 3, type), samples);
    sources.push_back(read(command.back()));
  }
  command.insert(command.end(), {"-o", file("out"), "--model", "shift"});
  const Outcome run = runVindrel(command);
  ASSERT_EQ(run.exitCode, 0) << run.err;

  // Of the frames at x = 4, 10, 17 all show 627 columns, of those at y = 6, 9, 12 all show 474 rows.
  const int lefts[] = {17 - 10, 17 - 4, 0};
  const int tops[] = {12 - 6, 0, 12 - 9};
  for (std::size_t i = 0; i < sources.size(); ++i) {
    const fs::path path = fs::path(file("out")) / (std::to_string(i) + extension);
    const OIIO::ImageSpec spec = loadSpec(path);
    ASSERT_EQ((Size{spec.width, spec.height}), (Size{627, 474}));
    EXPECT_EQ(spec.format, OIIO::TypeDesc(type));
    const std::vector<float> aligned = read(path);
    for (const int y : {0, 200, 473}) {
      const float *row = aligned.data() + static_cast<std::ptrdiff_t>(y) * 627 * 3;
      const float *source = sources[i].data() + (static_cast<std::ptrdiff_t>(y + tops[i]) * 640 + lefts[i]) * 3;
      EXPECT_TRUE(std::equal(row, row + 627 * 3, source)) << i << ", row " << y;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Files, AlignedLinear,
                         testing::Values(LinearStack{".exr", OIIO::TypeDesc::FLOAT},
                                         LinearStack{".exr", OIIO::TypeDesc::HALF},
                                         LinearStack{".tif", OIIO::TypeDesc::FLOAT}),
                         [](const auto &test) {
                           return std::string(test.param.extension + 1) + OIIO::TypeDesc(test.param.type).c_str();
                         });

} // namespace
} // namespace vindrel::test
