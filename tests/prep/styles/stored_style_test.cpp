#include "trqprep/stored_style.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

using namespace trqprep;
using test_support::ReadFile;

namespace {

std::string Golden(const std::string& name) { return ReadFile(std::string(TRQ_TEST_DATA) + "/" + name); }

StyleFile Examined(const std::string& name, std::string bytes) {
  return ExamineStyle(name, std::move(bytes), std::nullopt).value();
}

}  // namespace

TEST(StoredStyle, GoldenFilesComeBackByteForByte) {
  for (const char* name : {"styles/filled_301.sty", "styles/default_206.sty", "recoat/filled_301.rcs",
                           "recoat/filled_206.rcs"}) {
    const std::string bytes = Golden(name);
    const StyleFile file = Examined("style", bytes);  // no ending tells the kind
    EXPECT_TRUE(file.complete && file.ends_right && file.crc_valid()) << name;
    EXPECT_EQ(StyleBytes(file.style), bytes) << name;
    EXPECT_TRUE(ChangesByRewriting(file).lost.empty()) << name;
    EXPECT_TRUE(LostInFile(file.style).empty()) << name;
  }
}

TEST(StoredStyle, OldLayoutsAreReadAsTheApplicationReadsThem) {
  const StyleFile old = Examined("a.sty", Golden("styles/default_206.sty"));
  EXPECT_EQ(old.layout, StyleLayout::k206);
  EXPECT_EQ(old.style.Find("Version")->record.value.AsFloat(), 2.06f);
  const StyleDocument read = AsRead(old);
  EXPECT_EQ(read.layout, StyleLayout::k301);
  EXPECT_EQ(read.Find("Version")->record.value.AsFloat(), 3.01f);
  const StyleFile legacy = Examined("a.rcs", Golden("recoat/legacy_sweeps.rcs"));
  EXPECT_EQ(legacy.layout, StyleLayout::kLegacy);
  EXPECT_EQ(legacy.style.FindText("full_path_name")->text, "styles/Old.rcs");
  EXPECT_EQ(legacy.style.Find("End Z")->record.value.AsFloat(), 12.25f);
}

TEST(StoredStyle, LegacyFilesOfAnotherLengthAreNone) {
  EXPECT_FALSE(ExamineStyle("a.rcs", Golden("recoat/legacy_sweeps.rcs") + "x", std::nullopt));
}

TEST(StoredStyle, ATextWithoutNulIsLost) {
  std::string bytes = Golden("styles/default_301.sty");
  bytes.replace(56, 512, std::string(512, 'x'));
  const RewriteChanges changes = ChangesByRewriting(Examined("a.sty", bytes));
  ASSERT_EQ(changes.lost.size(), 1u);
  EXPECT_EQ(changes.lost[0].name, "style_name");
  EXPECT_EQ(changes.lost[0].offset, 56u);
  EXPECT_TRUE(changes.notes.empty());
}

TEST(StoredStyle, WrittenAndReadTheSharedPlaceDecides) {
  StyleDocument style = NewStyle(StyleKind::kBuild);
  style.Find("QC Min Large Thick Skin Width")->record.value = Number(5.0f);
  const auto lost = LostInFile(style);
  ASSERT_EQ(lost.size(), 1u);
  EXPECT_EQ(lost[0].name, "QC Min Large Thick Skin Width");
  EXPECT_EQ(AsWritten(style).Find("QC Min Large Thick Skin Width")->record.value.AsFloat(), 0.02f);
}
