#include <gtest/gtest.h>

#include <random>
#include <string>

#include "trqprep/base64.h"
#include "trqprep/glob.h"
#include "trqprep/paths.h"
#include "trqprep/sha256.h"
#if __has_include(<fnmatch.h>)
#include <fnmatch.h>
#endif

namespace trqprep {
namespace {

// The examples of the standards that define them: FIPS 180-2 and RFC 4648.
TEST(Sha256, OfTheStandardsExamples) {
  EXPECT_EQ(Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, BeginsAnewAfterASum) {
  Sha256Digest digest;
  digest.Add("something else");
  digest.Hex();
  digest.Add("a");
  digest.Add("bc");
  EXPECT_EQ(digest.Hex(), Sha256("abc"));
}

TEST(Base64, OfTheStandardsExamples) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Base64(std::string("\xFB\xFF\xBF\x00", 4)), "+/+/AA==");
}

TEST(Glob, TakesStarsMarksAndSets) {
  EXPECT_TRUE(MatchesGlob("layer*", "Layer Thickness"));
  EXPECT_TRUE(MatchesGlob("*a*b*c", "xaybzc"));
  EXPECT_FALSE(MatchesGlob("*a*b*c", "xaybzcd"));
  EXPECT_TRUE(MatchesGlob("[!x-z]?[[:digit:]]", "ab7"));
  EXPECT_FALSE(MatchesGlob("[!x-z]?[[:digit:]]", "yb7"));
  EXPECT_TRUE(MatchesGlob("[]a]", "]"));
  EXPECT_TRUE(MatchesGlob("[a", "[a"));
  EXPECT_TRUE(MatchesGlob("\\*", "*"));
  EXPECT_FALSE(MatchesGlob("\\*", "a"));
}

#ifdef FNM_NOMATCH
// Of random patterns from few characters the C library says the same.
TEST(Glob, TakesWhatTheSystemTakes) {
  std::mt19937 draw(20);
  const auto text = [&](const std::string& from, unsigned longest) {
    std::string made;
    for (unsigned left = draw() % (longest + 1); left > 0; --left) made += from[draw() % from.size()];
    return made;
  };
  unsigned matching = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::string pattern = text("ab*?[]-!^\\c", 8), name = text("abc]-[*", 6);
    const bool expected = fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    ASSERT_EQ(MatchesGlob(pattern, name), expected) << pattern << " " << name;
    matching += expected;
  }
  EXPECT_GT(matching, 5000u);
}
#endif

TEST(Paths, TellFolderAndName) {
  EXPECT_EQ(FolderOf("gear.stl"), ".");
  EXPECT_EQ(FolderOf("/gear.stl"), "/");
  EXPECT_EQ(FolderOf("parts/old/gear.stl"), "parts/old");
  EXPECT_EQ(FileNameOf("gear.stl"), "gear.stl");
  EXPECT_EQ(FileNameOf("parts/gear.stl"), "gear.stl");
  EXPECT_EQ(FileNameOf("parts/"), "");
  EXPECT_TRUE(IsAbsolute("/gear.stl"));
  EXPECT_FALSE(IsAbsolute("gear.stl"));
  EXPECT_FALSE(IsAbsolute(""));
}

// Elsewhere '\' and ':' are characters like others.
TEST(Paths, AreSpelledTheSystemsWay) {
#ifdef _WIN32
  EXPECT_EQ(NamedPath("parts\\old/gear.stl"), "parts/old/gear.stl");
  EXPECT_EQ(NamedPath("\\\\server\\shelf\\gear.stl"), "//server/shelf/gear.stl");
  EXPECT_TRUE(IsAbsolute("C:/gear.stl"));
  EXPECT_EQ(FolderOf("C:/gear.stl"), "C:/");
  EXPECT_EQ(FolderOf("C:/parts/gear.stl"), "C:/parts");
  EXPECT_EQ(FolderOf("C:gear.stl"), "C:");
  EXPECT_EQ(FileNameOf("C:gear.stl"), "gear.stl");
#else
  EXPECT_EQ(NamedPath("parts\\gear.stl"), "parts\\gear.stl");
  EXPECT_FALSE(IsAbsolute("C:/gear.stl"));
  EXPECT_EQ(FolderOf("C:/gear.stl"), "C:");
  EXPECT_EQ(FileNameOf("C:gear.stl"), "C:gear.stl");
#endif
}

}  // namespace
}  // namespace trqprep
