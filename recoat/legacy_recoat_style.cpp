#include <algorithm>
#include <cstring>

#include "foundation/number_text.h"
#include "styles/style_file.h"
#include "styles/style_text.h"
#include "trq/recoat.h"

namespace trq::detail {

using R = RECOATSTYLE;

template <>
struct StyleLists<R> {
  /// Version, recoat type, and the 24 numbers of the flat style in file order.
  static constexpr core::StyleWord<R> kWords[] = {
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

  static constexpr core::StyleText<R> kTexts[] = {
      TextRow<&R::StyleName>("style_name"),
      TextRow<&R::FullPathName>("full_path_name"),
      TextRow<&R::BuildDescription>("build_description"),
  };
};

namespace {

constexpr size_t kFirstNumber = 2;

using SweepLists = std::shared_ptr<std::vector<SWEEPS>>;
struct CountedList {
  int32_t R::*count;
  SweepLists R::*list;
  std::vector<KVSWEEPS> KVRECOATSTYLE::*records;
  const char* name;
  const char* heading;
};
constexpr CountedList kLists[] = {
    {&R::NumSweeps, &R::SweepList, &KVRECOATSTYLE::SweepList, "sweeps", "Sweep"},
    {&R::NumToolingPrimarySweeps, &R::PrimarySweepList, &KVRECOATSTYLE::PrimarySweepList, "primary",
     "Primary Sweep"},
    {&R::NumToolingSecondarySweeps, &R::SecondarySweepList, &KVRECOATSTYLE::SecondarySweepList, "secondary",
     "Secondary Sweep"},
};

using Layout = LayoutItems<R>;
constexpr Layout MakeLegacy() {
  Layout layout;
  layout.Words("Version");
  layout.Text("style_name");
  layout.Text("full_path_name");
  layout.Text("build_description", 81);
  layout.Words("RecoatType", "Number Of Secondary");
  for (size_t list = 0; list < std::size(kLists); ++list) {
    layout.Add(ItemKind::kSweeps, kLists[list].name, list, sizeof(SWEEPS));
  }
  return layout;
}
constexpr Layout kLayout = MakeLegacy();
constexpr size_t kItemsToTexts = 4;  // version and texts
static_assert(kLayout.bytes == 1209, "bytes before the sweeps");

}  // namespace

template <>
bool WriteSpecial(StyleSink& sink, R& style, const StyleLayoutItem& item) {
  const SweepLists& list = style.*kLists[item.index].list;
  return !list || std::all_of(list->begin(), list->end(), [&sink](const SWEEPS& sweep) {
    return sink.Word(&sweep.BladeGap) && sink.Word(&sweep.BladeVelocity);
  });
}

template <>
bool ReadSpecial(StyleSource& source, R& style, const StyleLayoutItem& item) {
  const CountedList& counted = kLists[item.index];
  auto list = std::make_shared<std::vector<SWEEPS>>();
  style.*counted.list = list;
  // The count is a claim: the list grows with the sweeps that come.
  for (int32_t i = 0; i < style.*counted.count; ++i) {
    SWEEPS sweep;
    if (!source.Word(&sweep.BladeGap) || !source.Word(&sweep.BladeVelocity)) return false;
    list->push_back(sweep);
  }
  return true;
}

namespace {

int ReadLegacy(R& style, StyleSource& source) {
  const size_t items = Transfer(source, style, kLayout.All());
  if (items < kItemsToTexts) return legacy_recoat_file::kReadFailed;
  return items == kLayout.count ? legacy_recoat_file::kOk : legacy_recoat_file::kFailed;
}

}  // namespace
}  // namespace trq::detail

namespace trq::core {

template <>
Span<const StyleWord<RECOATSTYLE>> StyleWords<RECOATSTYLE>() {
  return detail::StyleLists<RECOATSTYLE>::kWords;
}
template <>
Span<const StyleText<RECOATSTYLE>> StyleTexts<RECOATSTYLE>() {
  return detail::StyleLists<RECOATSTYLE>::kTexts;
}
template <>
Span<const StyleLayoutItem> LayoutOf<RECOATSTYLE>(StyleLayout layout) {
  if (layout != StyleLayout::kLegacy) return {};
  return detail::kLayout.All();
}

Result<size_t> ReadStyle(Bytes bytes, RECOATSTYLE& style) {
  detail::StyleSource source(bytes);
  const int result = detail::ReadLegacy(style, source);
  return detail::ReadingOf(result, source);
}
std::string StyleFileBytes(const RECOATSTYLE& style) {
  std::string bytes;
  detail::StyleSink sink(bytes);
  RECOATSTYLE written = style;
  detail::Transfer(sink, written, detail::kLayout.All());
  return bytes;
}

}  // namespace trq::core

using namespace trq::detail;

RECOATSTYLE::RECOATSTYLE(CString path) : FullPathName(path) {}

RECOATSTYLE::RECOATSTYLE(const _rc_style* structure, RECOAT_TYPE type) : RecoatType(type) {
  if (!structure) return;
  KVRECOATSTYLE from(structure, type);
  StyleName = from.StyleName;
  BuildDescription = from.BuildDescription;
  FullPathName = from.FullPathName;
  for (const auto& word : trq::core::StyleWords<RECOATSTYLE>().From(kFirstNumber)) {
    trq::RecoatStyleParameters().Find(word.key)->member.With(from, [&](const auto& record) {
      const auto number = record.GetValue();
      std::memcpy(word.in(*this), &number, sizeof number);
    });
  }
  for (const CountedList& counted : kLists) {
    SweepLists& list = this->*counted.list = std::make_shared<std::vector<SWEEPS>>();
    for (const KVSWEEPS& sweep : from.*counted.records) {
      list->push_back({sweep.BladeGap.GetValue(), sweep.BladeVelocity.GetValue()});
    }
  }
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

namespace {

int WriteLegacyFile(trq::StyleStream& stream, const CString& path, const std::string& bytes) {
  switch (WriteTextFile(stream, path, bytes)) {
    case trq::style_file::kOk:
      return trq::legacy_recoat_file::kOk;
    case trq::style_file::kCannotOpen:
      return trq::legacy_recoat_file::kCannotOpen;
    default:
      return trq::legacy_recoat_file::kFailed;
  }
}

}  // namespace

int RECOATSTYLE::binaryWriteStyle(CString path) {
  return WriteLegacyFile(*file.operator->(), path, trq::core::StyleFileBytes(*this));
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
  const auto add_line = [&](const trq::core::StyleWord<RECOATSTYLE>& word) {
    const void* number = word.in(*this);
    text += word.key;
    text += ' ';
    if (word.is_float) {
      AppendFixed(text, *static_cast<const float*>(number), 6);
    } else {
      text += std::to_string(*static_cast<const int32_t*>(number));
    }
    text += '\n';
  };
  const auto words = trq::core::StyleWords<RECOATSTYLE>();
  add_line(words[1]);  // the type, then the version
  add_line(words[0]);
  for (const auto& word : words.From(kFirstNumber)) add_line(word);
  for (const CountedList& counted : kLists) {
    const SweepLists& list = this->*counted.list;
    if (!list) continue;
    for (const SWEEPS& sweep : *list) {
      text += counted.heading;
      text += ' ';
      AppendFixed(text, sweep.BladeGap, 6);
      text += ' ';
      AppendFixed(text, sweep.BladeVelocity, 6);
      text += '\n';
    }
  }
  return WriteLegacyFile(*file.operator->(), path, text);
}
