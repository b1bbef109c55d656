/// The two file layouts of recoat styles (docs/formats/recoat-style.md).
#include <algorithm>

#include "recoat/recoat_style_table.h"
#include "styles/style_file.h"

namespace trq::detail {

using S = KVRECOATSTYLE;

template <>
struct StyleLists<S> {
  static constexpr auto& kRows = kRecoatRows;

  static constexpr core::StyleWord<S> kWords[] = {
      WordRow<&S::FileVersion>("file_version"),
      WordRow<&S::UserLevel>("user_level"),
      WordRow<&S::MachineType>("machine_type"),
      WordRow<&S::LayerThickness>("layer_thickness"),
      WordRow<&S::LayoutWords, 0>("layout_word_1"),
      WordRow<&S::LayoutWords, 1>("layout_word_2"),
      WordRow<&S::LayoutWords, 2>("layout_word_3"),
      WordRow<&S::LayoutWords, 3>("layout_word_4"),
      WordRow<&S::LayoutWords, 4>("layout_word_5"),
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
      TextRow<&S::ClosingTexts, 0>("further_text_1"),
      TextRow<&S::ClosingTexts, 1>("further_text_2"),
      TextRow<&S::BodyTexts, 0>("more_text_1"),
      TextRow<&S::BodyTexts, 1>("more_text_2"),
      TextRow<&S::BodyTexts, 2>("more_text_3"),
      TextRow<&S::BodyTexts, 3>("more_text_4"),
      TextRow<&S::BodyTexts, 4>("more_text_5"),
      TextRow<&S::HeaderTexts, 0>("late_text_1"),
      TextRow<&S::HeaderTexts, 1>("late_text_2"),
      TextRow<&S::HeaderTexts, 2>("late_text_3"),
      TextRow<&S::HeaderTexts, 3>("late_text_4"),
  };
};

namespace {

constexpr std::vector<KVSWEEPS> S::*kSweepLists[] = {&S::SweepList, &S::PrimarySweepList,
                                                     &S::SecondarySweepList};
constexpr const char* kSweepListNames[] = {"sweeps", "primary", "secondary"};
constexpr size_t kFirstCount = IndexOf(kRecoatRows, &RecoatStyleParameterRow::name, "Num Sweeps");

using Layout = LayoutItems<S>;

/// Common to both: where the style stands and what it is.
constexpr void AddOrigin(Layout& layout) {
  layout.Text("full_path_name");
  layout.Text("build_description", 81);
  layout.Text("units", 11);
  layout.Records("RecoatType");
}

/// Common to both: the counts, and the sweeps that they count.
constexpr void AddCountsAndSweeps(Layout& layout) {
  layout.Records("Num Sweeps", "Num Tooling SecondarySweeps", ItemKind::kCount);
  for (size_t list = 0; list < std::size(kSweepLists); ++list) {
    layout.Add(ItemKind::kSweeps, kSweepListNames[list], list, 2 * core::StyleRecordBytes::kSize);
  }
}

constexpr Layout Make301() {
  Layout layout;
  layout.Words("file_version", "user_level");
  layout.Words("layout_word_1", "layout_word_5");
  layout.Words("machine_type", "layer_thickness");
  layout.Words("further_header_word_1", "further_header_word_5");
  layout.Text("style_name");
  layout.Text("late_text_1", 64);
  layout.Text("late_text_2");
  layout.Text("late_text_3", 32, ItemKind::kBytes);
  layout.Text("late_text_4", 64);
  layout.Text("further_text_1");
  layout.Text("further_text_2");

  AddOrigin(layout);
  layout.Records("Start Z", "Z Wait");
  layout.Records("Preferred Blade Gap Flag", "KeptInts[9]");
  for (const char* key : {"more_text_1", "more_text_2", "more_text_3", "more_text_4", "more_text_5"}) {
    layout.Text(key);
  }
  layout.Records("Primary ZVelocity", "Number Of Secondary");
  AddCountsAndSweeps(layout);
  return layout;
}
constexpr Layout kLayout301 = Make301();
static_assert(kLayout301.items[kHeaderItems].offset == kHeaderBytes, "the head of a 301 file");

constexpr Layout Make206() {
  Layout layout;
  layout.Words("user_level");
  layout.Records("Version", {}, ItemKind::kVersion);
  layout.Words("machine_type");
  layout.Text("style_name");
  AddOrigin(layout);
  layout.Records("Start Z", "Number Of Secondary");
  AddCountsAndSweeps(layout);
  layout.Text("further_text_1");
  layout.Text("further_text_2");
  return layout;
}
constexpr Layout kLayout206 = Make206();

RecoatStyleParameterRecordInt& CountRecord(S& style, size_t list) {
  return *kRecoatRows[kFirstCount + list].member.IntIn(style);
}

}  // namespace

// Kept: the maximum of a count record, not its value, is the number of sweeps in the file. A maximum of 0 or
// less writes none.
template <>
bool WriteSpecial(StyleSink& sink, S& style, const StyleLayoutItem& item) {
  if (item.kind == ItemKind::kVersion) return WriteVersion206(sink, style);
  const bool is_count = item.kind == ItemKind::kCount;
  const size_t list = is_count ? item.index - kFirstCount : item.index;
  const std::vector<KVSWEEPS>& sweeps = style.*kSweepLists[list];
  RecoatStyleParameterRecordInt& count = CountRecord(style, list);
  if (is_count) {
    if (count.GetMaxRange() > 0) count.SetMaxRange(int(sweeps.size()));
    return sink.Record(count);
  }
  if (count.GetMaxRange() <= 0) return true;
  return std::all_of(sweeps.begin(), sweeps.end(), [&sink](const KVSWEEPS& sweep) {
    return sink.Record(sweep.BladeGap) && sink.Record(sweep.BladeVelocity);
  });
}

template <>
bool ReadSpecial(StyleSource& source, S& style, const StyleLayoutItem& item) {
  if (item.kind == ItemKind::kVersion) return ReadVersion206(source, style);
  if (item.kind == ItemKind::kCount) {
    const size_t list = item.index - kFirstCount;
    return source.Record(CountRecord(style, list), &source.sweep_counts[list]);
  }
  std::vector<KVSWEEPS>& sweeps = style.*kSweepLists[item.index];
  sweeps.clear();
  // The number is a claim: the list grows with the sweeps that come.
  for (int32_t i = 0; i < source.sweep_counts[item.index]; ++i) {
    KVSWEEPS sweep;
    if (!source.Record(sweep.BladeGap) || !source.Record(sweep.BladeVelocity)) return false;
    sweeps.push_back(std::move(sweep));
  }
  return true;
}

}  // namespace trq::detail

