/// The one description of a recoat style's records; everything done to all of them is a loop over it.
#pragma once

#include "styles/parameter_record_text.h"
#include "styles/style_file.h"
#include "styles/style_table.h"
#include "trq/recoat.h"

namespace trq::detail {

template <>
std::string AsciiRecord(const RecoatStyleParameterRecordFloat& record, const char* name,
                        bool comma_separated);
template <>
std::string AsciiRecord(const RecoatStyleParameterRecordInt& record, const char* name, bool comma_separated);

namespace recoat_style_rows {
using S = KVRECOATSTYLE;
using namespace style_rows;

// clang-format off: one row a line
/// Member order: the table of the text export, the preferred blade gap, then the kept runs.
inline constexpr trq::RecoatStyleParameterRow kRows[] = {
    {"RecoatType", &S::RecoatType, kNumber, kGeneral},
    {"Version", &S::Version, kVersion, kGeneral, kVersionDefault},
    {"Start Z", &S::StartZ, kLength, kGeneral},
    {"End Z", &S::EndZ, kLength, kGeneral},
    {"Z Velocity", &S::ZVelocity, kLengthKept, kDip},
    {"Z Acceleration", &S::ZAcceleration, kLengthKept, kDip},
    {"Z Dip Distance", &S::ZDipDistance, kLengthKept, kDip},
    {"Z Pre DipDelay", &S::ZPreDipDelay, kNumber, kDip},
    {"Z Post DipDelay", &S::ZPostDipDelay, kNumber, kDip},
    {"Z Wait", &S::ZWait, kNumber, kDip},
    {"Primary ZVelocity", &S::PrimaryZVelocity, kLengthKept, kPrimaryDip},
    {"Primary ZAcceleration", &S::PrimaryZAcceleration, kLengthKept, kPrimaryDip},
    {"Primary ZDipDistance", &S::PrimaryZDipDistance, kLengthKept, kPrimaryDip},
    {"Primary ZPreDipDelay", &S::PrimaryZPreDipDelay, kNumber, kPrimaryDip},
    {"Primary ZPostDipDelay", &S::PrimaryZPostDipDelay, kNumber, kPrimaryDip},
    {"Primary ZWait", &S::PrimaryZWait, kNumber, kPrimaryDip},
    {"Secondary ZVelocity", &S::SecondaryZVelocity, kLengthKept, kSecondaryDip},
    {"Secondary ZAcceleration", &S::SecondaryZAcceleration, kLengthKept, kSecondaryDip},
    {"Secondary ZDipDistance", &S::SecondaryZDipDistance, kLengthKept, kSecondaryDip},
    {"Secondary ZPreDipDelay", &S::SecondaryZPreDipDelay, kNumber, kSecondaryDip},
    {"Secondary ZPostDipDelay", &S::SecondaryZPostDipDelay, kNumber, kSecondaryDip},
    {"Secondary ZWait", &S::SecondaryZWait, kNumber, kSecondaryDip},
    {"Number Of Secondary", &S::NumberOfSecondary, kNumber, kSweeps},
    {"Num Sweeps", &S::NumSweeps, kNumber, kSweeps},
    {"Num Tooling PrimarySweeps", &S::NumToolingPrimarySweeps, kNumber, kSweeps},
    {"Num Tooling SecondarySweeps", &S::NumToolingSecondarySweeps, kNumber, kSweeps},
    {"Preferred Blade Gap Flag", &S::PreferredBladeGapFlag, kFlag, kSweeps},
    {"Preferred Blade Gap", &S::PreferredBladeGap, kLengthKept, kSweeps},
#define TRQ_KEPT(run, i) \
  { #run "[" #i "]", {&S::run, i }, kNumber, kUnnamedRegion, kZero, false }
    TRQ_KEPT(KeptFloats, 0),
    TRQ_KEPT(KeptFloats, 1),
    TRQ_KEPT(KeptFloats, 2),
    TRQ_KEPT(KeptFloats, 3),
    TRQ_KEPT(KeptFloats, 4),
    TRQ_KEPT(KeptFloats, 5),
    TRQ_KEPT(KeptFloats, 6),
    TRQ_KEPT(KeptFloats, 7),
    TRQ_KEPT(KeptFloats, 8),
    TRQ_KEPT(KeptFloats, 9),
    TRQ_KEPT(KeptInts, 0),
    TRQ_KEPT(KeptInts, 1),
    TRQ_KEPT(KeptInts, 2),
    TRQ_KEPT(KeptInts, 3),
    TRQ_KEPT(KeptInts, 4),
    TRQ_KEPT(KeptInts, 5),
    TRQ_KEPT(KeptInts, 6),
    TRQ_KEPT(KeptInts, 7),
    TRQ_KEPT(KeptInts, 8),
    TRQ_KEPT(KeptInts, 9),
#undef TRQ_KEPT
};
// clang-format on
}  // namespace recoat_style_rows

inline constexpr auto& kRecoatRows = recoat_style_rows::kRows;

template <>
struct StyleTraits<KVRECOATSTYLE> {
  static constexpr auto& kRows = kRecoatRows;
  static constexpr long kVersionRecordAt = 4;  // behind the user level
  // Kept: unlike build styles, version 4.0 is not taken.
  static bool Is301(float version) { return version == kVersion301; }
};

constexpr RowRange RecoatRows(std::string_view first, std::string_view last) {
  return FindRows(kRecoatRows, first, last);
}
constexpr RowRange RecoatRow(std::string_view name) { return RecoatRows(name, name); }

static_assert(CountRows(kRecoatRows, [](const auto& row) { return row.named; }) == 28,
              "26 records of the export's table and the two of the preferred blade gap");
static_assert(CountRows(kRecoatRows, [](const auto& row) { return !row.named; }) == 20, "the kept records");

}  // namespace trq::detail
