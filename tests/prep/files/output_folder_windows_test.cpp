// What other programs hold open, names that the system would change, and files that may only be read.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/prep/files/output_folders.h"
#include "trq/core/file.h"

namespace trqprep {
namespace {

namespace fs = std::filesystem;

// Holds a file as a program does that shares it with nobody.
class HeldByAnother {
 public:
  explicit HeldByAnother(const std::string& path)
      : handle_(CreateFileW(trq::core::WideName(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0,
                            nullptr)) {
    EXPECT_NE(handle_, INVALID_HANDLE_VALUE);
  }
  ~HeldByAnother() { CloseHandle(handle_); }

 private:
  HANDLE handle_;
};

TEST(OutputFile, DoesNotReplaceWhatAnotherProgramHolds) {
  const test_support::TempDir dir;
  std::ofstream(dir.File("out")) << "old";
  {
    const HeldByAnother held(dir.File("out"));
    EXPECT_EQ(FailureOf([&] { WriteOutputFile(dir.File("out"), "new", true); }), Code::kOutputUnwritable);
  }
  EXPECT_EQ(TextOf(dir.File("out")), "old");
  EXPECT_EQ(UnderWay(dir), "");
  WriteOutputFile(dir.File("out"), "new", true);
  EXPECT_EQ(TextOf(dir.File("out")), "new");
}

TEST(OutputFolder, StaysAsItWasWhereAnotherProgramHoldsAFileOfIt) {
  const test_support::TempDir dir;
  MakeOld(dir.File("out"));
  {
    const HeldByAnother held(dir.File("out/sub/old"));
    OutputFolder folder(dir.File("out"), true, ListOf);
    Fill(folder);
    FailureOf([&] { folder.Commit(); });
  }
  // Whether a folder with such a file may be renamed is the system's affair: old or new, and never a mixture.
  if (fs::exists(dir.File("out/sub/new"))) {
    EXPECT_FALSE(fs::exists(dir.File("out/sub/old")));
  } else {
    EXPECT_EQ(TextOf(dir.File("out/sub/old")), "old");
    EXPECT_EQ(TextOf(dir.File("out/list")), "list\nsub/old\n");
  }
  EXPECT_EQ(UnderWay(dir), "");
}

TEST(OutputFile, HasNoNameThatTheSystemWouldChange) {
  const test_support::TempDir dir;
  for (const char* name : {"con", "Aux.stl", "com1.ctl", "part.", "part ", "a:b", "a|b"}) {
    EXPECT_EQ(FailureOf([&] { WriteOutputFile(dir.File(name), "new", false); }), Code::kOutputUnwritable)
        << name;
  }
  EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(OutputFile, ReplacesWhatMayOnlyBeReadAndKeepsItSo) {
  const test_support::TempDir dir;
  const std::string path = dir.File("style");
  std::ofstream(path) << "old";
  const std::wstring name = trq::core::WideName(path);
  ASSERT_TRUE(SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(FailureOf([&] { RequireEditable(path, false); }), Code::kOutputReadOnly);
  WriteOutputFile(path, "new", true);
  EXPECT_EQ(TextOf(path), "new");
  EXPECT_TRUE(GetFileAttributesW(name.c_str()) & FILE_ATTRIBUTE_READONLY);
  SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(OutputFolder, LiesBelowMoreThan260Characters) {
  const test_support::TempDir dir;
  std::string deep = dir.File("");
  for (int level = 0; level < 6; ++level) {
    deep += std::string(60, 'd') + "/";
    ASSERT_TRUE(CreateDirectoryW(trq::core::WideName(deep).c_str(), nullptr)) << deep;
  }
  {
    OutputFolder folder(deep + "out", false, ListOf);
    Fill(folder);
    folder.Commit();
  }
  EXPECT_EQ(InputFile(deep + "out/sub/new").ReadRest(), "new");
}

}  // namespace
}  // namespace trqprep
