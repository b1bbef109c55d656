#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>

#include "styles/build_style_table.h"
#include "styles/structure_text.h"
#include "trq/styles.h"

using namespace trq::detail;

namespace {

using S = KVBUILDSTYLE;

/// The parameters in the order of the slice-file library's structure, one 4-byte number each.
constexpr BuildRowRange kStructureRows[] = {
    BuildRows("Start Z", "Large Retract End"),
    BuildRows("Hatch Type", "Small Stagger Offset"),
    BuildRows("Boundary Comp", "Min Large NS Width"),
    BuildRows("ZCalculate", "Ec"),
    BuildRows("Min Width For Small Spot", "Large Support Up Interface Boundary Cure Depth"),
};

constexpr size_t kStructureTexts = 3 * sizeof trq::BuildStyleStructure::StyleName;

constexpr size_t StructureNumbers() {
  size_t numbers = 0;
  for (const BuildRowRange& rows : kStructureRows) numbers += rows.size();
  return numbers;
}
static_assert(offsetof(trq::BuildStyleStructure, StartZ) == kStructureTexts,
              "three texts of 512 bytes, then the numbers");
static_assert(sizeof(trq::BuildStyleStructure) == kStructureTexts + 4 * StructureNumbers(),
              "one number a parameter");
static_assert(offsetof(trq::BuildStyleStructure, LargeSupportUpInterfaceBoundaryCureDepth) ==
              sizeof(trq::BuildStyleStructure) - 4);

struct StructurePartner {
  BuildStyleParameterRecordFloat S::*follows;
  float trq::BuildStyleStructure::*field;
};

// Kept: each pair is fed by one field of the structure.
constexpr StructurePartner kStructurePartners[] = {
    {&S::SmallRetractStart, &trq::BuildStyleStructure::LargeRetractStart},
    {&S::SmallRetractEnd, &trq::BuildStyleStructure::LargeRetractEnd},
    {&S::LargeStaggerOffset, &trq::BuildStyleStructure::SmallStaggerOffset},
};

/// Calls `set(record, number)` for every parameter that the structure holds.
template <class Set>
void ForStructureNumbers(S& style, const trq::BuildStyleStructure& structure, Set set) {
  const char* next = reinterpret_cast<const char*>(&structure) + kStructureTexts;
  for (const BuildRowRange& rows : kStructureRows) next = ForNumbers(rows, style, next, set);
  for (const StructurePartner& pair : kStructurePartners) set(style.*pair.follows, structure.*pair.field);
}

/// What the 301 layout adds and a 206 file does not hold: sixteen records.
constexpr BuildRowRange kAdditions301[] = {
    BuildRows("Shell Support Spacing", "Z Filtering Flag"),
    BuildRows("Interior Boundary Removal Flag", "High Speed Scan Flag"),
    BuildRows("Draw Borders Last Flag", "Draw Large Layer Border Prime Flag"),
};
constexpr int32_t kLayoutWords301[] = {4, 6, 7, 3, 2};

constexpr size_t kRawTextBytes = 32;

}  // namespace

trq::StyleParameterList<trq::BuildStyleRecordMember> trq::BuildStyleParameters() { return kBuildStyleTable; }

KVBUILDSTYLE::KVBUILDSTYLE()
    : HeaderTexts{"None", "None", std::string(kRawTextBytes, '\0'), "None", "None", "None"} {
  SetAllDefaults(kBuildStyleTable, *this);
}

KVBUILDSTYLE::KVBUILDSTYLE(float version) : KVBUILDSTYLE() { Version.SetValue(version); }

KVBUILDSTYLE::KVBUILDSTYLE(CString name) : KVBUILDSTYLE() { StyleName = FullPathName = name; }

KVBUILDSTYLE::KVBUILDSTYLE(CString name, float version) : KVBUILDSTYLE(name) { Version.SetValue(version); }

