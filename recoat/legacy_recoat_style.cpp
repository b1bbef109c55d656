#include <algorithm>
#include <cstring>

#include "foundation/checked_conversions.h"
#include "foundation/number_text.h"
#include "styles/structure_text.h"
#include "styles/style_layout.h"
#include "trq/recoat.h"

using namespace trq::detail;

namespace {

/// The 24 numbers of the flat style in file order; exactly one of the members is set.
struct NumberRow {
  const char* name;
  float RECOATSTYLE::*real = nullptr;
  int32_t RECOATSTYLE::*whole = nullptr;
};
using R = RECOATSTYLE;
constexpr NumberRow kNumbers[] = {
    {"Start Z", &R::StartZ},
    {"End Z", &R::EndZ},
    {"Z Velocity", &R::ZVelocity},
    {"Z Acceleration", &R::ZAcceleration},
    {"Z Dip Distance", &R::ZDipDistance},
    {"Z Pre DipDelay", nullptr, &R::ZPreDipDelay},
    {"Z Post DipDelay", nullptr, &R::ZPostDipDelay},
    {"Z Wait", nullptr, &R::ZWait},
    {"Primary ZVelocity", &R::PrimaryZVelocity},
    {"Primary ZAcceleration", &R::PrimaryZAcceleration},
    {"Primary ZDipDistance", &R::PrimaryZDipDistance},
    {"Primary ZPreDipDelay", nullptr, &R::PrimaryZPreDipDelay},
    {"Primary ZPostDipDelay", nullptr, &R::PrimaryZPostDipDelay},
    {"Primary ZWait", nullptr, &R::PrimaryZWait},
    {"Secondary ZVelocity", &R::SecondaryZVelocity},
    {"Secondary ZAcceleration", &R::SecondaryZAcceleration},
    {"Secondary ZDipDistance", &R::SecondaryZDipDistance},
    {"Secondary ZPreDipDelay", nullptr, &R::SecondaryZPreDipDelay},
    {"Secondary ZPostDipDelay", nullptr, &R::SecondaryZPostDipDelay},
    {"Secondary ZWait", nullptr, &R::SecondaryZWait},
    {"Num Sweeps", nullptr, &R::NumSweeps},
    {"Num Tooling PrimarySweeps", nullptr, &R::NumToolingPrimarySweeps},
    {"Num Tooling SecondarySweeps", nullptr, &R::NumToolingSecondarySweeps},
    {"Number Of Secondary", nullptr, &R::NumberOfSecondary},
};
static_assert(std::size(kNumbers) == 24, "96 bytes of the file");

using SweepLists = std::shared_ptr<std::vector<SWEEPS>>;
struct CountedList {
  int32_t R::*count;
  SweepLists R::*list;
  const char* heading;
};
constexpr CountedList kLists[] = {
    {&R::NumSweeps, &R::SweepList, "Sweep"},
    {&R::NumToolingPrimarySweeps, &R::PrimarySweepList, "Primary Sweep"},
    {&R::NumToolingSecondarySweeps, &R::SecondarySweepList, "Secondary Sweep"},
};

constexpr int kNameWidth = 512;
constexpr int kDescriptionWidth = 81;

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
  const std::shared_ptr<trq::StyleStream> own_stream = file_;
  *this = *source;
  file_ = own_stream;
  for (const CountedList& counted : kLists) {
    SweepLists& list = this->*counted.list;
    if (list) list = std::make_shared<std::vector<SWEEPS>>(*list);
  }
}

void RECOATSTYLE::closeBuildStyleFile() { file_->Close(); }

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
  if (!file_->Open(path, "wb")) return trq::legacy_recoat_file::kCannotOpen;
  StyleWriter writer(*file_);
  bool written = writer.Word(&Version) && writer.Text(StyleName, kNameWidth) &&
                 writer.Text(FullPathName, kNameWidth) && writer.Text(BuildDescription, kDescriptionWidth) &&
                 writer.Word(&RecoatType);
  for (const NumberRow& number : kNumbers) {
    written =
        written && (number.real ? writer.Word(&(this->*number.real)) : writer.Word(&(this->*number.whole)));
  }
  for (const CountedList& counted : kLists) {
    const SweepLists& list = this->*counted.list;
    if (!list || list->empty()) continue;
    written = written && std::fwrite(list->data(), sizeof(SWEEPS), list->size(), *file_) == list->size();
  }
  const bool closed = file_->Close() == trq::style_file::kOk;
  return written && closed ? trq::legacy_recoat_file::kOk : trq::legacy_recoat_file::kFailed;
}

namespace {

int ReadLegacy(RECOATSTYLE& style, FILE* stream) {
  StyleReader reader(stream, 0);
  // Kept: the stored path is read and discarded; the style keeps the path it was opened from.
  CString stored_path;
  if (!reader.Word(&style.Version) || !reader.Text(style.StyleName, kNameWidth) ||
      !reader.Text(stored_path, kNameWidth) || !reader.Text(style.BuildDescription, kDescriptionWidth)) {
    return trq::legacy_recoat_file::kReadFailed;
  }
  if (!reader.Word(&style.RecoatType)) return trq::legacy_recoat_file::kFailed;
  for (const NumberRow& number : kNumbers) {
    void* word = number.real ? static_cast<void*>(&(style.*number.real)) : &(style.*number.whole);
    if (!reader.Word(word)) return trq::legacy_recoat_file::kFailed;
  }
  for (const CountedList& counted : kLists) {
    auto list = std::make_shared<std::vector<SWEEPS>>();
    style.*counted.list = list;
    // The count is a claim: the list grows with the sweeps that come.
    for (int32_t i = 0; i < style.*counted.count; ++i) {
      SWEEPS sweep;
      if (!reader.Word(&sweep.BladeGap) || !reader.Word(&sweep.BladeVelocity))
        return trq::legacy_recoat_file::kFailed;
      list->push_back(sweep);
    }
  }
  return trq::legacy_recoat_file::kOk;
}

}  // namespace

int RECOATSTYLE::binaryReadStyle() {
  if (!file_->Open(FullPathName, "rb")) return trq::legacy_recoat_file::kCannotOpen;
  const int result = ReadLegacy(*this, *file_);
  file_->Close();
  return result;
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
  for (const NumberRow& number : kNumbers) {
    line(number.name, [&] {
      if (number.real) {
        AppendFixed(text, this->*number.real, 6);
      } else {
        text += std::to_string(this->*number.whole);
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
  if (!file_->Open(path, "wb")) return trq::legacy_recoat_file::kCannotOpen;
  const bool written = std::fwrite(text.data(), 1, text.size(), *file_) == text.size();
  const bool closed = file_->Close() == trq::style_file::kOk;
  return written && closed ? trq::legacy_recoat_file::kOk : trq::legacy_recoat_file::kFailed;
}
