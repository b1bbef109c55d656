#include <algorithm>
#include <cstring>

#include "foundation/checked_conversions.h"
#include "foundation/number_text.h"
#include "styles/structure_text.h"
#include "styles/style_file.h"
#include "styles/style_layout.h"
#include "trq/recoat.h"

namespace trq::detail {
namespace {

using R = RECOATSTYLE;
using core::StyleLayout;

/// Version, recoat type, and the 24 numbers of the flat style in file order.
constexpr core::StyleWord<R> kWords[] = {
    WordRow<&R::Version>("Version"),
    WordRow<&R::RecoatType>("RecoatType"),
    WordRow<&R::StartZ>("Start Z"),
    WordRow<&R::EndZ>("End Z"),
    WordRow<&R::ZVelocity>("Z Velocity"),
    WordRow<&R::ZAcceleration>("Z Acceleration"),
    WordRow<&R::ZDipDistance>("Z Dip Distance"),
    WordRow<&R::ZPreDipDelay>("Z Pre DipDelay"),
    WordRow<&R::ZPostDipDelay>("Z Post DipDelay"),
    WordRow<&R::ZWait>("Z Wait"),
    WordRow<&R::PrimaryZVelocity>("Primary ZVelocity"),
    WordRow<&R::PrimaryZAcceleration>("Primary ZAcceleration"),
    WordRow<&R::PrimaryZDipDistance>("Primary ZDipDistance"),
    WordRow<&R::PrimaryZPreDipDelay>("Primary ZPreDipDelay"),
    WordRow<&R::PrimaryZPostDipDelay>("Primary ZPostDipDelay"),
    WordRow<&R::PrimaryZWait>("Primary ZWait"),
    WordRow<&R::SecondaryZVelocity>("Secondary ZVelocity"),
    WordRow<&R::SecondaryZAcceleration>("Secondary ZAcceleration"),
    WordRow<&R::SecondaryZDipDistance>("Secondary ZDipDistance"),
    WordRow<&R::SecondaryZPreDipDelay>("Secondary ZPreDipDelay"),
    WordRow<&R::SecondaryZPostDipDelay>("Secondary ZPostDipDelay"),
    WordRow<&R::SecondaryZWait>("Secondary ZWait"),
    WordRow<&R::NumSweeps>("Num Sweeps"),
    WordRow<&R::NumToolingPrimarySweeps>("Num Tooling PrimarySweeps"),
    WordRow<&R::NumToolingSecondarySweeps>("Num Tooling SecondarySweeps"),
    WordRow<&R::NumberOfSecondary>("Number Of Secondary"),
};
constexpr std::size_t kFirstNumber = 2;

constexpr core::StyleText<R> kTexts[] = {
    TextRow<&R::StyleName>("style_name"),
    TextRow<&R::FullPathName>("full_path_name"),
    TextRow<&R::BuildDescription>("build_description"),
};

using SweepLists = std::shared_ptr<std::vector<SWEEPS>>;
struct CountedList {
  int32_t R::*count;
  SweepLists R::*list;
  const char* name;
  const char* heading;
};
constexpr CountedList kLists[] = {
    {&R::NumSweeps, &R::SweepList, "sweeps", "Sweep"},
    {&R::NumToolingPrimarySweeps, &R::PrimarySweepList, "primary", "Primary Sweep"},
    {&R::NumToolingSecondarySweeps, &R::SecondarySweepList, "secondary", "Secondary Sweep"},
};

using Layout = LayoutItems<40>;
constexpr Layout MakeLegacy() {
  Layout layout;
  layout.Words(kWords, "Version", "Version");
  layout.Text(kTexts, "style_name", 512);
  layout.Text(kTexts, "full_path_name", 512);
  layout.Text(kTexts, "build_description", 81);
  layout.Words(kWords, "RecoatType", "Number Of Secondary");
  for (std::size_t list = 0; list < std::size(kLists); ++list) {
    layout.Add(ItemKind::kSweeps, kLists[list].name, list, sizeof(SWEEPS));
  }
  return layout;
}
constexpr Layout kLayout = MakeLegacy();
constexpr std::size_t kItemsToTexts = 4;  // version and texts
static_assert(kLayout.bytes == 1209, "bytes before the sweeps");

SweepLists TakeSweeps(const _rc_style::Sweep (&sweeps)[7], int32_t count) {
  auto list = std::make_shared<std::vector<SWEEPS>>();
  const int copied = std::clamp(count, 0, static_cast<int>(std::size(sweeps)));
  for (int i = 0; i < copied; ++i) {
    SWEEPS sweep;
    sweep.BladeGap = sweeps[i].gap;
    sweep.BladeVelocity = sweeps[i].velocity;
    list->push_back(sweep);
  }
  return list;
}

}  // namespace

template <>
bool WriteSpecial(StyleWriter& writer, R& style, const StyleLayoutItem& item) {
  const SweepLists& list = style.*kLists[item.index].list;
  return !list || std::all_of(list->begin(), list->end(), [&writer](const SWEEPS& sweep) {
    return writer.Word(&sweep.BladeGap) && writer.Word(&sweep.BladeVelocity);
  });
}

template <>
bool ReadSpecial(StyleReader& reader, R& style, const StyleLayoutItem& item) {
  const CountedList& counted = kLists[item.index];
  auto list = std::make_shared<std::vector<SWEEPS>>();
  style.*counted.list = list;
  // The count is a claim: the list grows with the sweeps that come.
  for (int32_t i = 0; i < style.*counted.count; ++i) {
    SWEEPS sweep;
    if (!reader.Word(&sweep.BladeGap) || !reader.Word(&sweep.BladeVelocity)) return false;
    list->push_back(sweep);
  }
  return true;
}

namespace {

bool WriteLegacy(R& style, StyleSink sink) {
  StyleWriter writer(sink);
  return Transfer(writer, style, nullptr, kLayout.All()) == kLayout.count;
}

int ReadLegacy(R& style, StyleSource& source) {
  StyleReader reader(source, 0);
  const std::size_t items = Transfer(reader, style, nullptr, kLayout.All());
  if (items < kItemsToTexts) return legacy_recoat_file::kReadFailed;
  return items == kLayout.count ? legacy_recoat_file::kOk : legacy_recoat_file::kFailed;
}

}  // namespace
}  // namespace trq::detail

