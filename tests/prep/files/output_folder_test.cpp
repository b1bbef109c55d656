#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/temp_dir.h"
#include "trqprep/atomic_output.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

// The list of such a folder is what its file "list" says, a name a line.
std::optional<FolderList> ListOf(const std::string& folder) {
  std::ifstream stream(folder + "/list");
  if (!stream) return std::nullopt;
  FolderList list;
  for (std::string name; std::getline(stream, name);) EXPECT_TRUE(list.Add(name));
  return list;
}

void Fill(OutputFolder& folder) {
  folder.MakeFolder("sub");
  folder.WriteFile("sub/new", "new");
  folder.WriteFile("list", "list\nsub/new\n");
}

void MakeOld(const std::string& folder) {
  fs::create_directories(folder + "/sub");
  std::ofstream(folder + "/sub/old") << "old";
  std::ofstream(folder + "/list") << "list\nsub/old\n";
}

Code FailureOf(OutputFolder& folder, std::string* text) {
  try {
    folder.Commit();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kOutput);
    *text = failure.message.text;
    return failure.message.code;
  }
  return Code::kInternal;
}

TEST(OutputFolder, RemovesWhatTheOldOneLists) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  OutputFolder folder(dir.File("out"), true, ListOf);
  Fill(folder);
  folder.Commit();
  EXPECT_TRUE(fs::exists(dir.File("out/sub/new")));
  EXPECT_FALSE(fs::exists(dir.File("out/sub/old")));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1);
}

TEST(OutputFolder, KeepsWhatAppearedMeanwhileAndSaysWhere) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  fs::create_directory(dir.File("out.old"));
  OutputFolder folder(dir.File("out"), true, ListOf);
  Fill(folder);
  std::ofstream(dir.File("out/sub/thesis")) << "precious";
  std::string text;
  EXPECT_EQ(FailureOf(folder, &text), Code::kOutputLeft);
  EXPECT_NE(text.find("out.old-2 holds sub/"), std::string::npos) << text;
  EXPECT_TRUE(fs::exists(dir.File("out/sub/new")));
  EXPECT_TRUE(fs::exists(dir.File("out/list")));
  EXPECT_TRUE(fs::exists(dir.File("out.old-2/sub/thesis")));
  EXPECT_FALSE(fs::exists(dir.File("out.old-2/sub/old")));
  EXPECT_FALSE(fs::exists(dir.File("out.old-2/list")));
}

TEST(OutputFolder, KeepsAFolderThatCameInThePlaceOfTheOldOne) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  OutputFolder folder(dir.File("out"), true, ListOf);
  Fill(folder);
  fs::rename(dir.File("out"), dir.File("moved"));
  fs::create_directories(dir.File("out/sub"));
  std::ofstream(dir.File("out/sub/old")) << "precious";  // a name of the old list, and no list beside it
  std::string text;
  EXPECT_EQ(FailureOf(folder, &text), Code::kOutputLeft);
  EXPECT_TRUE(fs::exists(dir.File("out.old/sub/old")));
  EXPECT_TRUE(fs::exists(dir.File("moved/sub/old")));
  EXPECT_TRUE(fs::exists(dir.File("out/sub/new")));
}

TEST(OutputFolder, ReplacesOneThatAnotherRunReplacedMeanwhile) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  OutputFolder first(dir.File("out"), true, ListOf), second(dir.File("out"), true, ListOf);
  Fill(first);
  Fill(second);
  first.Commit();
  second.Commit();
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1);
}

TEST(FolderList, TakesOnlyNamesBelowTheFolder) {
  FolderList list;
  for (const char* name : {"", "/a", "../a", "a/../b", "./a", "a//b", "a/"})
    EXPECT_FALSE(list.Add(name)) << name;
  EXPECT_FALSE(list.Add(std::string("a\0b", 3)));
  EXPECT_TRUE(list.files.empty() && list.folders.empty());
  EXPECT_TRUE(list.Add("a/b/..c"));
  EXPECT_EQ(list.folders["a"].folders["b"].files.count("..c"), 1u);
}

TEST(FolderList, RemovesNothingBehindALink) {
  const test_support::TempDir dir;
  fs::create_directories(dir.File("out"));
  fs::create_directories(dir.File("elsewhere"));
  std::ofstream(dir.File("elsewhere/new")) << "precious";
  fs::create_directory_symlink(dir.File("elsewhere"), dir.File("out/sub"));
  FolderList list;
  list.Add("sub/new");
  EXPECT_EQ(ForeignNames(dir.File("out"), list), std::vector<std::string>{"sub"});
  EXPECT_FALSE(RemoveListed(dir.File("out"), list));
  EXPECT_TRUE(fs::exists(dir.File("elsewhere/new")));
  EXPECT_TRUE(fs::is_symlink(dir.File("out/sub")));
}

}  // namespace
}  // namespace trqprep