KVBUILDSTYLE::KVBUILDSTYLE(const trq::BuildStyleStructure* structure, TRQ_TYPE machine) : KVBUILDSTYLE() {
  ToolingSequencingRatio.AddAndSetValue(1);
  ToolingSequencingCount.AddAndSetValue(0);
  LargeInterHatchDelay.AddAndSetValue(0);
  SmallInterHatchDelay.AddAndSetValue(0);
  Version.AddAndSetValue(kVersion206);
  MachineType = machine;
  if (!structure) return;
  StyleName = StructureText(structure->StyleName);
  FullPathName = StructureText(structure->FullPathName);
  BuildDescription = StructureText(structure->BuildDescription);
  ForStructureNumbers(*this, *structure, [](auto& record, auto number) { record.AddAndSetValue(number); });
}

void KVBUILDSTYLE::resetKVBuildStyle(const trq::BuildStyleStructure* structure) {
  if (!structure) return;
  ForStructureNumbers(*this, *structure, [](auto& record, auto number) {
    if (record.ResetAValue(number) == 0) return;
    record.DeleteEntireRangeList();
    record.AddAndSetValue(number);
  });
}

void KVBUILDSTYLE::ConvertAllValuesToMM() {
  ForFloatRecords(kBuildStyleTable, *this, trq::IsUnitConverted,
                  &trq::StyleParameterRecordFloat::ConvertAllValuesToMM);
}

void KVBUILDSTYLE::ConvertAllValuesToINCH() {
  ForFloatRecords(kBuildStyleTable, *this, trq::IsUnitConverted,
                  &trq::StyleParameterRecordFloat::ConvertAllValuesToINCH);
}

void KVBUILDSTYLE::EquatelAllDefaultsToCurrentValue() {
  ForFloatRecords(kBuildStyleTable, *this, trq::IsDefaultEquated,
                  &trq::StyleParameterRecordFloat::EquateDefaultToCurrentValue);
}

BuildStyleParameterRecordFloat* KVBUILDSTYLE::FindFloat(const char* name) {
  return trq::BuildStyleParameters().MemberOf(name).FloatIn(*this);
}
const BuildStyleParameterRecordFloat* KVBUILDSTYLE::FindFloat(const char* name) const {
  return trq::BuildStyleParameters().MemberOf(name).FloatIn(*this);
}
BuildStyleParameterRecordInt* KVBUILDSTYLE::FindInt(const char* name) {
  return trq::BuildStyleParameters().MemberOf(name).IntIn(*this);
}
const BuildStyleParameterRecordInt* KVBUILDSTYLE::FindInt(const char* name) const {
  return trq::BuildStyleParameters().MemberOf(name).IntIn(*this);
}

int KVBUILDSTYLE::ConvertTo205Version(float) {
  HeaderTexts[4] = HeaderTexts[5] = "None";
  Version.SetValue(kVersion205);
  Version.SetDefaultValue(kVersion205);
  for (const trq::BuildStyleParameter& row :
       BuildRows("Small Support Boundary Cure Depth", "Large Support Up Interface Boundary Cure Depth")) {
    row.member.FloatIn(*this)->CopyRecord(&SmallLayerBorderCureDepth);
  }
  // Kept: the step ends at 2.06, not at 2.05.
  Version.SetValue(kVersion206);
  Version.SetDefaultValue(kVersion206);
  return trq::style_file::kOk;
}

int KVBUILDSTYLE::ConvertBuildStylesTo301() {
  std::copy(std::begin(kLayoutWords301), std::end(kLayoutWords301), LayoutWords);
  for (const BuildRowRange& rows : kAdditions301) {
    for (const trq::BuildStyleParameter& row : rows) {
      row.member.With(*this, [&row](auto& record) {
        SetNewValues(record, row.defaults);
        if (row.defaults.minimum <= row.defaults.maximum) SetNewRange(record, row.defaults);
      });
    }
  }
  // Kept: a new style has this record without range.
  LBPforB2.SetMinRange(0);
  LBPforB2.SetMaxRange(0);
  return trq::style_file::kOk;
}
