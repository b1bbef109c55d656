/// The two file layouts of build styles (docs/formats/build-style.md), and the methods that read and write
/// them.
#include <algorithm>

#include "styles/build_style_table.h"

namespace trq::detail {

using S = KVBUILDSTYLE;

template <>
struct StyleLists<S> {
  static constexpr auto& kRows = kBuildStyleTable;

  static constexpr core::StyleWord<S> kWords[] = {
      WordRow<&S::FileVersion>("file_version"),
      WordRow<&S::UserLevel>("user_level"),
      WordRow<&S::MachineType>("machine_type"),
      WordRow<&S::LayoutWords, 0>("layout_word_1"),
      WordRow<&S::LayoutWords, 1>("layout_word_2"),
      WordRow<&S::LayoutWords, 2>("layout_word_3"),
      WordRow<&S::LayoutWords, 3>("layout_word_4"),
      WordRow<&S::LayoutWords, 4>("layout_word_5"),
      WordRow<&S::LayoutWords, 5>("layout_word_6"),
      WordRow<&S::FurtherHeaderWords, 0>("further_header_word_1"),
      WordRow<&S::FurtherHeaderWords, 1>("further_header_word_2"),
      WordRow<&S::FurtherHeaderWords, 2>("further_header_word_3"),
      WordRow<&S::FurtherHeaderWords, 3>("further_header_word_4"),
      WordRow<&S::FurtherHeaderWords, 4>("further_header_word_5"),
  };

  static constexpr core::StyleText<S> kTexts[] = {
      TextRow<&S::StyleName>("style_name"),
      TextRow<&S::FullPathName>("full_path_name"),
      TextRow<&S::BuildDescription>("build_description"),
      TextRow<&S::Units>("units"),
      TextRow<&S::HeaderTexts, 0>("header_text_1"),
      TextRow<&S::HeaderTexts, 1>("header_text_2"),
      TextRow<&S::HeaderTexts, 2>("header_text_3"),
      TextRow<&S::HeaderTexts, 3>("header_text_4"),
      TextRow<&S::HeaderTexts, 4>("header_text_5"),
      TextRow<&S::HeaderTexts, 5>("header_text_6"),
      TextRow<&S::NoticeText>("notice_text"),
      TextRow<&S::UnstoredTexts, 0>("further_text_1"),
      TextRow<&S::UnstoredTexts, 1>("further_text_2"),
      TextRow<&S::TextsAfterNotice, 0>("more_text_1"),
      TextRow<&S::TextsAfterNotice, 1>("more_text_2"),
      TextRow<&S::TextsAfterNotice, 2>("more_text_3"),
      TextRow<&S::TextsAfterNotice, 3>("more_text_4"),
  };
};

namespace {

using Layout = LayoutItems<S>;

/// Common to both: the regions and what follows them, up to the flags.
constexpr void AddRegions(Layout& layout) {
  layout.Records("Start Z", "QC Min Small Thick Skin Width");
  // Kept: one slot of the file holds two parameters, which are equal after every save and load.
  layout.Records("QC Min Large Thick Skin Width", {}, ItemKind::kSharedRecord);
  layout.Records("QCZ Transition", "QC ZBond");
  layout.Records("Stagger", "Boundary Comp");
  layout.Records("QC LayerDepth");
  layout.Records("Additional Boundaries");
}

/// Common to both: what follows the flags.
constexpr void AddAfterFlags(Layout& layout) {
  layout.Records("UH Flag", "Min Width For Small Spot");
  layout.Text("header_text_6");  // the reverse of the header's order
  layout.Text("header_text_5");
  layout.Records("Small Support Boundary Cure Depth", "Large Support Up Interface Boundary Cure Depth");
}

constexpr Layout Make206() {
  Layout layout;
  layout.Records("Version", {}, ItemKind::kVersion);
  layout.Text("style_name");
  layout.Text("full_path_name");
  AddRegions(layout);
  layout.Add(ItemKind::kFlags, "flags word", 0, core::StyleRecordBytes::kSize);
  AddAfterFlags(layout);
  return layout;
}
constexpr Layout kLayout206 = Make206();

constexpr Layout Make301() {
  Layout layout;
  layout.Words("file_version", "user_level");
  layout.Words("layout_word_1", "layout_word_5");
  layout.Words("machine_type");
  layout.Words("layout_word_6", "further_header_word_5");
  layout.Text("style_name");
  layout.Text("header_text_1", 64);
  layout.Text("header_text_2");
  layout.Text("header_text_3", 32, ItemKind::kBytes);
  layout.Text("header_text_4", 64);
  layout.Text("header_text_5");
  layout.Text("header_text_6");

  layout.Records("Shell Support Spacing");
  layout.Records("AfterSupportCureDepths[0]", "AfterSupportCureDepths[8]");
  layout.Records("Smart Best Surface Finish Layers", "LBP for B2");
  layout.Records("AfterZFilteringFlag[0]", "AfterZFilteringFlag[1]");
  layout.Records("AfterSupportCureDepths[9]", "AfterSupportCureDepths[14]");
  layout.Text("notice_text");
  for (const char* key : {"more_text_1", "more_text_2", "more_text_3", "more_text_4"}) layout.Text(key);
  layout.Text("full_path_name");

  AddRegions(layout);
  layout.Records("DH Flag");
  layout.Records("Small Spot Only Flag", "Z Smoothing Flag");
  layout.Records("High Spatial Tolerance Flag");
  // Kept: the value, but not the default, of the compensation flags is stored inverted.
  layout.Records("Small Line Width Compenstation Flag", {}, ItemKind::kInvertedFlag);
  layout.Records("Large Line Width Compenstation Flag", {}, ItemKind::kInvertedFlag);
  layout.Records("Differential Shrink Flag", "Shelling Flag");
  layout.Records("Layer Only Flag");
  AddAfterFlags(layout);
  layout.Records("Smart Best Surface Finish Flag");
  layout.Records("Z Filtering Flag");
  layout.Records("Interior Boundary Removal Flag", "Draw Large Layer Border Prime Flag");
  // Kept: the Up fills stand before the Up border, here and in member order; the text export has them last.
  layout.Records("Layer Border Power", "Up Hatch 3 Power");
  return layout;
}
constexpr Layout kLayout301 = Make301();

static_assert(kLayout206.count == 188, "items of the 206 layout");
static_assert(kLayout301.count == kHeaderItems + 262, "items of the 301 layout");
static_assert(kLayout301.items[kHeaderItems].offset == kHeaderBytes, "header bytes");

int32_t Inverted(int32_t flag) { return flag == 0 ? 1 : 0; }

BuildStyleParameterRecordInt& FlagOf(S& style, const StyleLayoutItem& item) {
  return *kBuildStyleTable[item.index].member.IntIn(style);
}

}  // namespace

template <>
bool WriteSpecial(StyleSink& sink, S& style, const StyleLayoutItem& item) {
  switch (item.kind) {
    case ItemKind::kVersion:
      return WriteVersion206(sink, style);
    case ItemKind::kSharedRecord:
      style.QCMinLargeThickSkinWidth.CopyRecord(&style.ShellingThickness);
      return sink.Record(style.QCMinLargeThickSkinWidth);
    case ItemKind::kInvertedFlag: {
      BuildStyleParameterRecordInt inverted = FlagOf(style, item);
      inverted.SetValue(Inverted(inverted.GetValue()));
      return sink.Record(inverted);
    }
    default: {  // the flags word
      int32_t mask = 0;
      int32_t bit = 1;
      for (const StyleFlag& flag : kStyleFlags) {
        if ((flag.In(style).GetValue() == 0) == flag.set_when_zero) mask |= bit;
        bit <<= 1;
      }
      BuildStyleParameterRecordInt word;
      word.SetValue(mask);
      return sink.Record(word);
    }
  }
}

template <>
bool ReadSpecial(StyleSource& source, S& style, const StyleLayoutItem& item) {
  switch (item.kind) {
    case ItemKind::kVersion:
      return ReadVersion206(source, style);
    case ItemKind::kSharedRecord:
      if (!source.Record(style.QCMinLargeThickSkinWidth)) return false;
      style.ShellingThickness.CopyRecord(&style.QCMinLargeThickSkinWidth);
      return true;
    case ItemKind::kInvertedFlag: {
      BuildStyleParameterRecordInt& flag = FlagOf(style, item);
      if (!source.Record(flag)) return false;
      flag.SetValue(Inverted(flag.GetValue()));
      return true;
    }
    default: {  // the flags word
      BuildStyleParameterRecordInt word;
      if (!source.Record(word)) return false;
      int32_t bit = 1;
      for (const StyleFlag& flag : kStyleFlags) {
        flag.In(style).SetValue(((word.GetValue() & bit) != 0) != flag.set_when_zero ? 1 : 0);
        bit <<= 1;
      }
      return true;
    }
  }
}

}  // namespace trq::detail

