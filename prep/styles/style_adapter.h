/// What build and recoat styles do under names of their own, under one name each; and the way between a
/// library style and a StyleDocument, written once for both.
#pragma once

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "trq/recoat.h"
#include "trq/styles.h"
#include "trqprep/style_document.h"

namespace trqprep {

inline auto ParametersOf(const KVBUILDSTYLE&) { return trq::BuildStyleParameters(); }
inline auto ParametersOf(const KVRECOATSTYLE&) { return trq::RecoatStyleParameters(); }

/// The sweep lists of a style, in file order; a build style has none.
inline std::vector<std::vector<KVSWEEPS>*> SweepListsOf(KVBUILDSTYLE&) { return {}; }
inline std::vector<std::vector<KVSWEEPS>*> SweepListsOf(KVRECOATSTYLE& style) {
  return {&style.SweepList, &style.PrimarySweepList, &style.SecondarySweepList};
}

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
  RecordValues values = {
      record.GetValue(),     record.GetDefaultValue(), record.GetDisplayFlag(), record.GetEditFlag(),
      record.GetRangeFlag(), record.GetMinRange(),     record.GetMaxRange(),    {}};
  for (int i = 0; i < record.GetNumElementsInList(); ++i) {
    values.allowed.push_back(record.GetAnElementFromList(i));
  }
  return values;
}

template <class Record>
void StoreValues(const RecordValues& values, Record& record) {
  using T = decltype(record.GetValue());
  record.SetValue(values.value.As<T>());
  record.SetDefaultValue(values.default_value.As<T>());
  record.SetDisplayFlag(values.display.AsInt());
  record.SetEditFlag(values.edit.AsInt());
  record.SetRangeFlag(values.range.AsInt());
  record.SetMinRange(values.minimum.As<T>());
  record.SetMaxRange(values.maximum.As<T>());
  record.DeleteEntireRangeList();
  for (const Number& value : values.allowed) record.AddElementToList(value.As<T>());
}

/// The number that a word of a style holds.
template <class Style>
Number NumberIn(const trq::core::StyleWord<Style>& word, Style& style) {
  const void* number = word.in(style);
  return word.is_float ? Number(*static_cast<const float*>(number))
                       : Number(*static_cast<const int32_t*>(number));
}

template <class Style>
StyleDocument DocumentOf(Style& style, StyleLayout layout) {
  StyleDocument document;
  document.kind = std::is_same_v<Style, KVBUILDSTYLE> ? StyleKind::kBuild : StyleKind::kRecoat;
  document.layout = layout;
  for (const auto& row : ParametersOf(style)) {
    document.parameters.push_back(
        {row.name, row.named, row.quantity, row.region,
         row.member.With(style, [](const auto& record) { return ValuesOf(record); })});
  }
  for (const auto& word : trq::core::StyleWords<Style>()) {
    document.words.push_back({word.key, NumberIn(word, style)});
  }
  for (const auto& text : trq::core::StyleTexts<Style>()) {
    document.texts.push_back({text.key, text.in(style).str()});
  }
  auto list = document.sweeps.begin();
  for (const std::vector<KVSWEEPS>* sweeps : SweepListsOf(style)) {
    for (const KVSWEEPS& sweep : *sweeps) {
      list->push_back({ValuesOf(sweep.BladeGap), ValuesOf(sweep.BladeVelocity)});
    }
    ++list;
  }
  return document;
}

/// Puts everything that `document` holds into `style`.
template <class Style>
void StoreDocument(const StyleDocument& document, Style& style) {
  auto parameter = document.parameters.begin();
  for (const auto& row : ParametersOf(style)) {
    row.member.With(style, [&](auto& record) { StoreValues(parameter++->record, record); });
  }
  auto stored = document.words.begin();
  for (const auto& word : trq::core::StyleWords<Style>()) {
    const int32_t bits = stored++->number.AsInt();
    std::memcpy(word.in(style), &bits, sizeof bits);
  }
  auto text_entry = document.texts.begin();
  for (const auto& text : trq::core::StyleTexts<Style>()) text.in(style) = CString(text_entry++->text);
  auto list = document.sweeps.begin();
  for (std::vector<KVSWEEPS>* sweeps : SweepListsOf(style)) {
    sweeps->clear();
    for (const SweepValues& values : *list++) {
      KVSWEEPS& sweep = sweeps->emplace_back();
      StoreValues(values.gap, sweep.BladeGap);
      StoreValues(values.velocity, sweep.BladeVelocity);
    }
  }
}

}  // namespace trqprep