namespace trq::core {

template <>
Span<const StyleWord<KVRECOATSTYLE>> StyleWords<KVRECOATSTYLE>() {
  return detail::StyleLists<KVRECOATSTYLE>::kWords;
}
template <>
Span<const StyleText<KVRECOATSTYLE>> StyleTexts<KVRECOATSTYLE>() {
  return detail::StyleLists<KVRECOATSTYLE>::kTexts;
}
template <>
Span<const StyleLayoutItem> LayoutOf<KVRECOATSTYLE>(StyleLayout layout) {
  if (layout == StyleLayout::kLegacy) return {};
  return layout == StyleLayout::k301 ? detail::kLayout301.All() : detail::kLayout206.All();
}
template <>
bool StoresParameter<KVRECOATSTYLE>(StyleLayout layout, size_t parameter) {
  using detail::ItemKind;
  if (layout == StyleLayout::kLegacy) {
    for (const StyleLayoutItem& item : LayoutOf<RECOATSTYLE>(layout)) {
      if (item.kind == ItemKind::kWord &&
          std::string_view(item.name) == detail::kRecoatRows[parameter].name && item.offset != 0) {
        return true;
      }
    }
    return false;
  }
  for (const StyleLayoutItem& item : LayoutOf<KVRECOATSTYLE>(layout)) {
    if (item.index == parameter && (item.kind == ItemKind::kRecord || item.kind == ItemKind::kCount))
      return true;
  }
  return false;
}

Result<size_t> ReadStyle(Bytes bytes, KVRECOATSTYLE& style) {
  return detail::ReadStyleFromBytes(bytes, style, false);
}
Result<size_t> ReadStyle206(Bytes bytes, KVRECOATSTYLE& style) {
  return detail::ReadStyleFromBytes(bytes, style, true);
}
std::string StyleFileBytes(const KVRECOATSTYLE& style, StyleLayout layout) {
  return detail::BytesOfStyle(style, layout);
}

}  // namespace trq::core

using namespace trq::detail;

template class trq::StoredStyle<KVRECOATSTYLE>;

int KVRECOATSTYLE::writeRecoatStyle(CString path) { return SaveStyle(*this, path); }
int KVRECOATSTYLE::readRecoatStyle(CString path) { return LoadStyle(*this, path); }
