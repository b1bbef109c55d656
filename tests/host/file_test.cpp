/// Opening by name, positions and error texts, as applications have them from trq/core/file.h.
#include "trq/core/file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "tests/support/temp_dir.h"

namespace {

namespace core = trq::core;
using test_support::TempDir;

/// A name of the folder, UTF-8 on every system.
std::string NameIn(const TempDir& folder, const std::string& name) {
  return (folder.path() / std::filesystem::u8path(name)).u8string();
}

TEST(File, ErrorTextsAreTheSameOnEverySystem) {
  EXPECT_STREQ(core::ErrorText(0), "Success");
  EXPECT_STREQ(core::ErrorText(ENOENT), "No such file or directory");
  EXPECT_STREQ(core::ErrorText(ENOSPC), "No space left on device");
  EXPECT_STREQ(core::ErrorText(ENAMETOOLONG), "File name too long");
  EXPECT_STREQ(core::ErrorText(ELOOP), "Too many levels of symbolic links");
  EXPECT_EQ(core::ErrorText(99999), nullptr);
  EXPECT_EQ(core::ErrorText(-1), nullptr);
}

#ifdef __GLIBC__
TEST(File, ErrorTextsAreThoseOfTheSystemsLibrary) {
  for (int code = -2; code < 300; ++code) EXPECT_STREQ(core::ErrorText(code), strerrordesc_np(code)) << code;
}
#endif

TEST(File, NamesAreUtf8) {
  const TempDir folder;
  const std::string name =
      "Z\xC3\xA4hnr\xC3\xA4"
      "der-\xE6\x97\xA5\xE6\x9C\xAC.stl";
  core::FileHandle file = core::OpenFile(NameIn(folder, name), "wb");
  ASSERT_TRUE(file);
  EXPECT_TRUE(core::CloseChecked(std::move(file)));
  EXPECT_EQ(std::filesystem::directory_iterator(folder.path())->path().filename().u8string(), name);
}

TEST(File, BytesAreNeverTranslated) {
  const TempDir folder;
  const std::string bytes(
      "a\nb\r\n\x1A"
      "c\0d\n",
      10);
  for (const char* const mode : {"w", "wb", "w+", "wx"}) {
    const std::string name = NameIn(folder, "bytes");
    std::filesystem::remove(std::filesystem::u8path(name));
    core::FileHandle file = core::OpenFile(name, mode);
    ASSERT_TRUE(file) << mode;
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    ASSERT_TRUE(core::CloseChecked(std::move(file)));
    EXPECT_EQ(folder.Read("bytes"), bytes) << mode;
    file = core::OpenFile(name, "r");
    char read[20];
    ASSERT_EQ(std::fread(read, 1, sizeof read, file.get()), bytes.size());
    EXPECT_EQ(std::string(read, bytes.size()), bytes);
  }
}

TEST(File, ModesAreThoseOfTheLanguage) {
  const TempDir folder;
  const std::string name = NameIn(folder, "file");
  const auto put = [&](const char* mode, const char* text) {
    const core::FileHandle file = core::OpenFile(name, mode);
    return file && std::fputs(text, file.get()) >= 0;
  };
  EXPECT_FALSE(put("rb", "x"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(put("rb+", "x"));
  EXPECT_TRUE(put("wbx", "one"));
  EXPECT_FALSE(put("wbx", "two"));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_TRUE(put("ab", "and"));
  EXPECT_TRUE(put("rb+", "O"));
  EXPECT_EQ(folder.Read("file"), "Oneand");
  EXPECT_TRUE(put("wb", "new"));
  EXPECT_EQ(folder.Read("file"), "new");
  {
    const core::FileHandle both = core::OpenFile(name, "ab+");
    ASSERT_TRUE(both);
    std::fputs("er", both.get());
    ASSERT_TRUE(core::Seek(both.get(), 0));
    char read[6] = {};
    EXPECT_EQ(std::fread(read, 1, 5, both.get()), 5u);
    EXPECT_STREQ(read, "newer");
  }
}

TEST(File, FailuresSayWhy) {
  const TempDir folder;
  for (const char* const mode : {"rb", "wb", "rb+"}) {
    EXPECT_FALSE(core::OpenFile(folder.path().u8string(), mode));
    EXPECT_EQ(errno, EISDIR) << mode;
  }
  for (const char* const mode : {"rb", "wb"}) {
    EXPECT_FALSE(core::OpenFile("", mode));
    EXPECT_EQ(errno, ENOENT) << mode;
    EXPECT_FALSE(core::OpenFile(NameIn(folder, "no folder/file"), mode));
    EXPECT_EQ(errno, ENOENT) << mode;
  }
}

TEST(File, PositionsGoBeyondFourGigabytes) {
  const TempDir folder;
  const core::FileHandle file = core::OpenFile(NameIn(folder, "far"), "wb+");
  const int64_t far = (int64_t{5} << 30) + 7;
  ASSERT_TRUE(core::Seek(file.get(), far));  // nothing is written there: no system keeps the gap
  EXPECT_EQ(core::Position(file.get()), far);
  ASSERT_TRUE(core::Seek(file.get(), -far, SEEK_CUR));
  EXPECT_EQ(core::Position(file.get()), 0);
  EXPECT_FALSE(core::Seek(file.get(), -1));
}

}  // namespace
