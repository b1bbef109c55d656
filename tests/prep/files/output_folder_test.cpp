#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "tests/prep/files/output_folders.h"
#include "trqprep/atomic_output.h"
#include "trqprep/input_file.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

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
  EXPECT_EQ(FailureOf([&] { folder.Commit(); }, &text), Code::kOutputLeft);
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
  EXPECT_EQ(FailureOf([&] { folder.Commit(); }, &text), Code::kOutputLeft);
  EXPECT_TRUE(fs::exists(dir.File("out.old/sub/old")));
  EXPECT_TRUE(fs::exists(dir.File("moved/sub/old")));
  EXPECT_TRUE(fs::exists(dir.File("out/sub/new")));
}

TEST(OutputFolder, ReplacesOneThatAnotherRunReplacedMeanwhile) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  std::optional<OutputFolder> first(std::in_place, dir.File("out"), true, ListOf);
  OutputFolder second(dir.File("out"), true, ListOf);
  Fill(*first);
  Fill(second);
  first->Commit();
  first.reset();  // Windows keeps the name of a folder that somebody holds
  second.Commit();
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1);
}

TEST(OutputFolder, LeavesNoHiddenNameWhereTheNameIsAsLongAsCanBe) {
  const test_support::TempDir dir;
  const std::string name(255, 'n');
  MakeOld(dir.File(name));
  OutputFolder folder(dir.File(name), true, ListOf);
  Fill(folder);
  std::ofstream(dir.File(name) + "/thesis") << "precious";
  EXPECT_EQ(FailureOf([&] { folder.Commit(); }), Code::kOutputLeft);
  EXPECT_EQ(UnderWay(dir), "");
  EXPECT_TRUE(fs::exists(dir.File(std::string(251, 'n') + ".old") + "/thesis"));
}

TEST(OutputFile, SucceedsOnlyWhatWasRead) {
  const test_support::TempDir dir;
  const std::string path = dir.File("file");
  EXPECT_EQ(FailureOf([&] { ReplaceFile(path, "read", "new"); }), Code::kOutputChanged);
  EXPECT_FALSE(fs::exists(path));
  ReplaceFile(path, std::nullopt, "first");
  EXPECT_EQ(FailureOf([&] { ReplaceFile(path, std::nullopt, "new"); }), Code::kOutputChanged);
  for (const char* other : {"firs", "first!", "First", ""}) {
    EXPECT_EQ(FailureOf([&] { ReplaceFile(path, other, "new"); }), Code::kOutputChanged) << other;
  }
  EXPECT_EQ(TextOf(path), "first");
  ReplaceFile(path, "first", "second");
  EXPECT_EQ(TextOf(path), "second");
  EXPECT_EQ(UnderWay(dir), "");
}

TEST(EditLock, WaitsNoLongerThanItIsTold) {
  const test_support::TempDir dir;
  Observer observer;
  const EditLock first(observer, dir.File("file"));
  // One lock a folder, whatever is changed in it.
  fs::create_directory(dir.File("elsewhere"));
  std::ofstream(dir.File("other")) << "other";
  for (const char* name : {"file", "other"}) {
    EXPECT_EQ(FailureOf([&] { EditLock(observer, dir.File(name), std::chrono::milliseconds(20)); }),
              Code::kOutputBusy)
        << name;
  }
  EditLock(observer, dir.File("elsewhere/file"), std::chrono::milliseconds(0));
}

TEST(EditLock, EndsWhenTheObserverCancels) {
  const test_support::TempDir dir;
  class : public Observer {
    bool Cancelled() override { return true; }
  } impatient;
  Observer observer;
  const EditLock first(observer, dir.File("file"));
  try {
    EditLock(impatient, dir.File("file"));
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kInterrupted);
  }
}

TEST(EditLock, DoesWithoutAFolderThatCannotBeOpened) {
  const test_support::TempDir dir;
  Observer observer;
  EditLock(observer, dir.File("none/file"));
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

}  // namespace
}  // namespace trqprep
