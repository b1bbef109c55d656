/// What build and recoat styles do under names of their own, under one name each; and the way between a
/// library style and a StyleDocument, written once for both.
#pragma once

#include <cstring>
#include <string>

#include "trq/recoat.h"
#include "trq/styles.h"
#include "trqprep/style_document.h"

namespace trqprep {

template <class Style>
struct WordRow {
  const char* key;
  bool is_float;
  void* (*word)(Style&);
};

template <class Style>
struct TextRow {
  const char* key;
  CString& (*text)(Style&);
};

template <class Style>
struct StyleTraits;

#define TRQPREP_WORD(key, is_float, member)                \
  {                                                        \
    key, is_float, [](S& s) -> void* { return &s.member; } \
  }
#define TRQPREP_TEXT(key, member)                  \
  {                                                \
    key, [](S& s) -> CString& { return s.member; } \
  }

template <>
struct StyleTraits<KVBUILDSTYLE> {
  using S = KVBUILDSTYLE;
  static constexpr StyleKind kKind = StyleKind::kBuild;
  static constexpr WordRow<S> kWords[] = {
      TRQPREP_WORD("file_version", true, FileVersion),
      TRQPREP_WORD("user_level", false, UserLevel),
      TRQPREP_WORD("machine_type", false, MachineType),
      TRQPREP_WORD("layout_word_1", false, LayoutWords[0]),
      TRQPREP_WORD("layout_word_2", false, LayoutWords[1]),
      TRQPREP_WORD("layout_word_3", false, LayoutWords[2]),
      TRQPREP_WORD("layout_word_4", false, LayoutWords[3]),
      TRQPREP_WORD("layout_word_5", false, LayoutWords[4]),
      TRQPREP_WORD("layout_word_6", false, LayoutWords[5]),
      TRQPREP_WORD("further_header_word_1", false, FurtherHeaderWords[0]),
      TRQPREP_WORD("further_header_word_2", false, FurtherHeaderWords[1]),
      TRQPREP_WORD("further_header_word_3", false, FurtherHeaderWords[2]),
      TRQPREP_WORD("further_header_word_4", false, FurtherHeaderWords[3]),
      TRQPREP_WORD("further_header_word_5", false, FurtherHeaderWords[4]),
  };
  static constexpr TextRow<S> kTexts[] = {
      TRQPREP_TEXT("style_name", StyleName),
      TRQPREP_TEXT("full_path_name", FullPathName),
      TRQPREP_TEXT("build_description", BuildDescription),
      TRQPREP_TEXT("units", Units),
      TRQPREP_TEXT("header_text_1", HeaderTexts[0]),
      TRQPREP_TEXT("header_text_2", HeaderTexts[1]),
      TRQPREP_TEXT("header_text_3", HeaderTexts[2]),
      TRQPREP_TEXT("header_text_4", HeaderTexts[3]),
      TRQPREP_TEXT("header_text_5", HeaderTexts[4]),
      TRQPREP_TEXT("header_text_6", HeaderTexts[5]),
      TRQPREP_TEXT("notice_text", NoticeText),
      TRQPREP_TEXT("further_text_1", FurtherTexts[0]),
      TRQPREP_TEXT("further_text_2", FurtherTexts[1]),
      TRQPREP_TEXT("more_text_1", MoreTexts[0]),
      TRQPREP_TEXT("more_text_2", MoreTexts[1]),
      TRQPREP_TEXT("more_text_3", MoreTexts[2]),
      TRQPREP_TEXT("more_text_4", MoreTexts[3]),
  };
  static auto Parameters() { return trq::BuildStyleParameters(); }
  static int WriteText(S& style, const CString& path) { return style.writeAsciiBuildStyle(path); }
  static std::vector<KVSWEEPS>* SweepList(S&, int) { return nullptr; }
};

template <>
struct StyleTraits<KVRECOATSTYLE> {
  using S = KVRECOATSTYLE;
  static constexpr StyleKind kKind = StyleKind::kRecoat;
  static constexpr WordRow<S> kWords[] = {
      TRQPREP_WORD("file_version", true, FileVersion),
      TRQPREP_WORD("user_level", false, UserLevel),
      TRQPREP_WORD("machine_type", false, MachineType),
      TRQPREP_WORD("layer_thickness", true, LayerThickness),
      TRQPREP_WORD("layout_word_1", false, LayoutWords[0]),
      TRQPREP_WORD("layout_word_2", false, LayoutWords[1]),
      TRQPREP_WORD("layout_word_3", false, LayoutWords[2]),
      TRQPREP_WORD("layout_word_4", false, LayoutWords[3]),
      TRQPREP_WORD("layout_word_5", false, LayoutWords[4]),
      TRQPREP_WORD("further_header_word_1", false, FurtherHeaderWords[0]),
      TRQPREP_WORD("further_header_word_2", false, FurtherHeaderWords[1]),
      TRQPREP_WORD("further_header_word_3", false, FurtherHeaderWords[2]),
      TRQPREP_WORD("further_header_word_4", false, FurtherHeaderWords[3]),
      TRQPREP_WORD("further_header_word_5", false, FurtherHeaderWords[4]),
  };
  static constexpr TextRow<S> kTexts[] = {
      TRQPREP_TEXT("style_name", StyleName),
      TRQPREP_TEXT("full_path_name", FullPathName),
      TRQPREP_TEXT("build_description", BuildDescription),
      TRQPREP_TEXT("units", Units),
      TRQPREP_TEXT("further_text_1", FurtherTexts[0]),
      TRQPREP_TEXT("further_text_2", FurtherTexts[1]),
      TRQPREP_TEXT("more_text_1", MoreTexts[0]),
      TRQPREP_TEXT("more_text_2", MoreTexts[1]),
      TRQPREP_TEXT("more_text_3", MoreTexts[2]),
      TRQPREP_TEXT("more_text_4", MoreTexts[3]),
      TRQPREP_TEXT("more_text_5", MoreTexts[4]),
      TRQPREP_TEXT("late_text_1", LateTexts[0]),
      TRQPREP_TEXT("late_text_2", LateTexts[1]),
      TRQPREP_TEXT("late_text_3", LateTexts[2]),
      TRQPREP_TEXT("late_text_4", LateTexts[3]),
  };
  static auto Parameters() { return trq::RecoatStyleParameters(); }
  static int WriteText(S& style, const CString& path) { return style.writeAsciiRecoatStyle(path); }
  static std::vector<KVSWEEPS>* SweepList(S& style, int list) {
    std::vector<KVSWEEPS>* lists[kSweepLists] = {&style.SweepList, &style.PrimarySweepList,
                                                 &style.SecondarySweepList};
    return lists[list];
  }
};
#undef TRQPREP_WORD
#undef TRQPREP_TEXT

/// Calls `use` with a new style of the kind.
template <class Use>
auto WithNewStyle(StyleKind kind, Use use) {
  if (kind == StyleKind::kBuild) {
    KVBUILDSTYLE style;
    return use(style);
  }
  KVRECOATSTYLE style;
  return use(style);
}

template <class Record>
RecordValues ValuesOf(const Record& record) {
  RecordValues values;
  values.value = Number(record.GetValue());
  values.default_value = Number(record.GetDefaultValue());
  values.display = record.GetDisplayFlag();
  values.edit = record.GetEditFlag();
  values.range = record.GetRangeFlag();
  values.minimum = Number(record.GetMinRange());
  values.maximum = Number(record.GetMaxRange());
  for (int i = 0; i < record.GetNumElementsInList(); ++i) {
    values.allowed.push_back(Number(record.GetAnElementFromList(i)));
  }
  return values;
}

template <class Record>
void StoreValues(const RecordValues& values, Record& record) {
  const auto number = [](const Number& value) {
    if constexpr (std::is_same_v<decltype(record.GetValue()), float>) {
      return value.AsFloat();
    } else {
      return value.AsInt();
    }
  };
  record.SetValue(number(values.value));
  record.SetDefaultValue(number(values.default_value));
  record.SetDisplayFlag(values.display);
  record.SetEditFlag(values.edit);
  record.SetRangeFlag(values.range);
  record.SetMinRange(number(values.minimum));
  record.SetMaxRange(number(values.maximum));
  record.DeleteEntireRangeList();
  for (const Number& value : values.allowed) record.AddElementToList(number(value));
}

/// Calls `use` with the record of a table row in `style`.
template <class Row, class Style, class Use>
void WithRowRecord(const Row& row, Style& style, Use use) {
  if (row.member.is_float()) {
    use(*row.member.FloatIn(style));
  } else {
    use(*row.member.IntIn(style));
  }
}

template <class Style>
StyleDocument DocumentOf(Style& style, StyleLayout layout) {
  using Traits = StyleTraits<Style>;
  StyleDocument document;
  document.kind = Traits::kKind;
  document.layout = layout;
  for (const auto& row : Traits::Parameters()) {
    StyleParameter parameter;
    parameter.name = row.name;
    parameter.named = row.named;
    parameter.unit = row.quantity;
    parameter.region = row.region;
    WithRowRecord(row, style, [&](auto& record) { parameter.record = ValuesOf(record); });
    document.parameters.push_back(std::move(parameter));
  }
  for (const auto& row : Traits::kWords) {
    std::int32_t bits;
    std::memcpy(&bits, row.word(style), sizeof bits);
    Number number(bits);
    if (row.is_float) {
      float value;
      std::memcpy(&value, &bits, sizeof value);
      number = Number(value);
    }
    document.words.push_back({row.key, number});
  }
  for (const auto& row : Traits::kTexts) document.texts.push_back({row.key, row.text(style).str()});
  for (int list = 0; list < kSweepLists; ++list) {
    const std::vector<KVSWEEPS>* sweeps = Traits::SweepList(style, list);
    if (!sweeps) continue;
    for (const KVSWEEPS& sweep : *sweeps) {
      document.sweeps[static_cast<std::size_t>(list)].push_back(
          {ValuesOf(sweep.BladeGap), ValuesOf(sweep.BladeVelocity)});
    }
  }
  return document;
}

/// Puts everything that `document` holds into `style`.
template <class Style>
void StoreDocument(const StyleDocument& document, Style& style) {
  using Traits = StyleTraits<Style>;
  std::size_t i = 0;
  for (const auto& row : Traits::Parameters()) {
    WithRowRecord(row, style, [&](auto& record) { StoreValues(document.parameters[i].record, record); });
    ++i;
  }
  i = 0;
  for (const auto& row : Traits::kWords) {
    const std::uint32_t bits = document.words[i++].number.bits();
    std::memcpy(row.word(style), &bits, sizeof bits);
  }
  i = 0;
  for (const auto& row : Traits::kTexts) row.text(style) = CString(document.texts[i++].text);
  for (int list = 0; list < kSweepLists; ++list) {
    std::vector<KVSWEEPS>* sweeps = Traits::SweepList(style, list);
    if (!sweeps) continue;
    sweeps->clear();
    for (const SweepValues& values : document.sweeps[static_cast<std::size_t>(list)]) {
      KVSWEEPS sweep;
      StoreValues(values.gap, sweep.BladeGap);
      StoreValues(values.velocity, sweep.BladeVelocity);
      sweeps->push_back(sweep);
    }
  }
}

}  // namespace trqprep
