// printMat and logPointCross, character for character.
#include "VindrelRegLib.h"

#include "perspective/DebugPrints.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path &file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

// A folder of its own as working directory, removed with everything in it.
class InOwnFolder : public testing::Test {
protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "perspective-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    previous_ = fs::current_path();
    fs::current_path(folder_);
  }
  void TearDown() override {
    fs::current_path(previous_);
    fs::permissions(folder_, fs::perms::owner_all);
    fs::remove_all(folder_);
  }
  fs::path folder_, previous_;
};

using LogPointCross = InOwnFolder;

TEST(PrintMat, PrintsEveryValueInAFieldOfFourteenCharacters) {
  const double m[9] = {1, -2.5, 3.123456789, 0, 100.25, -0.00000001, 12345.678, 1e-9, -1};
  testing::internal::CaptureStdout();
  const int result = printMat(m);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "  1.00000000   -2.50000000    3.12345679  \n"
                                                    "  0.00000000  100.25000000   -0.00000001  \n"
                                                    "12345.67800000    0.00000000   -1.00000000  \n");
  EXPECT_EQ(result, '\n');
}

TEST(PrintMatrix, ReturnsEndOfFileWhereTheLastCharacterCannotBeWritten) {
  std::FILE *full = std::fopen("/dev/full", "w");
  if (full == nullptr) GTEST_SKIP() << "no /dev/full on this system";
  std::setvbuf(full, nullptr, _IONBF, 0);
  const double m[9] = {};
  EXPECT_EQ(vindrel::printMatrix(full, m), EOF);
  std::fclose(full);
}

TEST_F(LogPointCross, AppendsTheTwoStrokes) {
  EXPECT_EQ(logPointCross(2, 10.5, 20, 0.25f), 0);
  const std::string cross = "8.500000 18.000000 0.250000\n12.500000 22.000000 0.250000\n\n"
                            "12.500000 18.000000 0.250000\n8.500000 22.000000 0.250000\n\n";
  EXPECT_EQ(contentOf("c:\\tempp.log"), cross);
  EXPECT_EQ(logPointCross(2, 10.5, 20, 0.25f), 0);
  EXPECT_EQ(contentOf("c:\\tempp.log"), cross + cross);
}

TEST_F(LogPointCross, ReportsAFileThatCannotBeOpened) {
  fs::create_directory("c:\\tempp.log");
  EXPECT_EQ(logPointCross(2, 10.5, 20, 0.25f), EOF);
}

} // namespace
