/// Recoat styles that the tests and the golden files share.
#pragma once

#include "trq/recoat.h"

namespace test_support {

inline KVSWEEPS GoldenSweep(int k) {
  KVSWEEPS sweep;
  sweep.BladeGap.SetValue(100.0f + k);
  sweep.BladeGap.SetDefaultValue(90.0f + k);
  sweep.BladeGap.SetEditFlag(0);
  sweep.BladeGap.SetMinRange(50);
  sweep.BladeGap.SetMaxRange(150);
  sweep.BladeGap.AddElementToList(100.0f + k);
  sweep.BladeVelocity.SetValue(2.5f + k);
  sweep.BladeVelocity.SetDefaultValue(2.0f + k);
  return sweep;
}

/// The style of filled_301.rcs and filled_206.rcs: every record has numbers of its own, by its place.
inline KVRECOATSTYLE FilledStyle() {
  KVRECOATSTYLE style;
  int i = 0;
  for (const trq::RecoatStyleParameterRow& row : trq::RecoatStyleParameters()) {
    const auto fill = [i](auto& record, double scale) {
      using T = decltype(record.GetValue());
      record.SetDisplayFlag(i % 2);
      record.SetEditFlag((i / 2) % 2);
      record.SetRangeFlag((i / 4) % 2);
      record.SetValue(static_cast<T>(3 + i * scale));
      record.SetDefaultValue(static_cast<T>(7 + i * scale));
      record.SetMinRange(static_cast<T>(-i * scale));
      record.SetMaxRange(static_cast<T>(200 + i * scale));
      for (int k = 0; k < i % 3; ++k) record.AddElementToList(static_cast<T>(20 + i * scale + k));
    };
    const auto fill_count = [i](RecoatStyleParameterRecordInt& record, int maximum) {
      record.SetValue(40 + i);
      record.SetDefaultValue(50 + i);
      record.SetMinRange(0);
      record.SetMaxRange(maximum);
      record.DeleteEntireRangeList();
    };
    if (auto* record = row.member.FloatIn(style)) fill(*record, 0.25);
    if (auto* record = row.member.IntIn(style)) {
      fill(*record, 1);
      if (record == &style.NumSweeps) fill_count(*record, 3);
      if (record == &style.NumToolingPrimarySweeps) fill_count(*record, 1);
      if (record == &style.NumToolingSecondarySweeps) fill_count(*record, 2);
    }
    ++i;
  }
  style.Version.SetValue(3.01f);
  style.StyleName = "Slow recoat";
  style.BuildDescription = "for tall parts";
  style.FullPathName = "styles/Slow.rcs";
  style.Units = "mm";
  style.MachineType = TRQ_ALTOR900;
  style.UserLevel = 1;
  style.LayerThickness = 0.125f;
  for (int k = 0; k < 5; ++k) {
    style.LayoutWords[k] = 11 + k;
    style.FurtherHeaderWords[k] = k == 4 ? -25 : 21 + k;
    style.BodyTexts[k] = "more " + std::to_string(k);
  }
  std::string raw;
  for (int k = 1; k <= 32; ++k) raw += static_cast<char>(k);
  style.HeaderTexts[0] = "late one";
  style.HeaderTexts[1] = "late two";
  style.HeaderTexts[2] = raw;
  style.HeaderTexts[3] = "late four";
  style.ClosingTexts[0] = "further one";
  style.ClosingTexts[1] = "further two";
  for (int k = 0; k < 3; ++k) style.AddToSweepList(GoldenSweep(k));
  style.AddToPrimarySweepList(GoldenSweep(10));
  for (int k = 0; k < 2; ++k) style.AddToSecondarySweepList(GoldenSweep(20 + k));
  return style;
}

template <class Record>
bool SameRecord(const Record& a, const Record& b) {
  bool same = a.GetValue() == b.GetValue() && a.GetDefaultValue() == b.GetDefaultValue() &&
              a.GetDisplayFlag() == b.GetDisplayFlag() && a.GetEditFlag() == b.GetEditFlag() &&
              a.GetRangeFlag() == b.GetRangeFlag() && a.GetMinRange() == b.GetMinRange() &&
              a.GetMaxRange() == b.GetMaxRange() && a.GetNumElementsInList() == b.GetNumElementsInList();
  for (int i = 0; same && i < a.GetNumElementsInList(); ++i) {
    same = a.GetAnElementFromList(i) == b.GetAnElementFromList(i);
  }
  return same;
}

}  // namespace test_support
