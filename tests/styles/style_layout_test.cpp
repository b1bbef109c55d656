#include "trq/core/style_layout.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/styles/style_samples.h"
#include "trq/core/style_file.h"

using test_support::GoldenStyle;
using trq::core::LayoutOf;
using trq::core::StyleLayout;
using trq::core::StyleLayoutItem;
using Kind = StyleLayoutItem::Kind;

namespace {

using Items = trq::Span<const StyleLayoutItem>;

trq::Bytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

const StyleLayoutItem* Find(Items items, const std::string& name) {
  for (const StyleLayoutItem& item : items) {
    if (name == item.name) return &item;
  }
  return nullptr;
}

}  // namespace

TEST(BuildStyleLayout, HeaderStandsWhereTheDocumentSays) {
  const Items items = LayoutOf<KVBUILDSTYLE>(StyleLayout::k301);
  const struct {
    const char* name;
    std::size_t offset, size;
    Kind kind;
  } expected[] = {
      {"file_version", 0, 4, Kind::kWord},       {"user_level", 4, 4, Kind::kWord},
      {"layout_word_1", 8, 4, Kind::kWord},      {"machine_type", 28, 4, Kind::kWord},
      {"layout_word_6", 32, 4, Kind::kWord},     {"further_header_word_5", 52, 4, Kind::kWord},
      {"style_name", 56, 512, Kind::kText},      {"header_text_1", 568, 64, Kind::kText},
      {"header_text_2", 632, 512, Kind::kText},  {"header_text_3", 1144, 32, Kind::kBytes},
      {"header_text_4", 1176, 64, Kind::kText},  {"header_text_5", 1240, 512, Kind::kText},
      {"header_text_6", 1752, 512, Kind::kText}, {"Shell Support Spacing", 2264, 23, Kind::kRecord},
  };
  for (const auto& row : expected) {
    const StyleLayoutItem* item = Find(items, row.name);
    ASSERT_NE(item, nullptr) << row.name;
    EXPECT_EQ(item->offset, row.offset) << row.name;
    EXPECT_EQ(item->size, row.size) << row.name;
    EXPECT_EQ(item->kind, row.kind) << row.name;
  }
}

TEST(BuildStyleLayout, EveryRecordOfA301FileHasOnePlace) {
  // "Version" is a header word, "Shelling Thickness" shares a record, six records are in no file.
  const std::set<std::string> nowhere = {
      "Version",
      "Shelling Thickness",
      "AfterSupportCureDepths[15]",
      "AfterSupportCureDepths[16]",
      "AfterSupportCureDepths[17]",
      "AfterSupportCureDepths[18]",
      "AfterSupportCureDepths[19]",
      "AfterSupportCureDepths[20]",
  };
  std::map<std::string, int> times;
  for (const StyleLayoutItem& item : LayoutOf<KVBUILDSTYLE>(StyleLayout::k301)) ++times[item.name];
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    EXPECT_EQ(times[row.name], nowhere.count(row.name) ? 0 : 1) << row.name;
  }
}

TEST(BuildStyleLayout, ItemsFollowOneAnotherAndEndWhereAFileEnds) {
  for (const StyleLayout layout : {StyleLayout::k301, StyleLayout::k206}) {
    std::size_t offset = 0;
    for (const StyleLayoutItem& item : LayoutOf<KVBUILDSTYLE>(layout)) {
      EXPECT_EQ(item.offset, offset) << item.name;
      offset += item.size;
    }
    const char* golden = layout == StyleLayout::k301 ? "default_301.sty" : "default_206.sty";
    EXPECT_EQ(offset + 4, GoldenStyle(golden).size());
  }
  EXPECT_TRUE(LayoutOf<KVBUILDSTYLE>(StyleLayout::kLegacy).empty());
}

