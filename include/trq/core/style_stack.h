/// Stacks of styles by Z, and what follows from a style of a stack, as plain functions on values.
#pragma once

#include <cstddef>
#include <vector>

#include "trq/export.h"
#include "trq/styles.h"

namespace trq::core {

/// One style of a stack: the range that it holds, and which style it is (a number that the caller gives it).
struct StyleBand {
  float start = 0;
  float end = 0;
  std::size_t style = 0;
};

/// The difference within which two Z values of a stack meet: 0.00005 inch (in single precision), in
/// millimetres when `millimetres` is true.
constexpr double StackTolerance(bool millimetres) { return 0.00005f * (millimetres ? 25.4 : 1.0); }

/// Inserts a band before the first one that starts above it, or at the end.
TRQ_EXPORT void InsertByStart(std::vector<StyleBand>& stack, const StyleBand& fresh);

/// Inserts a band by its range, as MODEL::KVAddBuildStyle and PLATFORM::KVaddRecoatStyle (without keep_kind)
/// do. Every band that holds the range (ends inclusive, within `tolerance`) gives way: it is replaced when
/// both ends meet, cut when one does, split into two bands of its style when the range lies inside. The fresh
/// band stands once, at the first of them; a range that no band holds is inserted by its start.
/// `stack` stands from the bottom upward and does so afterwards.
TRQ_EXPORT void InsertByRange(std::vector<StyleBand>& stack, const StyleBand& fresh, double tolerance);

/// Whether a machine takes the "Large" parameters of a style: it has a large spot, and the style's "Small
/// Spot Only Flag" is zero.
TRQ_EXPORT bool UsesLargeSpot(const KVBUILDSTYLE& style, TRQ_TYPE machine);

/// The depth to which the down-facing skin of a style cures, in layers beyond the first: MODEL::
/// KVcalc_zcorrection says how. `spacing` is the widest hatch spacing that counts on machines with one spot
/// size, in the style's units; WidestDownHatchSpacing makes every hatch count.
TRQ_EXPORT int ZCorrection(const KVBUILDSTYLE& style, TRQ_TYPE machine, float spacing);

/// The widest of the four "Small Down Hatch Spacing" values.
TRQ_EXPORT float WidestDownHatchSpacing(const KVBUILDSTYLE& style);

/// The height of the compensated layers: their count times the layer thickness, in double, rounded once.
TRQ_EXPORT float ZCompensationHeight(const KVBUILDSTYLE& style);

}  // namespace trq::core
