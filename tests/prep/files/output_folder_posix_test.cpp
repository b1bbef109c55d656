// Symbolic links, and folders that are renamed while they are held.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/prep/files/output_folders.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Below(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

class SwappedFolder : public testing::TestWithParam<const char*> {
 protected:
  // Puts a link to a folder of somebody's, or that folder itself, in the place of the folder under way.
  void Swap() {
    const std::string name = UnderWay(dir_);
    ASSERT_NE(name, "");
    fs::rename(name, dir_.File("aside"));
    if (GetParam() == std::string("link")) {
      fs::create_directory_symlink(victim_, name);
    } else {
      fs::rename(victim_, name);
      victim_ = name;
    }
  }
  void ExpectVictimAsItWas() {
    EXPECT_EQ(Below(victim_), (std::vector<std::string>{"list", "old", "precious", "sub"}));
    EXPECT_EQ(TextOf(victim_ + "/precious"), "precious");
    EXPECT_EQ(TextOf(victim_ + "/list"), "list\nsub/old\n");
  }
  void WriteAndSwap() {
    const bool replace = fs::exists(dir_.File("out"));
    {
      OutputFolder folder(dir_.File("out"), replace, ListOf);
      Swap();
      Fill(folder);
      EXPECT_EQ(FailureOf([&] { folder.Commit(); }), Code::kOutputChanged);
    }
    ExpectVictimAsItWas();
    EXPECT_EQ(fs::exists(dir_.File("out")), replace);
    EXPECT_EQ(Below(dir_.File("aside")), std::vector<std::string>());  // what was written is gone again
  }
  void SetUp() override {
    victim_ = dir_.File("victim");
    MakeOld(victim_);
    std::ofstream(victim_ + "/precious") << "precious";
  }
  test_support::TempDir dir_;
  std::string victim_;
};

TEST_P(SwappedFolder, IsNotWrittenIntoNorGivenTheName) { WriteAndSwap(); }

TEST_P(SwappedFolder, ReplacesNothing) {
  MakeOld(dir_.File("out"));
  WriteAndSwap();
  EXPECT_EQ(Below(dir_.File("out")), (std::vector<std::string>{"list", "old", "sub"}));
}

TEST_P(SwappedFolder, IsNotRemovedWhenNothingIsWritten) {
  {
    const OutputFolder folder(dir_.File("out"), false, ListOf);
    Swap();
  }
  ExpectVictimAsItWas();
}

TEST_P(SwappedFolder, IsNotRemovedByASignal) {
  const OutputFolder folder(dir_.File("out"), false, ListOf);
  Swap();
  RemoveTemporaryPaths();
  ExpectVictimAsItWas();
}

INSTANTIATE_TEST_SUITE_P(By, SwappedFolder, testing::Values("link", "folder"),
                         [](const auto& param) { return std::string(param.param); });

TEST(OutputFolder, WritesNothingThroughALinkInIt) {
  const test_support::TempDir dir;
  fs::create_directory(dir.File("victim"));
  OutputFolder folder(dir.File("out"), false, ListOf);
  folder.MakeFolder("sub");
  fs::remove(UnderWay(dir) + "/sub");
  fs::create_directory_symlink(dir.File("victim"), UnderWay(dir) + "/sub");
  std::ofstream(dir.File("target")) << "precious";
  fs::create_symlink(dir.File("target"), UnderWay(dir) + "/file");
  EXPECT_EQ(FailureOf([&] { folder.WriteFile("sub/new", "new"); }), Code::kOutputUnwritable);
  EXPECT_EQ(FailureOf([&] { folder.WriteFile("file", "new"); }), Code::kOutputUnwritable);
  EXPECT_TRUE(fs::is_empty(dir.File("victim")));
  EXPECT_EQ(TextOf(dir.File("target")), "precious");
}

TEST(OutputFolder, StaysInItsFolderWhenThatIsRenamed) {
  const test_support::TempDir dir;
  fs::create_directory(dir.File("here"));
  OutputFolder folder(dir.File("here/out"), false, ListOf);
  fs::rename(dir.File("here"), dir.File("there"));
  fs::create_directory(dir.File("here"));
  Fill(folder);
  folder.Commit();
  EXPECT_TRUE(fs::is_empty(dir.File("here")));
  EXPECT_TRUE(fs::exists(dir.File("there/out/sub/new")));
}

TEST(OutputFile, IsNotWrittenIntoWhatTookItsPlace) {
  const test_support::TempDir dir;
  std::ofstream(dir.File("victim")) << "precious";
  {
    OutputFile file(dir.File("out"), false);
    const std::string name = UnderWay(dir);
    fs::remove(name);
    fs::create_symlink(dir.File("victim"), name);
    file.Write("new");
    EXPECT_EQ(FailureOf([&] { file.Commit(); }), Code::kOutputChanged);
  }
  EXPECT_EQ(TextOf(dir.File("victim")), "precious");
  EXPECT_FALSE(fs::exists(dir.File("out")));
}

TEST(InputFile, OfAFolderIsReachedThroughNoLink) {
  const test_support::TempDir dir;
  fs::create_directories(dir.File("folder/sub"));
  fs::create_directory(dir.File("elsewhere"));
  for (const char* name : {"folder/file", "folder/sub/file", "elsewhere/file"}) {
    std::ofstream(dir.File(name)) << name;
  }
  fs::create_symlink(dir.File("elsewhere/file"), dir.File("folder/link"));
  fs::create_directory_symlink(dir.File("elsewhere"), dir.File("folder/away"));
  const HeldFolder folder(dir.File("folder"));
  EXPECT_EQ(InputFile(folder, "file").ReadRest(), "folder/file");
  EXPECT_EQ(InputFile(folder, "sub/file").ReadRest(), "folder/sub/file");
  for (const char* name : {"link", "away/file", "sub", "none"}) {
    EXPECT_FALSE(folder.HasRegularFile(name)) << name;
    EXPECT_THROW(InputFile(folder, name), Failure) << name;
  }
  // What was opened stays what it is.
  fs::rename(dir.File("folder"), dir.File("moved"));
  fs::create_directory_symlink(dir.File("elsewhere"), dir.File("folder"));
  EXPECT_EQ(InputFile(folder, "file").ReadRest(), "folder/file");
}

TEST(FolderList, RemovesNothingBehindALink) {
  const test_support::TempDir dir;
  fs::create_directories(dir.File("out"));
  fs::create_directories(dir.File("elsewhere"));
  std::ofstream(dir.File("elsewhere/new")) << "precious";
  fs::create_directory_symlink(dir.File("elsewhere"), dir.File("out/sub"));
  FolderList list;
  list.Add("sub/new");
  const HeldFolder folder(dir.File("out"));
  EXPECT_EQ(ForeignNames(folder, list), std::vector<std::string>{"sub"});
  RemoveListed(folder, list);
  EXPECT_TRUE(fs::exists(dir.File("elsewhere/new")));
  EXPECT_TRUE(fs::is_symlink(dir.File("out/sub")));
}

// The lock of a folder is met through a link into it, too.
TEST(EditLock, IsThatOfTheFolderBehindALink) {
  const test_support::TempDir dir;
  Observer observer;
  const EditLock first(observer, dir.File("file"));
  fs::create_directory(dir.File("elsewhere"));
  std::ofstream(dir.File("other")) << "other";
  fs::create_symlink(dir.File("other"), dir.File("elsewhere/link"));
  EXPECT_EQ(FailureOf([&] { EditLock(observer, dir.File("elsewhere/link"), std::chrono::milliseconds(20)); }),
            Code::kOutputBusy);
}

}  // namespace
}  // namespace trqprep
