#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/system.h"

namespace {

namespace host = trq::host;

TEST(System, ExecutablePathIsThisProgram) {
  const std::filesystem::path path = std::filesystem::u8path(host::ExecutablePath());
  EXPECT_TRUE(path.is_absolute());
  EXPECT_EQ(path.filename().string(), "host_tests.exe");
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(System, DirectoriesEndAtEitherSeparator) {
  EXPECT_EQ(host::DirectoryLength("C:\\parts\\a.stl"), 9u);
  EXPECT_EQ(host::DirectoryLength("C:\\parts/a.stl"), 9u);
  EXPECT_EQ(host::DirectoryLength("a.stl"), 0u);
}

TEST(System, HostNameIsTheComputers) {
  // The older name of the computer is the first 15 letters in capitals.
  char older[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof older;
  ASSERT_TRUE(GetComputerNameA(older, &size));
  EXPECT_EQ(_strnicmp(host::HostName().c_str(), older, size), 0) << host::HostName();
}

TEST(System, LoginNameIsTheUserOfTheProcess) {
  const char* const user = std::getenv("USERNAME");
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(host::LoginName(), user);
}

}  // namespace
