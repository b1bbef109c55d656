/// Everything that is said has a code, and every code a row of one table.
#pragma once

#include <string_view>

namespace trqprep {

enum class Severity { kNote, kWarning, kError };

/// In the order of the table: first the rules of checks, in the order of `explain`, then the others by name.
// clang-format off
enum class Code {
  kStlShort,
  kStlEmpty,
  kStlCut,
  kStlText,
  kStlEndian,
  kStlNormalised,
  kUnitsDoubt,
  kOpenEdges,
  kNonManifold,
  kInverted,
  kDegenerate,
  kTooBigForVat,
  kOverlap,
  kGapSmall,
  kPairsBound,
  kFloorLifted,
  kFloating,
  kNoStyle,
  kNoRecoat,
  kZGap,
  kZOverlap,
  kStyleCrc,
  kStyleRange,
  kStyleThickness,
  kStyleUnitsMix,
  kMachineMismatch,
  kLayerMismatch,
  kSweepCount,
  kHollowBound,
  kSealedVoid,
  kVdStale,
  kVdBound,
  kRepairLeft,
  kSimplifyShape,
  kSimplifyRuined,
  kThinWall,
  kStartsAt,
  kIsland,
  kUnsupported,
  kCup,
  kTrapped,
  kLayersBound,
  kPictureCoarse,
  kAnsweredNo,
  kBandEmpty,
  kBuildInvalid,
  kCheckPartial,
  kCtlIndex,
  kCtlInvalid,
  kCtlTrailing,
  kEstimateMissing,
  kEstimatePass,
  kEstimateStyle,
  kInputChanged,
  kInputFolder,
  kInputLink,
  kInputMissing,
  kInputSpecial,
  kInputUnknown,
  kInputUnreadable,
  kInternal,
  kInterrupted,
  kJobFile,
  kLibraryMessage,
  kMachineUnknown,
  kMachinesFile,
  kMeshEmpty,
  kMeshNan,
  kMeshTooLarge,
  kNoMemory,
  kNoPlacement,
  kOutputBusy,
  kOutputChanged,
  kOutputExists,
  kOutputFolder,
  kOutputForeign,
  kOutputLeft,
  kOutputReadOnly,
  kOutputShort,
  kOutputUnwritable,
  kOutsideVat,
  kSimplifyNothing,
  kSimplifyTarget,
  kSlcDiffers,
  kSlcHeader,
  kSlcNan,
  kSlcReserved,
  kSlcShort,
  kSlcTable,
  kSlcTrailing,
  kSlcWinding,
  kSliceBound,
  kSliceLayers,
  kSliceOpen,
  kStampLong,
  kStlCount,
  kStlCrc,
  kStlHeader,
  kStlTooLarge,
  kStlTrailing,
  kStlUnjoined,
  kStyleJson,
  kStyleKind,
  kStyleLayouts,
  kStyleLegacy,
  kStyleUpgraded,
  kStyleLength,
  kStyleLost,
  kStyleNameDecides,
  kStyleNotEditable,
  kStyleParameter,
  kStyleRefused,
  kStyleShort,
  kStyleSkipped,
  kStyleSlack,
  kStyleUnits,
  kStyleUnknown,
  kStyleValue,
  kTransformNothing,
  kUnitsUnknown,
  kUsage,
  kVdLine,
  kVerifyCount,
  kVerifyFile,
  kVerifyForeign,
  kVerifyHash,
  kZcompHigh,
  kZcompNoHeight,
  kZcompNothing,
};
// clang-format on

struct MessageRow {
  Code code;
  const char* text;   ///< as it is printed, such as STL-SHORT; kept: scripts depend on it
  const char* title;  ///< what it means, in a few words
  const char* hint;   ///< the next step
  Severity severity = Severity::kError;
  unsigned also = 0;       ///< the other severities that it is said with, bits 1 << Severity
  const char* story = "";  ///< what it means, how it comes about or is measured, what to do
  /// True for the rules of checks, which stand first.
  bool is_rule() const { return code < Code::kAnsweredNo; }
};

struct MessageTable {
  const MessageRow* begin() const;
  const MessageRow* end() const;
};

const MessageRow& RowOf(Code code);
/// Null for a text that is no code.
const MessageRow* FindRow(std::string_view text);

}  // namespace trqprep
