/// The one description of a recoat style's records; everything done to all of them is a loop over it.
#pragma once

#include "styles/style_table.h"
#include "trq/recoat.h"

namespace trq::detail {

namespace recoat_style_rows {
using S = KVRECOATSTYLE;
using U = trq::StyleUnit;
using R = trq::StyleRegion;

/// Member order: the table of the text export, the preferred blade gap, then the kept runs.
inline constexpr trq::RecoatStyleParameterRow kRows[] = {
    {"RecoatType", &S::RecoatType, U::kNumber, R::kGeneral, kZero},
    {"Version", &S::Version, U::kVersion, R::kGeneral, kVersionDefault},
    {"Start Z", &S::StartZ, U::kLength, R::kGeneral, kZero},
    {"End Z", &S::EndZ, U::kLength, R::kGeneral, kZero},
    {"Z Velocity", &S::ZVelocity, U::kLengthKept, R::kDip, kZero},
    {"Z Acceleration", &S::ZAcceleration, U::kLengthKept, R::kDip, kZero},
    {"Z Dip Distance", &S::ZDipDistance, U::kLengthKept, R::kDip, kZero},
    {"Z Pre DipDelay", &S::ZPreDipDelay, U::kNumber, R::kDip, kZero},
    {"Z Post DipDelay", &S::ZPostDipDelay, U::kNumber, R::kDip, kZero},
    {"Z Wait", &S::ZWait, U::kNumber, R::kDip, kZero},
    {"Primary ZVelocity", &S::PrimaryZVelocity, U::kLengthKept, R::kPrimaryDip, kZero},
    {"Primary ZAcceleration", &S::PrimaryZAcceleration, U::kLengthKept, R::kPrimaryDip, kZero},
    {"Primary ZDipDistance", &S::PrimaryZDipDistance, U::kLengthKept, R::kPrimaryDip, kZero},
    {"Primary ZPreDipDelay", &S::PrimaryZPreDipDelay, U::kNumber, R::kPrimaryDip, kZero},
    {"Primary ZPostDipDelay", &S::PrimaryZPostDipDelay, U::kNumber, R::kPrimaryDip, kZero},
    {"Primary ZWait", &S::PrimaryZWait, U::kNumber, R::kPrimaryDip, kZero},
    {"Secondary ZVelocity", &S::SecondaryZVelocity, U::kLengthKept, R::kSecondaryDip, kZero},
    {"Secondary ZAcceleration", &S::SecondaryZAcceleration, U::kLengthKept, R::kSecondaryDip, kZero},
    {"Secondary ZDipDistance", &S::SecondaryZDipDistance, U::kLengthKept, R::kSecondaryDip, kZero},
    {"Secondary ZPreDipDelay", &S::SecondaryZPreDipDelay, U::kNumber, R::kSecondaryDip, kZero},
    {"Secondary ZPostDipDelay", &S::SecondaryZPostDipDelay, U::kNumber, R::kSecondaryDip, kZero},
    {"Secondary ZWait", &S::SecondaryZWait, U::kNumber, R::kSecondaryDip, kZero},
    {"Number Of Secondary", &S::NumberOfSecondary, U::kNumber, R::kSweeps, kZero},
    {"Num Sweeps", &S::NumSweeps, U::kNumber, R::kSweeps, kZero},
    {"Num Tooling PrimarySweeps", &S::NumToolingPrimarySweeps, U::kNumber, R::kSweeps, kZero},
    {"Num Tooling SecondarySweeps", &S::NumToolingSecondarySweeps, U::kNumber, R::kSweeps, kZero},
    {"Preferred Blade Gap Flag", &S::PreferredBladeGapFlag, U::kFlag, R::kSweeps, kZero},
    {"Preferred Blade Gap", &S::PreferredBladeGap, U::kLengthKept, R::kSweeps, kZero},
#define TRQ_KEPT(run, i) \
  { #run "[" #i "]", {&S::run, i }, U::kNumber, R::kUnnamed, kZero, false }
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
}  // namespace recoat_style_rows

inline constexpr auto& kRecoatRows = recoat_style_rows::kRows;

constexpr RowRange RecoatRows(std::string_view first, std::string_view last) {
  return FindRows(kRecoatRows, first, last);
}
constexpr RowRange RecoatRow(std::string_view name) { return RecoatRows(name, name); }

static_assert(CountRows(kRecoatRows, [](const auto& row) { return row.named; }) == 28,
              "26 records of the export's table and the two of the preferred blade gap");
static_assert(CountRows(kRecoatRows, [](const auto& row) { return !row.named; }) == 20, "the kept records");

}  // namespace trq::detail