TEST(BuildStyleLayout, WordsAndTextsReachTheirMembers) {
  KVBUILDSTYLE style;
  style.LayoutWords[5] = 17;
  style.HeaderTexts[1] = "second";
  const auto words = trq::core::StyleWords<KVBUILDSTYLE>();
  const auto texts = trq::core::StyleTexts<KVBUILDSTYLE>();
  EXPECT_EQ(words.size(), 14u);
  EXPECT_EQ(texts.size(), 17u);
  for (const auto& word : words) {
    if (std::string(word.key) == "layout_word_6") {
      EXPECT_EQ(*static_cast<int32_t*>(word.in(style)), 17);
    }
    EXPECT_EQ(word.is_float, std::string(word.key) == "file_version") << word.key;
  }
  EXPECT_EQ(texts[5].in(style), "second");
}

TEST(BuildStyleLayout, StoredParametersAreThoseThatComeBack) {
  for (const StyleLayout layout : {StyleLayout::k301, StyleLayout::k206}) {
    KVBUILDSTYLE written;
    for (const auto& row : trq::BuildStyleParameters()) {
      if (auto* real = row.member.FloatIn(written)) real->SetValue(real->GetValue() + 1);
      if (auto* whole = row.member.IntIn(written)) whole->SetValue(whole->GetValue() == 0 ? 1 : 0);
    }
    const std::string bytes = trq::core::StyleFileBytes(written, layout);
    KVBUILDSTYLE read;
    const auto result = layout == StyleLayout::k206 ? trq::core::ReadStyle206(BytesOf(bytes), read)
                                                    : trq::core::ReadStyle(BytesOf(bytes), read);
    ASSERT_TRUE(result.ok());
    std::size_t i = 0;
    for (const auto& row : trq::BuildStyleParameters()) {
      const bool same = row.member.is_float()
                            ? row.member.FloatIn(read)->GetValue() == row.member.FloatIn(written)->GetValue()
                            : row.member.IntIn(read)->GetValue() == row.member.IntIn(written)->GetValue();
      EXPECT_EQ(trq::core::StoresParameter<KVBUILDSTYLE>(layout, i++), same) << row.name;
    }
  }
}

TEST(BuildStyleLayout, FilesAreCutAtTheirItems) {
  const std::string golden = GoldenStyle("filled_301.sty");
  const auto pieces = trq::core::CutStyleFile(LayoutOf<KVBUILDSTYLE>(StyleLayout::k301), BytesOf(golden));
  ASSERT_TRUE(pieces.ok());
  std::size_t offset = 0;
  for (const trq::core::StyleFilePiece& piece : *pieces) {
    EXPECT_EQ(piece.offset, offset) << piece.name;
    offset += piece.size;
    if (piece.kind != Kind::kRecord) continue;
    // The golden file's rule: record k of the members has value k + 0.5 or k, and k % 4 allowed values.
    const trq::BuildStyleParameter* row = trq::BuildStyleParameters().Find(piece.name.c_str());
    ASSERT_NE(row, nullptr);
    const auto k = static_cast<std::size_t>(row - trq::BuildStyleParameters().begin());
    EXPECT_EQ(piece.size, 23 + 4 * (k % 4)) << piece.name;
  }
  EXPECT_EQ(offset + 4, golden.size());
}

TEST(BuildStyleLayout, CutFilesSayWhereTheyEnd) {
  const std::string golden = GoldenStyle("default_206.sty");
  const Items layout = LayoutOf<KVBUILDSTYLE>(StyleLayout::k206);
  const auto cut = trq::core::CutStyleFile(layout, BytesOf(golden.substr(0, 23 + 512 + 511)));
  ASSERT_FALSE(cut.ok());
  EXPECT_EQ(cut.error().code, trq::core::ErrorCode::kCutShort);
  EXPECT_EQ(cut.error().place.item, 2u);
  EXPECT_EQ(cut.error().place.byte, 23u + 512u);
  // A number of allowed values that the file does not hold.
  std::string claim = golden.substr(0, 23);
  claim[22] = 0x7F;
  EXPECT_EQ(trq::core::CutStyleFile(layout, BytesOf(claim)).error().place.item, 0u);
}

