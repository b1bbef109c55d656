#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <filesystem>

#include "host/file_services.h"
#include "host/system.h"

namespace {

namespace host = trq::host;
using trq::detail::FileHandle;

TEST(System, ExecutablePathIsThisProgram) {
  EXPECT_EQ(host::ExecutablePath(), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(System, HostNameIsTheNodesName) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(host::HostName(), names.nodename);
}

TEST(System, LoginNameIsTheUserOfTheProcess) {
  const passwd* entry = getpwuid(getuid());
  EXPECT_EQ(host::LoginName(), entry ? entry->pw_name : "");
}

TEST(System, AUserWhomNoTableKnowsHasNoName) {
  const unsigned stranger = 3999999999;
  ASSERT_EQ(getpwuid(stranger), nullptr);
  EXPECT_EQ(host::NameOfUser(stranger), "");
  EXPECT_EQ(host::NameOfUser(0), "root");
}

TEST(System, RemainingBytesOfWhatHasNoSizeIsNotKnown) {
  EXPECT_FALSE(host::RemainingBytes(nullptr).has_value());
  const FileHandle device(std::fopen("/dev/zero", "rb"));
  EXPECT_FALSE(host::RemainingBytes(device.get()).has_value());
  const FileHandle directory(std::fopen("/", "rb"));
  EXPECT_FALSE(host::RemainingBytes(directory.get()).has_value());
  const FileHandle kernel(std::fopen("/proc/self/status", "rb"));  // a regular file of size 0 with content
  EXPECT_FALSE(host::RemainingBytes(kernel.get()).has_value());
  char memory[] = "0123456789";
  const FileHandle in_memory(fmemopen(memory, 10, "rb"));
  EXPECT_FALSE(host::RemainingBytes(in_memory.get()).has_value());
}

}  // namespace
