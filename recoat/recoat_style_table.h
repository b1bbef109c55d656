/// The one description of a recoat style's records; everything done to all of them is a loop over it.
#pragma once

#include "styles/parameter_record_text.h"
#include "styles/style_file.h"
#include "styles/style_table.h"
#include "trq/recoat.h"

namespace trq::detail {

// Kept: the forms differ from those of build styles and from one another; other programs read them. Integer
// lines leave the default out of the comma form and print it as a floating-point number in the readable one.
template <>
inline constexpr RecordTextForms kTextForms<RecoatStyleParameterRecordFloat> = {
    {"%n,%v,%e,%d, %l,%u,", "%n,%v,%e,%d,No Min-Max Range,", "", "", "", ",", "\n"},
    {"%n = %v  [%l , %u, %e] %d", "%n = %v  [No Min-Max , %e] %d",
     "\nOnly Specific Allowed Values : ", " Full Range", "", "  ", "\n\n"}};
template <>
inline constexpr RecordTextForms kTextForms<RecoatStyleParameterRecordInt> = {
    {"%n,%v,%e,%l,%u,", "%n,%v,No Min-Max,%e,", "", "", "", ",", "\n"},
    {"%n = %v  [%l , %u, %e] %f", "%n = %v  [No Min-Max, %e] %f",
     "\nOnly Specific Allowed Values :", " Full Range", "", " ", "\n\n"}};

namespace recoat_style_rows {
using S = KVRECOATSTYLE;
using namespace style_rows;
inline constexpr RunNames<10> kKeptFloats("KeptFloats"), kKeptInts("KeptInts");

/// Member order: the table of the text export, the preferred blade gap, then the kept runs.
constexpr auto MakeTable() {
  StyleTable<RecoatStyleMember, 48> table;
  // clang-format off: one row a line
  table.Add({
      // export name, member, kind (else a length for a float record, a number for an integer), new region
      {"RecoatType", &S::RecoatType, kNumber, R::kGeneral},
      {"Version", &S::Version, kVersion},
      {"Start Z", &S::StartZ},
      {"End Z", &S::EndZ},
      {"Z Velocity", &S::ZVelocity, kLengthKept, R::kDip},
      {"Z Acceleration", &S::ZAcceleration, kLengthKept},
      {"Z Dip Distance", &S::ZDipDistance, kLengthKept},
      {"Z Pre DipDelay", &S::ZPreDipDelay},
      {"Z Post DipDelay", &S::ZPostDipDelay},
      {"Z Wait", &S::ZWait},
      {"Primary ZVelocity", &S::PrimaryZVelocity, kLengthKept, R::kPrimaryDip},
      {"Primary ZAcceleration", &S::PrimaryZAcceleration, kLengthKept},
      {"Primary ZDipDistance", &S::PrimaryZDipDistance, kLengthKept},
      {"Primary ZPreDipDelay", &S::PrimaryZPreDipDelay},
      {"Primary ZPostDipDelay", &S::PrimaryZPostDipDelay},
      {"Primary ZWait", &S::PrimaryZWait},
      {"Secondary ZVelocity", &S::SecondaryZVelocity, kLengthKept, R::kSecondaryDip},
      {"Secondary ZAcceleration", &S::SecondaryZAcceleration, kLengthKept},
      {"Secondary ZDipDistance", &S::SecondaryZDipDistance, kLengthKept},
      {"Secondary ZPreDipDelay", &S::SecondaryZPreDipDelay},
      {"Secondary ZPostDipDelay", &S::SecondaryZPostDipDelay},
      {"Secondary ZWait", &S::SecondaryZWait},
      {"Number Of Secondary", &S::NumberOfSecondary, kNumber, R::kSweeps},
      {"Num Sweeps", &S::NumSweeps},
      {"Num Tooling PrimarySweeps", &S::NumToolingPrimarySweeps},
      {"Num Tooling SecondarySweeps", &S::NumToolingSecondarySweeps},
      {"Preferred Blade Gap Flag", &S::PreferredBladeGapFlag, kFlag},
      {"Preferred Blade Gap", &S::PreferredBladeGap, kLengthKept},
  });
  // clang-format on
  table.AddRun(kKeptFloats, &S::KeptFloats);
  table.AddRun(kKeptInts, &S::KeptInts);
  return table;
}
inline constexpr auto kTable = MakeTable();
static_assert(kTable.count == std::size(kTable.rows), "records");
}  // namespace recoat_style_rows

inline constexpr auto& kRecoatRows = recoat_style_rows::kTable.rows;

template <>
struct StyleTraits<KVRECOATSTYLE> {
  static constexpr long kVersionRecordAt = 4;  // behind the user level
  // Kept: unlike build styles, version 4.0 is not taken.
  static bool Is301(float version) { return version == kVersion301; }
};

/// Rows of the table by name.
constexpr Span<const RecoatStyleParameterRow> RecoatRows(std::string_view first, std::string_view last = {}) {
  return FindRows(kRecoatRows, first, last);
}

static_assert(CountRows(kRecoatRows, [](const auto& row) { return row.named; }) == 28,
              "26 records of the export's table and the two of the preferred blade gap");

}  // namespace trq::detail
