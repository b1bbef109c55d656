#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "tests/recoat/recoat_styles.h"
#include "tests/support/byte_builder.h"
#include "tests/support/temp_dir.h"
#include "trq/core/style_file.h"
#include "trq/recoat.h"

using test_support::FilledStyle;
using test_support::ReadFile;
using test_support::TempDir;
using trq::core::LayoutOf;
using trq::core::StyleLayout;
using trq::core::StyleLayoutItem;
using Kind = StyleLayoutItem::Kind;

namespace {

std::string Golden(const std::string& name) {
  return ReadFile(std::string(TRQ_TEST_DATA) + "/recoat/" + name);
}

trq::Bytes View(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::size_t OffsetOf(trq::Span<const StyleLayoutItem> items, const std::string& name) {
  for (const StyleLayoutItem& item : items) {
    if (name == item.name) return item.offset;
  }
  return 999999;
}

}  // namespace

TEST(RecoatStyleLayout, TextsAndRecordsStandWhereTheDocumentSays) {
  const auto new_layout = LayoutOf<KVRECOATSTYLE>(StyleLayout::k301);
  EXPECT_EQ(OffsetOf(new_layout, "layer_thickness"), 32u);
  EXPECT_EQ(OffsetOf(new_layout, "style_name"), 56u);
  EXPECT_EQ(OffsetOf(new_layout, "late_text_3"), 56u + 512 + 64 + 512);
  EXPECT_EQ(OffsetOf(new_layout, "full_path_name"), 2264u);
  EXPECT_EQ(OffsetOf(new_layout, "build_description"), 2264u + 512);
  EXPECT_EQ(OffsetOf(new_layout, "units"), 2264u + 512 + 81);
  EXPECT_EQ(OffsetOf(new_layout, "RecoatType"), 2264u + 512 + 81 + 11);
  const auto old_layout = LayoutOf<KVRECOATSTYLE>(StyleLayout::k206);
  EXPECT_EQ(OffsetOf(old_layout, "user_level"), 0u);
  EXPECT_EQ(OffsetOf(old_layout, "Version"), 4u);
  EXPECT_EQ(OffsetOf(old_layout, "machine_type"), 27u);
  EXPECT_EQ(OffsetOf(old_layout, "style_name"), 31u);
}

TEST(RecoatStyleLayout, EveryRecordOfA301FileHasOnePlaceAndTwentySixThatOfA206File) {
  for (const StyleLayout layout : {StyleLayout::k301, StyleLayout::k206}) {
    std::map<std::string, int> times;
    for (const StyleLayoutItem& item : LayoutOf<KVRECOATSTYLE>(layout)) ++times[item.name];
    int records = 0;
    for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
      EXPECT_LE(times[row.name], 1) << row.name;
      records += times[row.name];
    }
    // In a 301 file the header's word replaces "Version".
    EXPECT_EQ(records, layout == StyleLayout::k301 ? 47 : 26);
  }
}

TEST(RecoatStyleLayout, SweepsAreCutIntoTheirRecords) {
  const std::string golden = Golden("filled_301.rcs");
  const auto pieces = trq::core::CutStyleFile(LayoutOf<KVRECOATSTYLE>(StyleLayout::k301), View(golden));
  ASSERT_TRUE(pieces.ok());
  std::string names;
  for (const auto& piece : *pieces) {
    if (piece.name.find('[') != std::string::npos && piece.name.find("Kept") == std::string::npos) {
      names += piece.name + "; ";
      EXPECT_EQ(piece.size, piece.name.find("gap") != std::string::npos ? 27u : 23u) << piece.name;
    }
  }
  EXPECT_EQ(names,
            "sweeps[1] gap; sweeps[1] velocity; sweeps[2] gap; sweeps[2] velocity; sweeps[3] gap; "
            "sweeps[3] velocity; primary[1] gap; primary[1] velocity; secondary[1] gap; "
            "secondary[1] velocity; secondary[2] gap; secondary[2] velocity; ");
  EXPECT_EQ(pieces->back().offset + pieces->back().size + 4, golden.size());
}