namespace trq::core {

template <>
Span<const StyleWord<RECOATSTYLE>> StyleWords<RECOATSTYLE>() {
  return detail::kWords;
}
template <>
Span<const StyleText<RECOATSTYLE>> StyleTexts<RECOATSTYLE>() {
  return detail::kTexts;
}
template <>
Span<const StyleLayoutItem> LayoutOf<RECOATSTYLE>(StyleLayout layout) {
  if (layout != StyleLayout::kLegacy) return {};
  return detail::kLayout.All();
}

Result<std::size_t> ReadStyle(Bytes bytes, RECOATSTYLE& style) {
  detail::StyleSource source(bytes);
  const int result = detail::ReadLegacy(style, source);
  return detail::ReadingOf(result, source);
}
std::string StyleFileBytes(const RECOATSTYLE& style) {
  std::string bytes;
  RECOATSTYLE written = style;
  detail::WriteLegacy(written, detail::StyleSink(bytes));
  return bytes;
}

}  // namespace trq::core

using namespace trq::detail;

RECOATSTYLE::RECOATSTYLE(CString path) : FullPathName(path) {}

RECOATSTYLE::RECOATSTYLE(const _rc_style* structure, RECOAT_TYPE type) : RecoatType(type) {
  if (!structure) return;
  const _rc_style& from = *structure;
  StyleName = StructureText(from.style_name);
  BuildDescription = StructureText(from.build_description);
  FullPathName = StructureText(from.full_path_name);
  StartZ = from.start_z;
  EndZ = from.end_z;
  ZDipDistance = from.z_dip_distance;
  ZVelocity = from.z_velocity;
  ZAcceleration = from.z_acceleration;
  ZPostDipDelay = ToInt(from.z_post_dip_delay);
  ZPreDipDelay = ToInt(from.z_pre_dip_delay);
  ZWait = ToInt(from.z_wait);
  PrimaryZVelocity = from.primary.velocity;
  PrimaryZAcceleration = from.primary.acceleration;
  PrimaryZDipDistance = from.primary.dip_distance;
  PrimaryZPreDipDelay = from.primary.pre_dip_delay;
  PrimaryZPostDipDelay = from.primary.post_dip_delay;
  PrimaryZWait = from.primary.wait;
  SecondaryZVelocity = from.secondary.velocity;
  SecondaryZAcceleration = from.secondary.acceleration;
  SecondaryZDipDistance = from.secondary.dip_distance;
  SecondaryZPreDipDelay = from.secondary.pre_dip_delay;
  SecondaryZPostDipDelay = from.secondary.post_dip_delay;
  SecondaryZWait = from.secondary.wait;
  NumSweeps = from.number_of_sweeps;
  NumToolingPrimarySweeps = from.number_of_primary_sweeps;
  NumToolingSecondarySweeps = from.number_of_secondary_sweeps;
  NumberOfSecondary = from.number_of_secondary_dips;
  SweepList = TakeSweeps(from.sweeps, NumSweeps);
  PrimarySweepList = TakeSweeps(from.primary_sweeps, NumToolingPrimarySweeps);
  SecondarySweepList = TakeSweeps(from.secondary_sweeps, NumToolingSecondarySweeps);
}