TEST(BuildStyleBytes, ReadAsTheFilesAre) {
  for (const char* name : {"default_301.sty", "filled_301.sty", "default_206.sty", "filled_206.sty"}) {
    const std::string golden = GoldenStyle(name);
    KVBUILDSTYLE read;
    const auto used = trq::core::ReadStyle(BytesOf(golden), read);
    ASSERT_TRUE(used.ok()) << name;
    EXPECT_EQ(*used + 4, golden.size()) << name;
    const test_support::TempDir dir;
    KVBUILDSTYLE from_file;
    ASSERT_EQ(from_file.binaryReadStyle(dir.Write("style", golden)), 0);
    EXPECT_EQ(test_support::DifferingRecords(read, from_file), std::set<std::string>()) << name;
    EXPECT_EQ(read.StyleName, from_file.StyleName);
    EXPECT_EQ(read.FileVersion, from_file.FileVersion);
  }
}

TEST(BuildStyleBytes, AreTheGoldenFiles) {
  EXPECT_EQ(trq::core::StyleFileBytes(KVBUILDSTYLE(), StyleLayout::k301), GoldenStyle("default_301.sty"));
  EXPECT_EQ(trq::core::StyleFileBytes(KVBUILDSTYLE(), StyleLayout::k206), GoldenStyle("default_206.sty"));
  KVBUILDSTYLE style;
  test_support::FillStyle(style);
  const KVBUILDSTYLE& unchanged = style;
  EXPECT_EQ(trq::core::StyleFileBytes(unchanged, StyleLayout::k301), GoldenStyle("filled_301.sty"));
  EXPECT_EQ(trq::core::StyleFileBytes(unchanged, StyleLayout::kLegacy), "");
}

TEST(BuildStyleBytes, A206FileIsConvertedOrNot) {
  const std::string golden = GoldenStyle("filled_206.sty");
  KVBUILDSTYLE converted, stored;
  ASSERT_TRUE(trq::core::ReadStyle(BytesOf(golden), converted).ok());
  ASSERT_TRUE(trq::core::ReadStyle206(BytesOf(golden), stored).ok());
  EXPECT_EQ(converted.Version.GetValue(), 3.01f);
  EXPECT_EQ(stored.Version.GetValue(), 2.06f);
}

TEST(BuildStyleBytes, ShortAndForeignBytesSayWhereReadingEnded) {
  const std::string golden = GoldenStyle("default_301.sty");
  KVBUILDSTYLE style;
  const auto cut = trq::core::ReadStyle(BytesOf(golden.substr(0, 600)), style);
  ASSERT_FALSE(cut.ok());
  EXPECT_EQ(cut.error().code, trq::core::ErrorCode::kCutShort);
  EXPECT_EQ(cut.error().place.byte, 600u);
  EXPECT_EQ(style.StyleName, "None");
  EXPECT_EQ(trq::core::ReadStyle({}, style).error().code, trq::core::ErrorCode::kCutShort);
  const auto foreign = trq::core::ReadStyle(BytesOf(std::string(100, '\0')), style);
  ASSERT_FALSE(foreign.ok());
  EXPECT_EQ(foreign.error().code, trq::core::ErrorCode::kUnknownVersion);
}

TEST(BuildStyleBytes, TextExportIsTheFiles) {
  const test_support::TempDir dir;
  for (const bool comma : {false, true}) {
    KVBUILDSTYLE style;
    test_support::FillStyle(style);
    style.CommaSeparated = !comma;
    const std::string text = trq::core::StyleTextExport(style, comma);
    style.CommaSeparated = comma;
    ASSERT_EQ(style.writeAsciiBuildStyle(dir.File("text").c_str()), 0);
    EXPECT_EQ(text, dir.Read("text"));
  }
}

TEST(StyleChecksum, HasNoFinalInversion) {
  EXPECT_EQ(trq::core::StyleChecksum(BytesOf("123456789")), 0x340BC6D9u);
  EXPECT_EQ(trq::core::StyleChecksum({}), 0xFFFFFFFFu);
}
