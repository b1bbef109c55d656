/// Styles for tests: filled by the rule of tests/data/styles/make_golden_styles.py, and comparing.
#pragma once

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/temp_dir.h"
#include "trq/styles.h"

namespace test_support {

inline std::string GoldenStyle(const std::string& name) {
  return ReadFile(std::filesystem::path(TRQ_TEST_DATA) / "styles" / name);
}

inline bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Gives every record numbers of its own, which follow from its place `k` in member order.
inline void FillRecords(KVBUILDSTYLE& style) {
  int k = 0;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    const auto fill = [k](auto& record, auto value, auto default_value, auto first, auto step) {
      using T = decltype(record.GetValue());
      record.SetValue(static_cast<T>(value));
      record.SetDefaultValue(static_cast<T>(default_value));
      record.SetDisplayFlag(k % 256);
      record.SetEditFlag(k % 2);
      record.SetRangeFlag(k * 3 % 256);
      record.SetMinRange(static_cast<T>(k - 100));
      record.SetMaxRange(static_cast<T>(k + 100));
      record.DeleteEntireRangeList();
      for (int j = 0; j < k % 4; ++j) record.AddElementToList(static_cast<T>(first + j * step));
    };
    if (BuildStyleParameterRecordFloat* record = row.member.FloatIn(style)) {
      fill(*record, k + 0.5, k + 0.25, k + 0.125, 1);
    } else {
      const bool cleared = row.named && EndsWith(row.name, "Flag") && k % 3 == 0;
      fill(*row.member.IntIn(style), cleared ? 0 : k, k + 1, k, 2);
    }
    ++k;
  }
}

inline std::string RawHeaderText() {
  std::string bytes;
  for (int i = 0; i < 32; ++i) bytes.push_back(static_cast<char>(255 - i));
  return bytes;
}

inline void FillStyle(KVBUILDSTYLE& style) {
  style.FileVersion = 4.0f;
  style.UserLevel = 1;
  style.MachineType = TRQ_ALTOR900;
  for (int i = 0; i < 6; ++i) style.LayoutWords[i] = 11 + i;
  for (int i = 0; i < 5; ++i) style.FurtherHeaderWords[i] = i < 4 ? 21 + i : -25;
  style.StyleName = "Filled style";
  style.FullPathName = "C:\\styles\\filled.sty";
  style.BuildDescription = "Every field differs";
  style.Units = "mm";
  style.HeaderTexts[0] = "Header text 1";
  style.HeaderTexts[1] = "Header text 2";
  style.HeaderTexts[2] = RawHeaderText();
  style.HeaderTexts[3] = std::string(100, 'x');
  style.HeaderTexts[4] = "Header text 5";
  style.HeaderTexts[5] = "Header text 6";
  style.NoticeText = std::string(600, 'y');
  for (int i = 0; i < 4; ++i) style.TextsAfterNotice[i] = "More text " + std::to_string(i);
  FillRecords(style);
}

template <class T>
bool EqualRecords(const trq::StyleParameterRecord<T>& a, const trq::StyleParameterRecord<T>& b) {
  if (a.GetNumElementsInList() != b.GetNumElementsInList()) return false;
  for (int i = 0; i < a.GetNumElementsInList(); ++i) {
    if (a.GetAnElementFromList(i) != b.GetAnElementFromList(i)) return false;
  }
  return a.GetValue() == b.GetValue() && a.GetDefaultValue() == b.GetDefaultValue() &&
         a.GetDisplayFlag() == b.GetDisplayFlag() && a.GetEditFlag() == b.GetEditFlag() &&
         a.GetRangeFlag() == b.GetRangeFlag() && a.GetMinRange() == b.GetMinRange() &&
         a.GetMaxRange() == b.GetMaxRange();
}

/// Names of the records that differ.
inline std::set<std::string> DifferingRecords(const KVBUILDSTYLE& a, const KVBUILDSTYLE& b) {
  std::set<std::string> names;
  for (const trq::BuildStyleParameter& row : trq::BuildStyleParameters()) {
    const bool equal = row.member.is_float() ? EqualRecords(*row.member.FloatIn(a), *row.member.FloatIn(b))
                                             : EqualRecords(*row.member.IntIn(a), *row.member.IntIn(b));
    if (!equal) names.insert(row.name);
  }
  return names;
}

}  // namespace test_support
