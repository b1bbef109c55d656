#include <algorithm>
#include <cstring>

#include "foundation/checked_conversions.h"
#include "recoat/recoat_style_table.h"
#include "styles/structure_text.h"
#include "styles/style_file.h"

using namespace trq::detail;

KVRECOATSTYLE::KVRECOATSTYLE() {
  SetAllDefaults(kRecoatRows, *this);
  for (CString& text : HeaderTexts) text = "None";
  HeaderTexts[2] = CString(std::string(32, '\0'));
}

KVRECOATSTYLE::KVRECOATSTYLE(CString) : KVRECOATSTYLE() {}

namespace {

/// Takes the six numbers of a dip, which stand in the order of their rows.
void TakeDip(KVRECOATSTYLE& style, trq::Span<const trq::RecoatStyleParameterRow> rows,
             const _rc_style::Dip& dip) {
  ForNumbers(rows, style, reinterpret_cast<const char*>(&dip),
             [](auto& record, auto number) { record.AddAndSetValue(number); });
}

/// Makes the list and the count record's maximum from the structure's sweeps.
void TakeSweeps(std::vector<KVSWEEPS>& list, RecoatStyleParameterRecordInt& count,
                const _rc_style::Sweep (&sweeps)[7]) {
  const int copied = std::clamp(count.GetValue(), 0, int(std::size(sweeps)));
  for (int i = 0; i < copied; ++i) {
    KVSWEEPS sweep;
    sweep.BladeGap.AddAndSetValue(sweeps[i].gap);
    sweep.BladeVelocity.AddAndSetValue(sweeps[i].velocity);
    list.push_back(std::move(sweep));
  }
  count.SetMaxRange(copied);
}

}  // namespace

KVRECOATSTYLE::KVRECOATSTYLE(const _rc_style* structure, int recoat_type) : KVRECOATSTYLE() {
  RecoatType.AddAndSetValue(recoat_type);
  Version.AddAndSetValue(kVersion206);
  if (!structure) return;
  const _rc_style& from = *structure;
  StyleName = StructureText(from.style_name);
  BuildDescription = StructureText(from.build_description);
  FullPathName = StructureText(from.full_path_name);
  StartZ.AddAndSetValue(from.start_z);
  EndZ.AddAndSetValue(from.end_z);
  ZDipDistance.AddAndSetValue(from.z_dip_distance);
  ZVelocity.AddAndSetValue(from.z_velocity);
  ZAcceleration.AddAndSetValue(from.z_acceleration);
  // Kept: of the delays and waits only these three are floats in the structure.
  ZPostDipDelay.AddAndSetValue(ToInt(from.z_post_dip_delay));
  ZPreDipDelay.AddAndSetValue(ToInt(from.z_pre_dip_delay));
  ZWait.AddAndSetValue(ToInt(from.z_wait));
  TakeDip(*this, RecoatRows("Primary ZVelocity", "Primary ZWait"), from.primary);
  TakeDip(*this, RecoatRows("Secondary ZVelocity", "Secondary ZWait"), from.secondary);
  NumSweeps.AddAndSetValue(from.number_of_sweeps);
  NumToolingPrimarySweeps.AddAndSetValue(from.number_of_primary_sweeps);
  NumToolingSecondarySweeps.AddAndSetValue(from.number_of_secondary_sweeps);
  NumberOfSecondary.AddAndSetValue(from.number_of_secondary_dips);
  TakeSweeps(SweepList, NumSweeps, from.sweeps);
  TakeSweeps(PrimarySweepList, NumToolingPrimarySweeps, from.primary_sweeps);
  TakeSweeps(SecondarySweepList, NumToolingSecondarySweeps, from.secondary_sweeps);
}

float KVRECOATSTYLE::computedPreferredBladeGap(float layer_thickness) const {
  if (SweepList.empty()) return 0;
  const double gap = SweepList.front().BladeGap.GetValue();
  return float((gap - 100.0) * 0.01 * layer_thickness);
}

namespace {

/// Changes every sweep of the three lists.
void ForAllSweeps(KVRECOATSTYLE& style, void (KVSWEEPS::*change)()) {
  for (auto* list : {&style.SweepList, &style.PrimarySweepList, &style.SecondarySweepList}) {
    for (KVSWEEPS& sweep : *list) (sweep.*change)();
  }
}

}  // namespace

// Kept: only the Z range and the blade velocities are converted.
void KVRECOATSTYLE::ConvertAllValuesToMM() {
  ForFloatRecords(kRecoatRows, *this, trq::IsUnitConverted,
                  &trq::StyleParameterRecordFloat::ConvertAllValuesToMM);
  ForAllSweeps(*this, &KVSWEEPS::ConvertAllValuesToMM);
}

void KVRECOATSTYLE::ConvertAllValuesToINCH() {
  ForFloatRecords(kRecoatRows, *this, trq::IsUnitConverted,
                  &trq::StyleParameterRecordFloat::ConvertAllValuesToINCH);
  ForAllSweeps(*this, &KVSWEEPS::ConvertAllValuesToINCH);
}

void KVRECOATSTYLE::EquatelAllDefaultsToCurrentValue() {
  for (const trq::RecoatStyleParameterRow& row : kRecoatRows) {
    row.member.With(*this, [](auto& record) { record.EquateDefaultToCurrentValue(); });
  }
  ForAllSweeps(*this, &KVSWEEPS::EquatelAllDefaultsToCurrentValue);
}

int KVRECOATSTYLE::ConvertTo205Version(float) {
  for (CString& text : ClosingTexts) text = "None";
  // Kept: the name says 2.05, the version ends as 2.06.
  Version.SetValue(kVersion206);
  Version.SetDefaultValue(kVersion206);
  return trq::style_file::kOk;
}

int KVRECOATSTYLE::ConvertBuildStylesTo301() {
  constexpr int32_t kWords[5] = {4, 6, 7, 3, 2};
  std::copy(std::begin(kWords), std::end(kWords), LayoutWords);
  LayerThickness = 0;
  PreferredBladeGap.SetValue(0);
  PreferredBladeGap.SetDisplayFlag(0);
  PreferredBladeGap.SetEditFlag(1);
  return trq::style_file::kOk;
}
