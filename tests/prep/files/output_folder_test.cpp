#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/temp_dir.h"
#include "trqprep/atomic_output.h"
#include "trqprep/input_file.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

// The list of such a folder is what its file "list" says, a name a line.
std::optional<FolderList> ListOf(const HeldFolder& folder) {
  if (!folder.HasRegularFile("list")) return std::nullopt;
  std::istringstream stream(InputFile(folder, "list").ReadRest());
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

// The code that the step ends with; kInternal when it succeeds.
template <class Step>
Code FailureOf(Step step, std::string* text = nullptr) {
  try {
    step();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kOutput);
    if (text) *text = failure.message.text;
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
  OutputFolder first(dir.File("out"), true, ListOf), second(dir.File("out"), true, ListOf);
  Fill(first);
  Fill(second);
  first.Commit();
  second.Commit();
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1);
}

std::string TextOf(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The folder under way in `dir`.
std::string UnderWay(const test_support::TempDir& dir) {
  for (const auto& entry : fs::directory_iterator(dir.path())) {
    if (entry.path().filename().string().rfind(".trqprep-", 0) == 0) return entry.path().string();
  }
  return "";
}

// Symbolic links, and folders that are renamed while they are held, are things of POSIX: what tries them
// stands between #ifndef _WIN32 and #endif. tests/cross/windows_files.py tries what Windows has instead.
#ifndef _WIN32
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
#endif

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

#ifndef _WIN32
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
#endif

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
  // One lock a folder, whatever is changed in it, and through whatever link.
  fs::create_directory(dir.File("elsewhere"));
  std::ofstream(dir.File("other")) << "other";
  std::vector<const char*> names{"file", "other"};
#ifndef _WIN32
  fs::create_symlink(dir.File("other"), dir.File("elsewhere/link"));
  names.push_back("elsewhere/link");
#endif
  for (const char* name : names) {
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

#ifndef _WIN32
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
#endif

TEST(FolderList, TakesOnlyNamesBelowTheFolder) {
  FolderList list;
  for (const char* name : {"", "/a", "../a", "a/../b", "./a", "a//b", "a/"})
    EXPECT_FALSE(list.Add(name)) << name;
  EXPECT_FALSE(list.Add(std::string("a\0b", 3)));
  EXPECT_TRUE(list.files.empty() && list.folders.empty());
  EXPECT_TRUE(list.Add("a/b/..c"));
  EXPECT_EQ(list.folders["a"].folders["b"].files.count("..c"), 1u);
}

#ifndef _WIN32
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
#endif

}  // namespace
}  // namespace trqprep