namespace trq::core {

template <>
Span<const StyleWord<KVBUILDSTYLE>> StyleWords<KVBUILDSTYLE>() {
  return detail::StyleLists<KVBUILDSTYLE>::kWords;
}
template <>
Span<const StyleText<KVBUILDSTYLE>> StyleTexts<KVBUILDSTYLE>() {
  return detail::StyleLists<KVBUILDSTYLE>::kTexts;
}
template <>
Span<const StyleLayoutItem> LayoutOf<KVBUILDSTYLE>(StyleLayout layout) {
  if (layout == StyleLayout::kLegacy) return {};
  return layout == StyleLayout::k301 ? detail::kLayout301.All() : detail::kLayout206.All();
}
template <>
bool StoresParameter<KVBUILDSTYLE>(StyleLayout layout, size_t parameter) {
  using detail::ItemKind;
  const auto* const row = &detail::kBuildStyleTable[parameter];
  for (const StyleLayoutItem& item : LayoutOf<KVBUILDSTYLE>(layout)) {
    if (item.kind == ItemKind::kSharedRecord) {
      if (row == detail::BuildRows("Shelling Thickness").begin()) return true;
    } else if (item.kind == ItemKind::kFlags) {
      for (const detail::StyleFlag& flag : detail::kStyleFlags) {
        if (row == flag.row.begin()) return true;
      }
    } else if (item.index == parameter &&
               (item.kind == ItemKind::kRecord || item.kind == ItemKind::kInvertedFlag)) {
      return true;
    }
  }
  return false;
}

Result<size_t> ReadStyle(Bytes bytes, KVBUILDSTYLE& style) {
  return detail::ReadStyleFromBytes(bytes, style, false);
}
Result<size_t> ReadStyle206(Bytes bytes, KVBUILDSTYLE& style) {
  return detail::ReadStyleFromBytes(bytes, style, true);
}
std::string StyleFileBytes(const KVBUILDSTYLE& style, StyleLayout layout) {
  return detail::BytesOfStyle(style, layout);
}

}  // namespace trq::core

using namespace trq::detail;

template class trq::StoredStyle<KVBUILDSTYLE>;

int KVBUILDSTYLE::writeBuildStyle(CString path) { return SaveStyle(*this, path); }
int KVBUILDSTYLE::readBuildStyle(CString path) { return LoadStyle(*this, path); }
int KVBUILDSTYLE::isStyleFileBinary() { return ProbeFile(StyleName); }
