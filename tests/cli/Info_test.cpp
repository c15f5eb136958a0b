// vindrel info: the table, the document, and files that cannot be read.
#include "ExifTool.h"
#include "Program.h"
#include "Scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Info : public testing::Test {
protected:
  std::string file(const std::string &name) const { return folder_ / name; }

  std::string described(const std::string &name, int orientation) {
    save(file(name), takePhoto(1, {.width = 96, .height = 64}, 3, 8));
    describe(file(name), orientation);
    return file(name);
  }

  TemporaryFolder folder_;
};

TEST_F(Info, PrintsALineAFileUnderTheHeads) {
  const std::string a = described("a.jpg", 6);
  save(file("b.png"), takePhoto(1, {.width = 50, .height = 40}, 2, 16));
  const Outcome run = runVindrel({"info", a, file("b.png")});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.err, IsEmpty());
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 3);
  EXPECT_THAT(run.out, testing::StartsWith("FILE "));
  const std::string second = run.out.substr(run.out.find('\n') + 1);
  EXPECT_THAT(second, AllOf(HasSubstr("a.jpg  jpeg    64 x 96  RGB         8 bit    1/125 s  f/8       200  -2 EV"),
                            HasSubstr("2024-05-01T12:30:00+02:00  turned (6)  unnamed profile  yes\n")));
  EXPECT_THAT(second, HasSubstr("b.png  png     50 x 40  grey+alpha  16 bit   -        -         -    -"));
}

TEST_F(Info, PrintsAJsonDocumentAndNothingElse) {
  const std::string a = described("a.tif", 3);
  const Outcome run = runVindrel({"info", "--json", a});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  const json document = json::parse(run.out);
  EXPECT_EQ(document.at("format"), "vindrel-info");
  EXPECT_EQ(document.at("version"), 1);
  ASSERT_EQ(document.at("files").size(), 1u);
  const json should = {{"file", a},
                       {"format", "tiff"},
                       {"width", 96},
                       {"height", 64},
                       {"channels", 3},
                       {"alpha", false},
                       {"bits", 8},
                       {"float", false},
                       {"exposureTime", 0.008},
                       {"fNumber", 8.0},
                       {"iso", 200.0},
                       {"exposureBias", -2.0},
                       {"date", "2024-05-01T12:30:00+02:00"},
                       {"orientation", 3},
                       {"colours", "unnamed profile"},
                       {"gps", true}};
  EXPECT_EQ(document.at("files").at(0), should);
}

TEST_F(Info, SaysNullForWhatAFileDoesNotTell) {
  save(file("a.png"), takePhoto(1, {.width = 50, .height = 40}, 1, 8));
  const json entry = json::parse(runVindrel({"info", "--json", file("a.png")}).out).at("files").at(0);
  for (const char *key : {"exposureTime", "fNumber", "iso", "exposureBias", "date", "colours"})
    EXPECT_TRUE(entry.at(key).is_null()) << key;
  EXPECT_EQ(entry.at("gps"), false);
  EXPECT_EQ(entry.at("orientation"), 1);
}

TEST_F(Info, NamesTheProfileOrTheColourSpaceOfExif) {
  save(file("a.jpg"), takePhoto(1, {.width = 50, .height = 40}, 3, 8));
  exifTool({"-q", "-n", "-overwrite_original", "-ExifIFD:ColorSpace=1", file("a.jpg")});
  EXPECT_THAT(runVindrel({"info", file("a.jpg")}).out, HasSubstr("  sRGB  "));
  exifTool(
      {"-q", "-n", "-overwrite_original", "-ExifIFD:ColorSpace=65535", "-InteropIFD:InteropIndex=R03", file("a.jpg")});
  EXPECT_THAT(runVindrel({"info", file("a.jpg")}).out, HasSubstr("  Adobe RGB  "));
}

TEST_F(Info, PrintsTheOthersWhenAFileCannotBeRead) {
  save(file("a.png"), takePhoto(1, {.width = 50, .height = 40}, 3, 8));
  writeBytes(file("b.jpg"), "");
  writeBytes(file("c.jpg"), "shopping: bread, milk\n");
  const std::vector<std::string> files = {file("none.png"), file("b.jpg"), file("a.png"), file("c.jpg")};
  std::vector<std::string> arguments = {"info"};
  arguments.insert(arguments.end(), files.begin(), files.end());
  const Outcome run = runVindrel(arguments);
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(run.out, AllOf(HasSubstr("a.png"), Not(HasSubstr("c.jpg"))));
  EXPECT_THAT(run.err, AllOf(HasSubstr("none.png: no such file"), HasSubstr("b.jpg: is empty"), HasSubstr("c.jpg: ")));

  arguments.push_back("--json");
  const Outcome asJson = runVindrel(arguments);
  EXPECT_EQ(asJson.exitCode, 4);
  const json entries = json::parse(asJson.out).at("files");
  ASSERT_EQ(entries.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(entries.at(i).at("file"), files[i]);
    EXPECT_EQ(entries.at(i).contains("error"), i != 2);
  }
  EXPECT_THAT(entries.at(1).at("error").get<std::string>(), HasSubstr("b.jpg: is empty"));
}

TEST_F(Info, TakesNamesThatAreNoUtf8) {
  const std::string name = file("caf\xE9.png");
  save(name, takePhoto(1, {.width = 50, .height = 40}, 3, 8));
  const Outcome run = runVindrel({"info", "--json", name});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(json::parse(run.out).at("files").at(0).at("file").get<std::string>(), HasSubstr("caf\xEF\xBF\xBD.png"));
}

TEST_F(Info, NeedsAFile) {
  const Outcome run = runVindrel({"info"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("vindrel info --help"));
}

} // namespace
} // namespace vindrel::test