void RECOATSTYLE::copyRecoatStyle(const RECOATSTYLE* source) {
  if (!source || source == this) return;
  const trq::SharedStyleStream own_stream = file;
  *this = *source;
  file = own_stream;
  for (const CountedList& counted : kLists) {
    SweepLists& list = this->*counted.list;
    if (list) list = std::make_shared<std::vector<SWEEPS>>(*list);
  }
}

void RECOATSTYLE::closeBuildStyleFile() { file->Close(); }

int RECOATSTYLE::isStyleFileBinary() {
  trq::StyleStream stream;
  if (!stream.Open(FullPathName, "rb")) return trq::legacy_recoat_file::kCannotOpen;
  char start[4];
  if (std::fread(start, 1, sizeof start, stream) != sizeof start) return trq::legacy_recoat_file::kFailed;
  constexpr char kText[] = "name";
  FileKind =
      std::equal(start, start + sizeof start, kText,
                 [](char c, char small) { return c == small || c == static_cast<char>(small - 'a' + 'A'); })
          ? 0
          : 1;
  return trq::legacy_recoat_file::kOk;
}

int RECOATSTYLE::binaryWriteStyle(CString path) {
  if (!file->Open(path, "wb")) return trq::legacy_recoat_file::kCannotOpen;
  const bool written = WriteLegacy(*this, StyleSink(file));
  const bool closed = file->Close() == trq::style_file::kOk;
  return written && closed ? trq::legacy_recoat_file::kOk : trq::legacy_recoat_file::kFailed;
}

int RECOATSTYLE::binaryReadStyle() {
  if (!file->Open(FullPathName, "rb")) return trq::legacy_recoat_file::kCannotOpen;
  // Kept: the stored path is read and discarded; the style keeps the path it was opened from, also when
  // memory runs out on the way.
  struct KeepPath {
    RECOATSTYLE& style;
    CString path = style.FullPathName;
    ~KeepPath() {
      style.FullPathName = std::move(path);
      style.file->Close();
    }
  } keep{*this};
  StyleSource source(file);
  return ReadLegacy(*this, source);
}

int RECOATSTYLE::writeRecoatStyle(CString path) {
  std::string text = "Name " + std::string(StyleName) + "\n";
  text += "Full PathName " + std::string(FullPathName) + "\n";
  text += "Build Description " + std::string(BuildDescription) + "\n";
  const auto line = [&text](const char* name, auto append) {
    text += name;
    text += ' ';
    append();
    text += '\n';
  };
  line("RecoatType", [&] { text += std::to_string(RecoatType); });
  line("Version", [&] { AppendFixed(text, Version, 6); });
  for (const auto& word : trq::Span(kWords).From(kFirstNumber)) {
    line(word.key, [&] {
      const void* number = word.in(*this);
      if (word.is_float) {
        AppendFixed(text, *static_cast<const float*>(number), 6);
      } else {
        text += std::to_string(*static_cast<const int32_t*>(number));
      }
    });
  }
  for (const CountedList& counted : kLists) {
    const SweepLists& list = this->*counted.list;
    if (!list) continue;
    for (const SWEEPS& sweep : *list) {
      line(counted.heading, [&] {
        AppendFixed(text, sweep.BladeGap, 6);
        text += ' ';
        AppendFixed(text, sweep.BladeVelocity, 6);
      });
    }
  }
  if (!file->Open(path, "wb")) return trq::legacy_recoat_file::kCannotOpen;
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = file->Close() == trq::style_file::kOk;
  return written && closed ? trq::legacy_recoat_file::kOk : trq::legacy_recoat_file::kFailed;
}
