#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "host/file_services.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/foundation.h"

TEST(FileUtilities, ReadOnlyFileBecomesWritable) {
  test_support::TempDir dir;
  const CString path = dir.Write("a.stl", "xxx");
  ::chmod(path, 0444);
  EXPECT_TRUE(trq::host::IsReadOnly(path.str()));
  UTILITY::ConfirmFilePermission(path);
  EXPECT_FALSE(trq::host::IsReadOnly(path.str()));
}

TEST(FileUtilities, AnyWriteBitIsEnough) {
  test_support::TempDir dir;
  const CString path = dir.Write("a.stl", "xxx");
  for (const mode_t mode : {0420, 0402, 0200}) {
    ::chmod(path, mode);
    EXPECT_FALSE(trq::host::IsReadOnly(path.str())) << mode;
  }
  EXPECT_FALSE(trq::host::IsReadOnly(dir.File("none.stl")));
  ::chmod(path, 0550);
  UTILITY::ConfirmFilePermission(path);
  struct stat information;
  ASSERT_EQ(::stat(path, &information), 0);
  EXPECT_EQ(information.st_mode & 0777, 0750u);  // the other bits stay
}

TEST(FileUtilities, RefusedPermissionIsTold) {
  // A file of this process's own that nobody may change, not even the administrator.
  const CString path = "/proc/self/maps";
  ASSERT_TRUE(trq::host::IsReadOnly(path.str()));
  test_support::MessageBoxRecorder boxes;
  UTILITY::ConfirmFilePermission(path);
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(
      boxes.boxes()[0].text,
      "Unable to set the WRITE permission for /proc/self/maps. You may not be authorized to perform this "
      "operation.");
  EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
}

TEST(FileUtilities, DriveLettersAndEmptyPathsHaveNoRoot) {
  EXPECT_EQ(UTILITY::GetDriveInfo(""), 1);
  EXPECT_EQ(UTILITY::GetDriveInfo("C:\\parts\\a.stl"), 1);
  EXPECT_EQ(UTILITY::GetDriveInfo("z:"), 1);
  EXPECT_NE(UTILITY::GetDriveInfo("/"), 1);
  EXPECT_NE(UTILITY::GetDriveInfo("1:"), 1);  // a file's name
}

TEST(FileUtilities, DriveKindFollowsTheFileSystem) {
  // Magic numbers from statfs(2).
  struct statfs information;
  int known = 0;
  for (const auto& [path, magic, kind] : {std::tuple{"/proc", 0x9fa0, 0},
                                          {"/dev/shm", 0x01021994, 6},
                                          {"/sys", 0x62656572, 0},
                                          {"/", 0xef53, 3}}) {
    if (::statfs(path, &information) != 0 || int64_t(information.f_type) != magic) continue;
    EXPECT_EQ(UTILITY::GetDriveInfo(path), kind) << path;
    EXPECT_EQ(UTILITY::GetDriveInfo(std::string(path) + "/none-such/a.stl"), kind) << path;
    ++known;
  }
  EXPECT_GT(known, 0) << "no file system of a known kind";
}

TEST(FileUtilities, DiskSpaceIsTooSmallForAFileBeyondTheVolume) {
  test_support::TempDir dir;
  const CString path = dir.Write("sparse", "");
  // A sparse file takes no room, whatever size it claims; five times eight tebibytes fit on no test machine.
  ASSERT_EQ(::truncate(path, off_t{1} << 43), 0);
  ASSERT_LT(UTILITY::GetDiskSpaceInKB(path), int64_t{5} << 33);
  EXPECT_EQ(UTILITY::CheckDiskSpace(path, 0), 1);
}

TEST(FileUtilities, BackslashesBecomeSlashesWhereThatLeadsSomewhere) {
  test_support::TempDir dir;
  dir.Write("a.sty", "x");
  std::string path = dir.File("a.sty");
  const std::string::size_type slash = path.rfind('/');
  std::string with_backslash = path;
  with_backslash[slash] = '\\';
  EXPECT_EQ(trq::host::SystemPath(with_backslash).str(), path);
  // A name whose parent exists is where a new file goes.
  std::string fresh = dir.File("new.sty");
  fresh[fresh.rfind('/')] = '\\';
  EXPECT_EQ(trq::host::SystemPath(fresh).str(), dir.File("new.sty"));
  EXPECT_EQ(trq::host::SystemPath("nowhere\\at\\all").str(), "nowhere\\at\\all");
  EXPECT_EQ(trq::host::SystemPath("\\none-such").str(), "/none-such");  // its parent is the root
  // A name that exists with its backslash is used as it is, whatever else there is.
  dir.Write("odd\\name", "x");
  std::filesystem::create_directory(dir.path() / "odd");
  dir.Write("odd/name", "x");
  EXPECT_EQ(trq::host::SystemPath(dir.File("odd\\name")).str(), dir.File("odd\\name"));
}