TEST(RecoatStyleLayout, StoredParametersOfEachLayout) {
  const auto stored = [](StyleLayout layout, const char* name) {
    const auto rows = trq::RecoatStyleParameters();
    return trq::core::StoresParameter<KVRECOATSTYLE>(
        layout, static_cast<std::size_t>(rows.Find(name) - rows.begin()));
  };
  for (const StyleLayout layout : {StyleLayout::k301, StyleLayout::k206, StyleLayout::kLegacy}) {
    EXPECT_TRUE(stored(layout, "Z Wait"));
    EXPECT_TRUE(stored(layout, "Num Sweeps"));
    EXPECT_TRUE(stored(layout, "RecoatType"));
    EXPECT_FALSE(stored(layout, "Version"));
    EXPECT_EQ(stored(layout, "KeptInts[9]"), layout == StyleLayout::k301);
    EXPECT_EQ(stored(layout, "Preferred Blade Gap"), layout == StyleLayout::k301);
  }
}

TEST(RecoatStyleBytes, AreTheGoldenFilesAndReadAsThey) {
  for (const StyleLayout layout : {StyleLayout::k301, StyleLayout::k206}) {
    const std::string golden = Golden(layout == StyleLayout::k301 ? "filled_301.rcs" : "filled_206.rcs");
    EXPECT_EQ(trq::core::StyleFileBytes(FilledStyle(), layout), golden);
    KVRECOATSTYLE read;
    const auto used = layout == StyleLayout::k301 ? trq::core::ReadStyle(View(golden), read)
                                                  : trq::core::ReadStyle206(View(golden), read);
    ASSERT_TRUE(used.ok());
    EXPECT_EQ(*used + 4, golden.size());
    EXPECT_EQ(trq::core::StyleFileBytes(read, layout), golden);
  }
}

TEST(RecoatStyleBytes, Version400IsUnknown) {
  std::string bytes = trq::core::StyleFileBytes(KVRECOATSTYLE(), StyleLayout::k301);
  const float version = 4.0f;
  test_support::PutWord(bytes, 0, version);
  KVRECOATSTYLE style;
  const auto read = trq::core::ReadStyle(View(bytes), style);
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().code, trq::core::ErrorCode::kUnknownVersion);
}

TEST(RecoatStyleBytes, TextExportIsTheFiles) {
  EXPECT_EQ(trq::core::StyleTextExport(FilledStyle(), false), Golden("filled.txt"));
  EXPECT_EQ(trq::core::StyleTextExport(FilledStyle(), true), Golden("filled.csv"));
}

TEST(LegacyRecoatLayout, NumbersFollowTheTexts) {
  const auto items = LayoutOf<RECOATSTYLE>(StyleLayout::kLegacy);
  EXPECT_EQ(OffsetOf(items, "Version"), 0u);
  EXPECT_EQ(OffsetOf(items, "style_name"), 4u);
  EXPECT_EQ(OffsetOf(items, "full_path_name"), 516u);
  EXPECT_EQ(OffsetOf(items, "build_description"), 1028u);
  EXPECT_EQ(OffsetOf(items, "RecoatType"), 1109u);
  EXPECT_EQ(OffsetOf(items, "Start Z"), 1113u);
  EXPECT_EQ(OffsetOf(items, "Num Sweeps"), 1113u + 20 * 4);
  EXPECT_EQ(OffsetOf(items, "sweeps"), 1209u);
  EXPECT_TRUE(LayoutOf<RECOATSTYLE>(StyleLayout::k301).empty());
}

TEST(LegacyRecoatBytes, KeepTheStoredPath) {
  const std::string golden = Golden("legacy_sweeps.rcs");
  RECOATSTYLE style("elsewhere.rcs");
  const auto used = trq::core::ReadStyle(View(golden), style);
  ASSERT_TRUE(used.ok());
  EXPECT_EQ(*used, golden.size());
  EXPECT_EQ(style.FullPathName, "styles/Old.rcs");
  EXPECT_EQ(trq::core::StyleFileBytes(style), golden);
  const auto cut = trq::core::ReadStyle(View(golden.substr(0, 1200)), style);
  ASSERT_FALSE(cut.ok());
  EXPECT_EQ(cut.error().code, trq::core::ErrorCode::kCutShort);
}

TEST(LegacyRecoatStream, TakesTheCallersStreamAndNull) {
  const TempDir dir;
  RECOATSTYLE style(dir.Write("legacy.rcs", Golden("legacy.rcs")).c_str());
  const RECOATSTYLE copy(style);
  FILE* stream = std::tmpfile();
  style.file = stream;
  EXPECT_EQ(static_cast<FILE*>(copy.file), stream);  // copies share it
  ASSERT_EQ(std::fclose(style.file), 0);
  style.file = NULL;
  EXPECT_EQ(copy.file, nullptr);
  EXPECT_EQ(style.binaryReadStyle(), 0);
  EXPECT_EQ(style.file, nullptr);
}
