#include <gtest/gtest.h>
#include <windows.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include "host/file_services.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/foundation.h"

namespace {

namespace core = trq::core;
using test_support::TempDir;

TEST(FileUtilities, ReadOnlyFileBecomesWritable) {
  const TempDir dir;
  const CString path = dir.Write("a.stl", "xxx");
  ASSERT_TRUE(SetFileAttributesA(path, FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(trq::host::IsReadOnly(path));
  UTILITY::ConfirmFilePermission(path);
  EXPECT_FALSE(trq::host::IsReadOnly(path));
  EXPECT_TRUE(core::OpenFile(path.str(), "wb"));
  EXPECT_FALSE(trq::host::IsReadOnly(dir.path().string()));
}

TEST(FileUtilities, DriveKindIsThatOfTheDrive) {
  EXPECT_EQ(UTILITY::GetDriveInfo(""), trq::drive::kNoSuchRoot);
  EXPECT_EQ(UTILITY::GetDriveInfo("C:\\parts\\a.stl"), trq::drive::kFixed);
  EXPECT_EQ(UTILITY::GetDriveInfo("c:"), trq::drive::kFixed);
  EXPECT_EQ(UTILITY::GetDriveInfo("Q:\\parts\\a.stl"), trq::drive::kNoSuchRoot);
}

TEST(FileUtilities, FilesThatOthersLockAreInUse) {
  const TempDir dir;
  const std::string path = dir.Write("a.stl", "xxx");
  const HANDLE locked = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(locked, INVALID_HANDLE_VALUE);
  for (const char* const mode : {"rb", "wb", "rb+"}) {
    EXPECT_FALSE(core::OpenFile(path, mode));
    EXPECT_EQ(errno, EBUSY) << mode;
  }
  EXPECT_FALSE(trq::host::DeleteFileNamed(path));
  EXPECT_EQ(errno, EBUSY);
  CloseHandle(locked);
  EXPECT_EQ(dir.Read("a.stl"), "xxx");
  EXPECT_TRUE(trq::host::DeleteFileNamed(path));
  EXPECT_FALSE(trq::host::DeleteFileNamed(path));
  EXPECT_EQ(errno, ENOENT);
}

TEST(FileUtilities, RenamingReplaces) {
  const TempDir dir;
  const std::string from = dir.Write("from", "new"), to = dir.Write("to", "old");
  EXPECT_TRUE(trq::host::RenameFile(from, to));
  EXPECT_FALSE(dir.Has("from"));
  EXPECT_EQ(dir.Read("to"), "new");
  EXPECT_FALSE(trq::host::RenameFile(from, to));
  EXPECT_EQ(errno, ENOENT);
}

TEST(FileUtilities, BothSeparatorsCount) {
  const TempDir dir;
  std::string path = dir.Write("a.stl", "xxx");
  for (const auto& [separator, other] : {std::pair{'/', '\\'}, {'\\', '/'}}) {
    for (char& c : path) c = c == separator ? other : c;
    EXPECT_EQ(trq::host::FileSize(path), 3) << path;
  }
}

TEST(FileUtilities, NamesMayBeLong) {
  const TempDir dir;
  std::string path = dir.path().u8string();
  for (int i = 0; i < 3; ++i) {
    path += "/" + std::string(120, char('a' + i));
    ASSERT_TRUE(CreateDirectoryW(core::WideName(path).c_str(), nullptr)) << GetLastError();
  }
  path += "/./b/../part.stl";
  ASSERT_GT(path.size(), size_t{MAX_PATH});
  core::FileHandle file = core::OpenFile(path, "wb");
  ASSERT_TRUE(file) << errno;
  std::fputs("xxxx", file.get());
  EXPECT_TRUE(core::CloseChecked(std::move(file)));
  EXPECT_EQ(trq::host::FileSize(path), 4);
  EXPECT_TRUE(trq::host::RenameFile(path, path + ".bak"));
  EXPECT_TRUE(trq::host::DeleteFileNamed(path + ".bak"));
  for (int i = 3; i > 0; --i) {
    path.resize(path.find(std::string(120, char('a' + i - 1))) + 120);
    EXPECT_TRUE(RemoveDirectoryW(core::WideName(path).c_str()));
  }
}

TEST(FileUtilities, WideNamesAreUtf16) {
  EXPECT_EQ(core::WideName("Z\xC3\xA4-\xE6\x97\xA5.stl"), L"Z\u00E4-\u65E5.stl");
  EXPECT_EQ(core::Utf8(L"Z\u00E4-\u65E5.stl"), "Z\xC3\xA4-\xE6\x97\xA5.stl");
  EXPECT_EQ(core::Utf8(std::wstring()), "");
  for (const std::string& wrong : {std::string("a\xFF"
                                               "b"),
                                   std::string("a\0b", 3)}) {
    errno = 0;
    EXPECT_EQ(core::WideName(wrong), L"");
    EXPECT_EQ(errno, EILSEQ);
    EXPECT_FALSE(core::OpenFile(wrong, "wb"));
    EXPECT_EQ(errno, EILSEQ);
  }
}

TEST(FileUtilities, CodesOfTheSystemHaveThoseOfTheLibrary) {
  EXPECT_EQ(core::ErrnoOf(ERROR_FILE_NOT_FOUND), ENOENT);
  EXPECT_EQ(core::ErrnoOf(ERROR_PATH_NOT_FOUND), ENOENT);
  EXPECT_EQ(core::ErrnoOf(ERROR_ACCESS_DENIED), EACCES);
  EXPECT_EQ(core::ErrnoOf(ERROR_SHARING_VIOLATION), EBUSY);
  EXPECT_EQ(core::ErrnoOf(ERROR_ALREADY_EXISTS), EEXIST);
  EXPECT_EQ(core::ErrnoOf(ERROR_DISK_FULL), ENOSPC);
  EXPECT_EQ(core::ErrnoOf(ERROR_NOT_SAME_DEVICE), EXDEV);
  EXPECT_EQ(core::ErrnoOf(987654), EIO);
}

}  // namespace
