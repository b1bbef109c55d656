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
struct StyleTraits;

template <>
struct StyleTraits<KVBUILDSTYLE> {
  static constexpr StyleKind kKind = StyleKind::kBuild;
  static auto Parameters() { return trq::BuildStyleParameters(); }
  static std::vector<KVSWEEPS>* SweepList(KVBUILDSTYLE&, int) { return nullptr; }
};

template <>
struct StyleTraits<KVRECOATSTYLE> {
  static constexpr StyleKind kKind = StyleKind::kRecoat;
  static auto Parameters() { return trq::RecoatStyleParameters(); }
  static std::vector<KVSWEEPS>* SweepList(KVRECOATSTYLE& style, int list) {
    std::vector<KVSWEEPS>* lists[kSweepLists] = {&style.SweepList, &style.PrimarySweepList,
                                                 &style.SecondarySweepList};
    return lists[list];
  }
};

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

/// The number that a word of a style holds.
template <class Style>
Number NumberIn(const trq::core::StyleWord<Style>& word, Style& style) {
  const void* number = word.in(style);
  return word.is_float ? Number(*static_cast<const float*>(number))
                       : Number(*static_cast<const std::int32_t*>(number));
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
    parameter.quantity = row.quantity;
    parameter.region = row.region;
    WithRowRecord(row, style, [&](auto& record) { parameter.record = ValuesOf(record); });
    document.parameters.push_back(std::move(parameter));
  }
  for (const auto& word : trq::core::StyleWords<Style>()) {
    document.words.push_back({word.key, NumberIn(word, style)});
  }
  for (const auto& text : trq::core::StyleTexts<Style>()) {
    document.texts.push_back({text.key, text.in(style).str()});
  }
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
  for (const auto& word : trq::core::StyleWords<Style>()) {
    const std::uint32_t bits = document.words[i++].number.bits();
    std::memcpy(word.in(style), &bits, sizeof bits);
  }
  i = 0;
  for (const auto& text : trq::core::StyleTexts<Style>()) text.in(style) = CString(document.texts[i++].text);
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
