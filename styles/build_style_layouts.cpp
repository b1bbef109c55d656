/// The two file layouts of build styles (docs/formats/build-style.md).
#include <array>

#include "styles/build_style_table.h"
#include "styles/style_file.h"
#include "styles/style_layout.h"
#include "trq/styles.h"

namespace trq::detail {
namespace {

using S = KVBUILDSTYLE;
using Item = LayoutItem<S>;
using Slot = StyleSlot<S>;

constexpr Item Records(std::string_view first, std::string_view last) {
  return RecordsItem<S>(BuildRows(first, last));
}
constexpr Item Records(std::string_view only) { return Records(only, only); }

// --- Special slots
// ---------------------------------------------------------------------------------------------

/// The first record of a 206 file: written as 2.06, and read by its own value, which then says how all later
/// records are read.
constexpr Slot kVersion206Slot = {
    BuildRow("Version"),
    [](StyleWriter& writer, S& style) { return writer.Record(Version206Copy(style.Version)); },
    [](StyleReader& reader, S& style) {
      reader.version = 0.0f;
      const bool read = reader.Record(style.Version);
      reader.version = style.Version.GetValue();
      return read;
    }};

// Kept: one slot of the file holds two parameters, which are equal after every save and load.
constexpr Slot kSharedThicknessSlot = {BuildRow("QC Min Large Thick Skin Width"),
                                       [](StyleWriter& writer, S& style) {
                                         style.QCMinLargeThickSkinWidth.CopyRecord(&style.ShellingThickness);
                                         return writer.Record(style.QCMinLargeThickSkinWidth);
                                       },
                                       [](StyleReader& reader, S& style) {
                                         if (!reader.Record(style.QCMinLargeThickSkinWidth)) return false;
                                         style.ShellingThickness.CopyRecord(&style.QCMinLargeThickSkinWidth);
                                         return true;
                                       }};

int32_t Inverted(int32_t flag) { return flag == 0 ? 1 : 0; }

// Kept: the 301 layout stores the value, but not the default, of the compensation flags inverted.
template <BuildStyleParameterRecordInt S::*kFlag>
constexpr Slot InvertedFlagSlot(std::string_view name) {
  return {BuildRow(name),
          [](StyleWriter& writer, S& style) {
            const int32_t value = (style.*kFlag).GetValue();
            (style.*kFlag).SetValue(Inverted(value));
            const bool written = writer.Record(style.*kFlag);
            (style.*kFlag).SetValue(value);
            return written;
          },
          [](StyleReader& reader, S& style) {
            if (!reader.Record(style.*kFlag)) return false;
            (style.*kFlag).SetValue(Inverted((style.*kFlag).GetValue()));
            return true;
          }};
}
constexpr Slot kSmallCompensationSlot =
    InvertedFlagSlot<&S::SmallLineWidthCompenstationFlag>("Small Line Width Compenstation Flag");
constexpr Slot kLargeCompensationSlot =
    InvertedFlagSlot<&S::LargeLineWidthCompenstationFlag>("Large Line Width Compenstation Flag");

struct FlagBit {
  int32_t bit;
  BuildStyleParameterRecordInt S::*flag;
  bool set_when_zero;
};

// Kept: the order of the bits is not the order of the members, and the compensation flags are inverted.
constexpr FlagBit kFlagBits[] = {
    {0x001, &S::DHFlag, false},
    {0x002, &S::SmallSpotOnlyFlag, false},
    {0x004, &S::ZSmoothingFlag, false},
    {0x008, &S::HighSpatialToleranceFlag, false},
    {0x010, &S::SmallLineWidthCompenstationFlag, true},
    {0x020, &S::DifferentialShrinkFlag, false},
    {0x040, &S::SmallFeaturePreservationFlag, false},
    {0x080, &S::LargeLineWidthCompenstationFlag, true},
    {0x100, &S::PatternStyleFlag, false},
    {0x200, &S::ShellingFlag, false},
    {0x400, &S::LayerOnlyFlag, false},
};

/// The flags of a 206 file: a record of its own whose value is a bit mask.
constexpr Slot kFlagsWordSlot = {-1,
                                 [](StyleWriter& writer, S& style) {
                                   int32_t mask = 0;
                                   for (const FlagBit& entry : kFlagBits) {
                                     const bool zero = (style.*entry.flag).GetValue() == 0;
                                     if (zero == entry.set_when_zero) mask |= entry.bit;
                                   }
                                   BuildStyleParameterRecordInt word;
                                   word.SetValue(mask);
                                   return writer.Record(word);
                                 },
                                 [](StyleReader& reader, S& style) {
                                   BuildStyleParameterRecordInt word;
                                   if (!reader.Record(word)) return false;
                                   for (const FlagBit& entry : kFlagBits) {
                                     const bool set = (word.GetValue() & entry.bit) != 0;
                                     (style.*entry.flag).SetValue(set != entry.set_when_zero ? 1 : 0);
                                   }
                                   return true;
                                 }};

// --- Layouts
// ---------------------------------------------------------------------------------------------------

constexpr std::array kHeader301 = {
    WordItem<&S::FileVersion>(),           WordItem<&S::UserLevel>(),
    WordItem<&S::LayoutWords, 0>(),        WordItem<&S::LayoutWords, 1>(),
    WordItem<&S::LayoutWords, 2>(),        WordItem<&S::LayoutWords, 3>(),
    WordItem<&S::LayoutWords, 4>(),        WordItem<&S::MachineType>(),
    WordItem<&S::LayoutWords, 5>(),        WordItem<&S::FurtherHeaderWords, 0>(),
    WordItem<&S::FurtherHeaderWords, 1>(), WordItem<&S::FurtherHeaderWords, 2>(),
    WordItem<&S::FurtherHeaderWords, 3>(), WordItem<&S::FurtherHeaderWords, 4>(),
    TextItem<&S::StyleName>(512),          TextItem<&S::HeaderTexts, 0>(64),
    TextItem<&S::HeaderTexts, 1>(512),     RawTextItem<&S::HeaderTexts, 2>(32),
    TextItem<&S::HeaderTexts, 3>(64),      TextItem<&S::HeaderTexts, 4>(512),
    TextItem<&S::HeaderTexts, 5>(512),
};

/// Common to both: the regions and what follows them, up to the flags.
constexpr std::array kRegions = {
    Records("Start Z", "QC Min Small Thick Skin Width"),
    SlotItem(kSharedThicknessSlot),
    Records("QCZ Transition", "QC ZBond"),
    Records("Stagger", "Boundary Comp"),
    Records("QC LayerDepth"),
    Records("Additional Boundaries"),
};

/// Common to both: what follows the flags.
constexpr std::array kAfterFlags = {
    Records("UH Flag", "Min Width For Small Spot"),
    TextItem<&S::HeaderTexts, 5>(512),  // the reverse of the header's order
    TextItem<&S::HeaderTexts, 4>(512),
    Records("Small Support Boundary Cure Depth", "Large Support Up Interface Boundary Cure Depth"),
};

constexpr auto kLayout206 =
    Join(std::array{SlotItem(kVersion206Slot), TextItem<&S::StyleName>(512), TextItem<&S::FullPathName>(512)},
         kRegions, std::array{SlotItem(kFlagsWordSlot)}, kAfterFlags);

constexpr std::array kStart301 = {
    Records("Shell Support Spacing"),
    Records("AfterSupportCureDepths[0]", "AfterSupportCureDepths[8]"),
    Records("Smart Best Surface Finish Layers"),
    Records("LBP for B2"),
    Records("AfterZFilteringFlag[0]", "AfterZFilteringFlag[1]"),
    Records("AfterSupportCureDepths[9]", "AfterSupportCureDepths[14]"),
    TextItem<&S::NoticeText>(512),
    TextItem<&S::MoreTexts, 0>(512),
    TextItem<&S::MoreTexts, 1>(512),
    TextItem<&S::MoreTexts, 2>(512),
    TextItem<&S::MoreTexts, 3>(512),
    TextItem<&S::FullPathName>(512),
};

constexpr std::array kFlags301 = {
    Records("DH Flag"),
    Records("Small Spot Only Flag"),
    Records("Z Smoothing Flag"),
    Records("High Spatial Tolerance Flag"),
    SlotItem(kSmallCompensationSlot),
    SlotItem(kLargeCompensationSlot),
    Records("Differential Shrink Flag"),
    Records("Small Feature Preservation Flag"),
    Records("Pattern Style Flag"),
    Records("Shelling Flag"),
    Records("Layer Only Flag"),
};

constexpr std::array kEnd301 = {
    Records("Smart Best Surface Finish Flag"),
    Records("Z Filtering Flag"),
    Records("Interior Boundary Removal Flag", "Draw Large Layer Border Prime Flag"),
    // Kept: the Up fills stand before the Up border, here and in member order; the text export has them last.
    Records("Layer Border Power", "Up Hatch 3 Power"),
};

constexpr auto kBody301 = Join(kStart301, kRegions, kFlags301, kAfterFlags, kEnd301);

static_assert(BytesOfWordsAndTexts(kHeader301) == 2264, "header bytes");
static_assert(CountItems(kLayout206) == 188, "items of the 206 layout");
static_assert(CountItems(kBody301) == 262, "items after the 301 header");
static_assert(CountTexts(kBody301) == 8, "texts after the 301 header, the rest are records");

/// Every record stands once in a 301 file but "Version" (a header word), "Shelling Thickness" (in the shared
/// slot) and the last six of the unnamed run, which are in no file.
constexpr bool HoldsEveryRecordOnce() {
  for (int row = 0; row < static_cast<int>(std::size(kBuildStyleTable)); ++row) {
    const RowRange nowhere[] = {BuildRows("Version"), BuildRows("Shelling Thickness"),
                                BuildRows("AfterSupportCureDepths[15]", "AfterSupportCureDepths[20]")};
    if (TimesInLayout(kBody301, row) != (TimesListed(nowhere, row) ? 0 : 1)) return false;
  }
  return true;
}
static_assert(HoldsEveryRecordOnce(), "every record of a 301 file has one place");

}  // namespace
}  // namespace trq::detail

using namespace trq::detail;

int KVBUILDSTYLE::binaryReadStyleHeader301() {
  StyleReader reader(file, FileVersion);
  return Transfer(reader, *this, kBuildStyleTable, kHeader301);
}

int KVBUILDSTYLE::binaryReadStyleData301() {
  StyleReader reader(file, FileVersion);
  return Transfer(reader, *this, kBuildStyleTable, kBody301);
}

int KVBUILDSTYLE::binaryReadStyleData206() {
  StyleReader reader(file, 0.0f);
  return Transfer(reader, *this, kBuildStyleTable, kLayout206);
}

int KVBUILDSTYLE::binaryWriteStyleData301() {
  StyleWriter writer(file);
  const int header = Transfer(writer, *this, kBuildStyleTable, kHeader301);
  return header == trq::style_file::kOk ? Flushed(file, Transfer(writer, *this, kBuildStyleTable, kBody301))
                                        : header;
}

int KVBUILDSTYLE::binaryWriteStyleData206() {
  StyleWriter writer(file);
  return Flushed(file, Transfer(writer, *this, kBuildStyleTable, kLayout206));
}
