// Files that appear whole or not at all, and folders that go again when the run fails.
#include "Failure.h"
#include "OutputFile.h"
#include "Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace vindrel::test {
namespace {

using cli::ExitCode;
using cli::Failure;
using cli::OutputFile;
using cli::OutputFolder;
using testing::ElementsAre;
using testing::IsEmpty;

ExitCode codeOf(const std::function<void()> &action) {
  try {
    action();
  } catch (const Failure &failure) {
    return failure.code;
  }
  return ExitCode::Done;
}

TEST(OutputFile, HasItsNameOnlyOncePublished) {
  const TemporaryFolder folder;
  OutputFile file(folder / "a.txt", false);
  file.append("one", 3);
  file.append("two", 3);
  file.finish();
  EXPECT_FALSE(std::filesystem::exists(folder / "a.txt"));
  file.publish();
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("a.txt"));
  EXPECT_EQ(readBytes(folder / "a.txt"), "onetwo");
}

TEST(OutputFile, LeavesNothingWhenItIsNotPublished) {
  const TemporaryFolder folder;
  {
    OutputFile file(folder / "a.txt", false);
    file.append("one", 3);
  }
  EXPECT_THAT(namesIn(folder.path()), IsEmpty());
}

TEST(OutputFile, MovesWithoutLosingWhatItWrote) {
  const TemporaryFolder folder;
  OutputFile file(folder / "a.txt", false);
  file.append("one", 3);
  OutputFile other(std::move(file));
  other.finish();
  other.publish();
  EXPECT_EQ(readBytes(folder / "a.txt"), "one");
}

TEST(OutputFile, DoesNotReplaceAFileThatAppearedWhileItWasWritten) {
  const TemporaryFolder folder;
  {
    OutputFile file(folder / "a.txt", false);
    file.append("mine", 4);
    file.finish();
    writeBytes(folder / "a.txt", "theirs");
    EXPECT_EQ(codeOf([&] { file.publish(); }), ExitCode::WouldOverwrite);
  }
  EXPECT_EQ(readBytes(folder / "a.txt"), "theirs");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("a.txt"));
}

TEST(OutputFile, ReplacesTheLinkAndNotTheFileItLeadsTo) {
  const TemporaryFolder folder;
  writeBytes(folder / "original.txt", "original");
  std::filesystem::create_symlink(folder / "original.txt", folder / "a.txt");
  OutputFile file(folder / "a.txt", true);
  file.append("new", 3);
  file.finish();
  file.publish();
  EXPECT_EQ(readBytes(folder / "a.txt"), "new");
  EXPECT_EQ(readBytes(folder / "original.txt"), "original");
}

TEST(OutputFile, GetsThePermissionsThatTheUserGivesNewFiles) {
  const TemporaryFolder folder;
  const mode_t mask = umask(027);
  OutputFile file(folder / "a.txt", false);
  file.finish();
  file.publish();
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat((folder / "a.txt").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(OutputFile, TakesTheLongestNameThatTheFolderTakes) {
  const TemporaryFolder folder;
  const std::string name = std::string(251, 'n') + ".txt";
  OutputFile file(folder / name, false);
  file.finish();
  file.publish();
  EXPECT_THAT(namesIn(folder.path()), ElementsAre(name));
}

TEST(CheckTarget, RefusesAFileALinkToNowhereAndAFolder) {
  const TemporaryFolder folder;
  writeBytes(folder / "file", "x");
  std::filesystem::create_symlink(folder / "nowhere", folder / "link");
  std::filesystem::create_directory(folder / "folder");
  EXPECT_EQ(codeOf([&] { cli::checkTarget(folder / "new", false); }), ExitCode::Done);
  for (const char *name : {"file", "link"}) {
    EXPECT_EQ(codeOf([&] { cli::checkTarget(folder / name, false); }), ExitCode::WouldOverwrite) << name;
    EXPECT_EQ(codeOf([&] { cli::checkTarget(folder / name, true); }), ExitCode::Done) << name;
  }
  EXPECT_EQ(codeOf([&] { cli::checkTarget(folder / "folder", true); }), ExitCode::WouldOverwrite);
}

TEST(CheckTarget, NeverLetsADeviceOrAPipeBeReplaced) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", folder / "null");
  for (const char *name : {"pipe", "null"})
    EXPECT_EQ(codeOf([&] { cli::checkTarget(folder / name, true); }), ExitCode::WouldOverwrite) << name;
}

TEST(OutputFolder, IsMadeWithItsParentsAndKept) {
  const TemporaryFolder folder;
  {
    OutputFolder made(folder.path() / "a" / "b" / "");
    made.keep();
  }
  EXPECT_TRUE(std::filesystem::is_directory(folder.path() / "a" / "b"));
}

TEST(OutputFolder, GoesAgainWithTheParentsItMade) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "a");
  { const OutputFolder made(folder.path() / "a" / "b" / "c"); }
  EXPECT_THAT(namesIn(folder / "a"), IsEmpty());
}

TEST(OutputFolder, StaysWhenItWasThereBefore) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "a");
  { const OutputFolder found(folder / "a"); }
  EXPECT_TRUE(std::filesystem::is_directory(folder / "a"));
}

TEST(OutputFolder, StaysWhenSomebodyElsePutAFileThere) {
  const TemporaryFolder folder;
  {
    const OutputFolder made(folder / "a");
    writeBytes(folder.path() / "a" / "theirs", "x");
  }
  EXPECT_THAT(namesIn(folder / "a"), ElementsAre("theirs"));
}

} // namespace
} // namespace vindrel::test
