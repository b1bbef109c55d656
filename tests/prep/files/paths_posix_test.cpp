#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "trqprep/paths.h"

namespace {
bool no_memory = false;
}

// The system's own, but for a test that leaves it without memory.
extern "C" __attribute__((visibility("default"))) char* realpath(const char* path, char* resolved) noexcept {
  using Function = char*(const char*, char*);
  static Function* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "realpath"));
  if (!no_memory) return next(path, resolved);
  errno = ENOMEM;
  return nullptr;
}

namespace trqprep {
namespace {

using test_support::TempDir;

TEST(RealPath, IsTheSameForAllWaysToAFile) {
  const TempDir dir;
  const std::string file = dir.File("file"), link = dir.File("link");
  std::ofstream(file) << "x";
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  EXPECT_EQ(FileNameOf(RealPath(link)), "file");
  EXPECT_EQ(RealPath(link), RealPath(file));
  EXPECT_EQ(RealPath(FolderOf(file) + "/./x/../file"), FolderOf(file) + "/./x/../file");  // no x
  EXPECT_EQ(RealPath(FolderOf(file) + "/./file"), RealPath(file));
  EXPECT_EQ(RealPath(dir.File("absent")), dir.File("absent"));
}

TEST(RealPath, IsNoOtherNameForWantOfMemory) {
  const TempDir dir;
  const std::string file = dir.File("file");
  std::ofstream(file) << "x";
  no_memory = true;
  EXPECT_THROW(RealPath(file), std::bad_alloc);
  no_memory = false;
}

}  // namespace
}  // namespace trqprep
