#include "trqprep/stored_style.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "prep/styles/layout_marks.h"
#include "prep/styles/style_adapter.h"
#include "trqprep/atomic_output.h"
#include "trqprep/mesh_input.h"

namespace trqprep {
namespace {

constexpr std::size_t kCrcBytes = 4;
// The largest style that the application writes has some tens of kilobytes.
constexpr std::uint64_t kLargestStyle = 256u << 20;

constexpr float kVersion206 = 2.06f;
constexpr float kVersionLegacy = 2.03f;
bool IsVersion301(float version) { return version == 3.01f || version == 4.0f; }

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<FILE, CloseFile>;

float FloatAt(const std::string& bytes, std::size_t offset) {
  float value = 0;
  if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::int32_t WordAt(const std::string& bytes, std::size_t offset) {
  std::int32_t value = 0;
  if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// A stream over bytes in memory.
Stream OpenBytes(const std::string& bytes) {
  // The stream is only read from.
  Stream stream(fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb"));
  if (!stream) throw std::bad_alloc();
  return stream;
}

struct Reading {
  bool complete = false;
  std::size_t end = 0;  // bytes used
  StyleDocument style;
};

// Reads bytes as a style of one kind: in the given layout as it stands, or, without one, as the application
// does, which converts the 206 layout.
template <class Style>
Reading ReadInto(Style& style, const std::string& bytes, std::optional<StyleLayout> own) {
  Reading reading;
  if (bytes.empty()) return reading;
  const Stream stream = OpenBytes(bytes);
  style.setStyleFilePtr(stream.get());
  const bool as_206 = own == StyleLayout::k206;
  const int result = as_206 ? style.binaryReadStyleData206() : style.binaryReadStyle();
  reading.complete = result == trq::style_file::kOk;
  reading.end = static_cast<std::size_t>(std::max(0L, std::ftell(stream.get())));
  style.setStyleFilePtr(nullptr);
  reading.style = DocumentOf(style, own.value_or(StyleLayout::k301));
  return reading;
}

Reading ReadAs(StyleKind kind, const std::string& bytes, std::optional<StyleLayout> own) {
  return WithNewStyle(kind, [&](auto& style) { return ReadInto(style, bytes, own); });
}

// --- Legacy recoat styles ----------------------------------------------------------------------------------

constexpr std::size_t kLegacyPath = 516, kLegacyDescription = 1028, kLegacyNumbers = 1109;
constexpr std::size_t kLegacyCounts = 1113 + 20 * 4, kLegacyBase = 1209;

// The numbers of a legacy style and the records that they become.
struct LegacyNumber {
  const char* name;
  float RECOATSTYLE::*real;
  std::int32_t RECOATSTYLE::*whole;
};
using L = RECOATSTYLE;
constexpr LegacyNumber kLegacyNumberRows[] = {
    {"RecoatType", nullptr, &L::RecoatType},
    {"Start Z", &L::StartZ, nullptr},
    {"End Z", &L::EndZ, nullptr},
    {"Z Velocity", &L::ZVelocity, nullptr},
    {"Z Acceleration", &L::ZAcceleration, nullptr},
    {"Z Dip Distance", &L::ZDipDistance, nullptr},
    {"Z Pre DipDelay", nullptr, &L::ZPreDipDelay},
    {"Z Post DipDelay", nullptr, &L::ZPostDipDelay},
    {"Z Wait", nullptr, &L::ZWait},
    {"Primary ZVelocity", &L::PrimaryZVelocity, nullptr},
    {"Primary ZAcceleration", &L::PrimaryZAcceleration, nullptr},
    {"Primary ZDipDistance", &L::PrimaryZDipDistance, nullptr},
    {"Primary ZPreDipDelay", nullptr, &L::PrimaryZPreDipDelay},
    {"Primary ZPostDipDelay", nullptr, &L::PrimaryZPostDipDelay},
    {"Primary ZWait", nullptr, &L::PrimaryZWait},
    {"Secondary ZVelocity", &L::SecondaryZVelocity, nullptr},
    {"Secondary ZAcceleration", &L::SecondaryZAcceleration, nullptr},
    {"Secondary ZDipDistance", &L::SecondaryZDipDistance, nullptr},
    {"Secondary ZPreDipDelay", nullptr, &L::SecondaryZPreDipDelay},
    {"Secondary ZPostDipDelay", nullptr, &L::SecondaryZPostDipDelay},
    {"Secondary ZWait", nullptr, &L::SecondaryZWait},
    {"Number Of Secondary", nullptr, &L::NumberOfSecondary},
    {"Num Sweeps", nullptr, &L::NumSweeps},
    {"Num Tooling PrimarySweeps", nullptr, &L::NumToolingPrimarySweeps},
    {"Num Tooling SecondarySweeps", nullptr, &L::NumToolingSecondarySweeps},
};

bool IsLegacy(const std::string& bytes) {
  if (bytes.size() < kLegacyBase || FloatAt(bytes, 0) != kVersionLegacy) return false;
  std::uint64_t sweeps = 0;
  for (std::size_t list = 0; list < kSweepLists; ++list) {
    sweeps += static_cast<std::uint64_t>(std::max(0, WordAt(bytes, kLegacyCounts + 4 * list)));
  }
  return bytes.size() == kLegacyBase + 8 * sweeps;
}

std::string TextAt(const std::string& bytes, std::size_t offset, std::size_t width) {
  const std::string field = bytes.substr(offset, width);
  return field.substr(0, field.find('\0'));
}

// The library reads legacy styles from a file of their own.
RECOATSTYLE ReadLegacy(const std::string& bytes) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("legacy.rcs");
  const Stream stream(std::fopen(path.c_str(), "wb"));
  if (!stream || std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size() ||
      std::fflush(stream.get()) != 0) {
    Fail(ExitCode::kOutput, Message("OUTPUT-UNWRITABLE", path, "cannot be written"));
  }
  RECOATSTYLE style{CString(path)};
  if (style.binaryReadStyle() != trq::legacy_recoat_file::kOk) {
    throw std::logic_error("a complete legacy style cannot be read");
  }
  // The library keeps the path that it read from; the style's own stands in the file.
  style.FullPathName = TextAt(bytes, kLegacyPath, kLegacyDescription - kLegacyPath);
  return style;
}

StyleDocument LegacyDocument(const RECOATSTYLE& legacy) {
  StyleDocument style = NewStyle(StyleKind::kRecoat);
  style.layout = StyleLayout::kLegacy;
  style.FindText("style_name")->text = legacy.StyleName.str();
  style.FindText("full_path_name")->text = legacy.FullPathName.str();
  style.FindText("build_description")->text = legacy.BuildDescription.str();
  for (const LegacyNumber& row : kLegacyNumberRows) {
    RecordValues& record = style.Find(row.name)->record;
    record.value = row.real ? Number(legacy.*row.real) : Number(legacy.*row.whole);
    record.default_value = record.value;
  }
  const std::shared_ptr<std::vector<SWEEPS>> lists[kSweepLists] = {legacy.SweepList, legacy.PrimarySweepList,
                                                                   legacy.SecondarySweepList};
  for (int list = 0; list < kSweepLists; ++list) {
    const auto at = static_cast<std::size_t>(list);
    if (lists[at]) {
      for (const SWEEPS& from : *lists[at]) {
        SweepValues sweep = NewSweep();
        sweep.gap.value = sweep.gap.default_value = Number(from.BladeGap);
        sweep.velocity.value = sweep.velocity.default_value = Number(from.BladeVelocity);
        style.sweeps[at].push_back(sweep);
      }
    }
    style.CountSweeps(list);
  }
  return style;
}

void CheckLegacySurvival(const StyleFile& file, Survival& survival) {
  RECOATSTYLE style = ReadLegacy(file.bytes);
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("written.rcs");
  if (style.binaryWriteStyle(CString(path)) != trq::legacy_recoat_file::kOk) {
    Fail(ExitCode::kOutput, Message("OUTPUT-UNWRITABLE", path, "cannot be written"));
  }
  const std::string written = ReadStyleBytes(path);
  struct Field {
    const char* name;
    std::size_t offset, width;
  };
  const Field texts[] = {{"style_name", 4, kLegacyPath - 4},
                         {"full_path_name", kLegacyPath, kLegacyDescription - kLegacyPath},
                         {"build_description", kLegacyDescription, kLegacyNumbers - kLegacyDescription}};
  std::string expected = file.bytes;
  for (const Field& field : texts) {
    if (TextAt(file.bytes, field.offset, field.width) != TextAt(written, field.offset, field.width)) {
      survival.lost.push_back({field.name, field.offset, "the text is cut"});
    } else if (file.bytes.compare(field.offset, field.width, written, field.offset, field.width) != 0) {
      survival.notes.push_back({field.name, field.offset, "bytes after the text's NUL become zero"});
    }
    expected.replace(field.offset, field.width, written, field.offset, field.width);
  }
  if (expected != written) survival.lost.push_back({"numbers", kLegacyNumbers, "come out different"});
}

// --- Telling files apart -----------------------------------------------------------------------------------

std::optional<StyleKind> KindByEnding(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos) return std::nullopt;
  std::string ending = path.substr(dot + 1);
  for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ending == "sty") return StyleKind::kBuild;
  if (ending == "rcs") return StyleKind::kRecoat;
  return std::nullopt;
}

void TakeReading(StyleFile& file, Reading reading) {
  file.complete = reading.complete;
  file.end = reading.end;
  file.style = std::move(reading.style);
  file.ends_right = reading.complete && reading.end + kCrcBytes == file.bytes.size();
  file.has_crc = file.bytes.size() >= kCrcBytes;
  if (!file.has_crc) return;
  const std::size_t length = file.bytes.size() - kCrcBytes;
  file.stored_crc = static_cast<std::uint32_t>(WordAt(file.bytes, length));
  file.computed_crc = KVBUILDSTYLE::calcCRC(file.bytes.data(), static_cast<int>(length));
}

}  // namespace

std::string ReadStyleBytes(const std::string& path) {
  const FileHead head = ReadFileHead(path);
  if (head.size > kLargestStyle) {
    Fail(ExitCode::kInput, Message("STYLE-UNKNOWN", path, "is too large for a style file"));
  }
  std::string bytes(static_cast<std::size_t>(head.size), '\0');
  const Stream stream(std::fopen(path.c_str(), "rb"));
  if (!stream) Fail(ExitCode::kInput, Message("INPUT-UNREADABLE", path, SystemText(errno)));
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), stream.get()));
  if (std::ferror(stream.get())) Fail(ExitCode::kInput, Message("INPUT-UNREADABLE", path, SystemText(errno)));
  return bytes;
}

bool ExamineStyleHead(const std::string& head) {
  const float first = FloatAt(head, 0);
  return head.size() >= 8 && (IsVersion301(first) || first == kVersion206 || first == kVersionLegacy ||
                              FloatAt(head, 4) == kVersion206);
}

std::optional<StyleFile> ExamineStyle(const std::string& path, std::string bytes,
                                      std::optional<StyleKind> preferred) {
  StyleFile file;
  file.path = path;
  file.bytes = std::move(bytes);
  const std::string& content = file.bytes;
  if (content.size() < 8) return std::nullopt;
  if (IsLegacy(content)) {
    file.kind = StyleKind::kRecoat;
    file.layout = StyleLayout::kLegacy;
    file.complete = file.ends_right = true;
    file.end = content.size();
    file.style = LegacyDocument(ReadLegacy(content));
    return file;
  }
  const bool is_301 = IsVersion301(FloatAt(content, 0));
  // A 206 build style begins with its "Version" record; that of a recoat style stands behind the user level.
  const bool is_build_206 = FloatAt(content, 0) == kVersion206;
  const bool is_recoat_206 = !is_301 && FloatAt(content, 4) == kVersion206;
  if (!is_301 && !is_build_206 && !is_recoat_206) return std::nullopt;
  file.layout = is_301 ? StyleLayout::k301 : StyleLayout::k206;
  Reading build, recoat;
  if (is_301 || is_build_206) build = ReadAs(StyleKind::kBuild, content, file.layout);
  if (is_301 || is_recoat_206) recoat = ReadAs(StyleKind::kRecoat, content, file.layout);
  const bool fits_build = build.complete && build.end + kCrcBytes == content.size();
  const bool fits_recoat = recoat.complete && recoat.end + kCrcBytes == content.size();
  if (fits_build != fits_recoat) {
    file.kind = fits_build ? StyleKind::kBuild : StyleKind::kRecoat;
  } else if (!is_301 && is_build_206 != is_recoat_206) {
    file.kind = is_build_206 ? StyleKind::kBuild : StyleKind::kRecoat;
  } else {
    const std::optional<StyleKind> by_name = KindByEnding(path);
    if (!by_name && !preferred) return std::nullopt;
    file.kind = by_name.value_or(preferred.value_or(StyleKind::kBuild));
    file.kind_from_name = true;
  }
  TakeReading(file, std::move(file.kind == StyleKind::kBuild ? build : recoat));
  return file;
}

StyleFile LoadStyle(Context& context, const std::string& path, StyleKind kind) {
  std::optional<StyleFile> file = ExamineStyle(path, ReadStyleBytes(path), kind);
  if (!file) {
    Fail(ExitCode::kInput,
         Message("STYLE-UNKNOWN", path,
                 fmt::format("is no {} file: it begins with no known version", StyleKindName(kind)))
             .Hint("'trqprep info' tells what a file holds"));
  }
  if (file->kind != kind) {
    Fail(ExitCode::kInput,
         Message("STYLE-KIND", path,
                 fmt::format("is a {}, no {}", StyleKindName(file->kind), StyleKindName(kind)))
             .Hint(fmt::format("the command for it is 'trqprep {}'", StyleCommand(file->kind))));
  }
  if (!file->complete) {
    Fail(ExitCode::kInput, Message("STYLE-SHORT", path,
                                   fmt::format("ends after {} bytes, inside its {} layout",
                                               file->bytes.size(), StyleLayoutName(file->layout)))
                               .Hint("copy the file again from where it came"));
  }
  if (!file->ends_right || !file->crc_valid()) {
    Fail(ExitCode::kInput,
         Message("STYLE-CRC", path,
                 fmt::format("the checksum {:08x} does not match the content ({:08x})", file->stored_crc,
                             file->computed_crc))
             .Hint("copy the file again from where it came; it was damaged or edited by hand"));
  }
  if (file->kind_from_name) {
    context.Note(Message("STYLE-NAME-DECIDES", path,
                         fmt::format("could be either kind of style; taken as a {}", StyleKindName(kind))));
  }
  return *std::move(file);
}

StyleFile LoadStyleToEdit(Context& context, const std::string& path, StyleKind kind) {
  StyleFile file = LoadStyle(context, path, kind);
  if (file.layout == StyleLayout::kLegacy) {
    Fail(ExitCode::kInput, Message("STYLE-LEGACY", path, "is a legacy recoat style, which is only read")
                               .Hint("'trqprep recoat upgrade' makes a 301 file of it"));
  }
  const Survival survival = CheckSurvival(file);
  for (const Survival::Entry& entry : survival.lost) {
    context.Warn(Message("STYLE-LOST", path, fmt::format("{}: {}", entry.name, entry.text))
                     .At({{"byte", entry.offset}}));
  }
  // Edits begin with what can be written.
  if (!survival.lost.empty()) file.style = ReadAs(kind, StyleBytes(file.style), file.layout).style;
  return file;
}

StyleDocument AsRead(const StyleFile& file) {
  if (file.layout == StyleLayout::k206) return ReadAs(file.kind, file.bytes, std::nullopt).style;
  StyleDocument style = file.style;
  style.layout = StyleLayout::k301;
  return style;
}

StyleDocument NewStyle(StyleKind kind) {
  return WithNewStyle(kind, [](auto& style) {
    if constexpr (std::is_same_v<std::decay_t<decltype(style)>, KVBUILDSTYLE>) {
      // The two share a place in files, so a style that is to be written has them equal.
      style.QCMinLargeThickSkinWidth.CopyRecord(&style.ShellingThickness);
    }
    return DocumentOf(style, StyleLayout::k301);
  });
}

std::string StyleBytes(const StyleDocument& document) {
  if (document.layout == StyleLayout::kLegacy) throw std::logic_error("legacy styles are not written");
  return WithNewStyle(document.kind, [&](auto& style) {
    StoreDocument(document, style);
    char* memory = nullptr;
    std::size_t size = 0;
    Stream stream(open_memstream(&memory, &size));
    if (!stream) throw std::bad_alloc();
    style.setStyleFilePtr(stream.get());
    const int result = document.layout == StyleLayout::k301 ? style.binaryWriteStyleData301()
                                                            : style.binaryWriteStyleData206();
    style.setStyleFilePtr(nullptr);
    stream.reset();
    const std::unique_ptr<char, void (*)(void*)> owner(memory, std::free);
    if (result != trq::style_file::kOk) throw std::bad_alloc();
    std::string bytes(memory, size);
    const std::uint32_t crc = KVBUILDSTYLE::calcCRC(bytes.data(), static_cast<int>(bytes.size()));
    bytes.append(reinterpret_cast<const char*>(&crc), sizeof crc);
    return bytes;
  });
}

std::vector<StyleDifference> LostInFile(const StyleDocument& document) {
  const Reading reading = ReadAs(document.kind, StyleBytes(document), document.layout);
  std::vector<StyleDifference> lost;
  for (StyleDifference& difference : Compare(document, reading.style)) {
    // "Version" follows the layout.
    if (difference.name != "Version") lost.push_back(std::move(difference));
  }
  return lost;
}

void WriteStyle(const StyleDocument& style, const std::string& path, bool replace) {
  WriteOutputFile(path, StyleBytes(style), replace);
}

namespace {

// Which values come back when a style full of other values is written and read.
std::vector<bool> ProbeStored(StyleKind kind, StyleLayout layout) {
  const StyleDocument fresh =
      WithNewStyle(kind, [](auto& style) { return DocumentOf(style, StyleLayout::k301); });
  StyleDocument probe = fresh;
  probe.layout = layout;
  for (StyleParameter& parameter : probe.parameters) {
    Number& value = parameter.record.value;
    value = value.is_float() ? Number(value.AsFloat() + 1.0f) : Number(value.AsInt() == 0 ? 1 : 0);
  }
  const StyleDocument read = ReadAs(kind, StyleBytes(probe), layout).style;
  std::vector<bool> stored;
  for (std::size_t i = 0; i < fresh.parameters.size(); ++i) {
    stored.push_back(read.parameters[i].record.value == probe.parameters[i].record.value);
  }
  return stored;
}

}  // namespace

bool IsStored(const StyleDocument& style, std::size_t parameter) {
  if (style.layout == StyleLayout::kLegacy) {
    return std::any_of(std::begin(kLegacyNumberRows), std::end(kLegacyNumberRows),
                       [&](const LegacyNumber& row) { return style.parameters[parameter].name == row.name; });
  }
  static std::map<std::pair<StyleKind, StyleLayout>, std::vector<bool>> known;
  std::vector<bool>& stored = known[{style.kind, style.layout}];
  if (stored.empty()) stored = ProbeStored(style.kind, style.layout);
  return stored[parameter];
}

void DescribeStyle(const StyleFile& file, Json& data) {
  const StyleDocument& style = file.style;
  const bool legacy = file.layout == StyleLayout::kLegacy;
  data["kind"] = StyleKindName(file.kind);
  data["kind_from_name"] = file.kind_from_name;
  data["layout"] = StyleLayoutName(file.layout);
  data["version"] = legacy                             ? NumberToJson(kVersionLegacy)
                    : file.layout == StyleLayout::k206 ? NumberToJson(kVersion206)
                                                       : style.FindWord("file_version")->number.ToJson();
  data["bytes"] = file.bytes.size();
  data["style_name"] = TextToJson(style.FindText("style_name")->text);
  // A 206 build style stores neither machine nor user level, no build style its units.
  const bool has_machine = !legacy && (file.kind == StyleKind::kRecoat || file.layout == StyleLayout::k301);
  if (has_machine) {
    const std::int32_t machine = style.FindWord("machine_type")->number.AsInt();
    data["machine_type"] = machine;
    data["machine"] = MachineName(machine);
  }
  if (!legacy && (file.kind == StyleKind::kRecoat || file.layout == StyleLayout::k301)) {
    data["user_level"] = style.FindWord("user_level")->number.AsInt();
  }
  if (file.kind == StyleKind::kRecoat) {
    data["build_description"] = TextToJson(style.FindText("build_description")->text);
    if (!legacy) data["length_units"] = TextToJson(style.FindText("units")->text);
    for (int list = 0; list < kSweepLists; ++list) {
      data["sweep_counts"][SweepListName(list)] = style.sweeps[static_cast<std::size_t>(list)].size();
    }
  }
  if (file.has_crc) {
    data["crc"] = fmt::format("{:08x}", file.stored_crc);
    data["crc_valid"] = file.crc_valid();
  }
}

std::string TextExport(const StyleDocument& document, bool comma_separated) {
  const TemporaryFolder folder;
  const std::string path = folder.PathOf("export");
  const int result = WithNewStyle(document.kind, [&](auto& style) {
    StoreDocument(document, style);
    style.CommaSeparated = comma_separated;
    return StyleTraits<std::decay_t<decltype(style)>>::WriteText(style, CString(path));
  });
  if (result != trq::style_file::kOk) {
    Fail(ExitCode::kOutput, Message("OUTPUT-UNWRITABLE", path, "cannot be written"));
  }
  return ReadStyleBytes(path);
}

void ConvertStyleUnits(StyleDocument& document, Units to) {
  const StyleDocument before = document;
  WithNewStyle(document.kind, [&](auto& style) {
    StoreDocument(document, style);
    if (to == Units::kMillimetre) {
      style.ConvertAllValuesToMM();
    } else {
      style.ConvertAllValuesToINCH();
    }
    document = DocumentOf(style, document.layout);
  });
  // The library multiplies the bounds that mark a record without range, too, which would make it a record
  // that takes no value at all.
  const auto keep = [](const RecordValues& old, RecordValues& record) {
    if (!old.HasRange()) record.RemoveRange();
  };
  for (std::size_t i = 0; i < document.parameters.size(); ++i) {
    keep(before.parameters[i].record, document.parameters[i].record);
  }
  for (std::size_t list = 0; list < kSweepLists; ++list) {
    for (std::size_t i = 0; i < document.sweeps[list].size(); ++i) {
      keep(before.sweeps[list][i].gap, document.sweeps[list][i].gap);
      keep(before.sweeps[list][i].velocity, document.sweeps[list][i].velocity);
    }
  }
}

// --- What survives -----------------------------------------------------------------------------------------

namespace {

Number NumberAt(const std::string& bytes, std::size_t offset, bool is_float) {
  return is_float ? Number(FloatAt(bytes, offset)) : Number(WordAt(bytes, offset));
}

class SurvivalCheck {
 public:
  SurvivalCheck(const StyleFile& file, Survival& survival)
      : style_(file.style), before_(file.bytes.substr(0, file.end)), survival_(survival) {
    after_ = StyleBytes(style_);
    after_.resize(after_.size() - kCrcBytes);
  }

  void Run() {
    const std::vector<FilePiece> before = CutFile(style_, before_);
    const std::vector<FilePiece> after = CutFile(style_, after_);
    for (std::size_t i = 0; i < before.size(); ++i) ComparePiece(before[i], after[i]);
  }

 private:
  void Lost(const FilePiece& piece, std::size_t at, const std::string& text) {
    survival_.lost.push_back({piece.name, piece.offset + at, text});
  }
  void Note(const FilePiece& piece, std::size_t at, const std::string& text) {
    survival_.notes.push_back({piece.name, piece.offset + at, text});
  }

  void ComparePiece(const FilePiece& a, const FilePiece& b) {
    if (before_.compare(a.offset, a.size, after_, b.offset, b.size) == 0) return;
    switch (a.kind) {
      case LayoutPiece::Kind::kWord:
        Lost(a, 0,
             fmt::format("{:08x} becomes {:08x}", static_cast<std::uint32_t>(WordAt(before_, a.offset)),
                         static_cast<std::uint32_t>(WordAt(after_, b.offset))));
        break;
      case LayoutPiece::Kind::kText:
        CompareText(a, b);
        break;
      case LayoutPiece::Kind::kFlags:
        Note(a, 0, "only the value's flag bits are kept");
        break;
      case LayoutPiece::Kind::kVersion:
        Note(a, 0, "value and default are always written as 2.06");
        break;
      default:
        CompareRecord(a, b);
    }
  }

  void CompareText(const FilePiece& a, const FilePiece& b) {
    const std::string before = TextAt(before_, a.offset, a.size);
    const std::string after = TextAt(after_, b.offset, b.size);
    if (before == after) {
      Note(a, before.size(), "bytes after the text's NUL become zero");
    } else if (before.size() == a.size) {
      Lost(a, 0, "the text fills its field and loses its last byte to the NUL");
    } else {
      Lost(a, 0,
           fmt::format("\"{}\" becomes \"{}\", which stands in the file a second time", OneLine(before),
                       OneLine(after)));
    }
  }

  void CompareRecord(const FilePiece& a, const FilePiece& b) {
    const StyleParameter* parameter = style_.Find(a.name);
    const bool is_float = !parameter || parameter->record.value.is_float();
    const struct {
      const char* name;
      std::size_t at;
    } numbers[] = {{"value", RecordBytes::kValue},
                   {"default", RecordBytes::kDefault},
                   {"minimum", RecordBytes::kMinimum},
                   {"maximum", RecordBytes::kMaximum}};
    for (const auto& number : numbers) {
      const Number before = NumberAt(before_, a.offset + number.at, is_float);
      const Number after = NumberAt(after_, b.offset + number.at, is_float);
      if (before != after) {
        Lost(a, number.at, fmt::format("{} {} becomes {}", number.name, before.Text(), after.Text()));
      }
    }
    if (before_.compare(a.offset + RecordBytes::kFlags, 3, after_, b.offset + RecordBytes::kFlags, 3) != 0) {
      Lost(a, RecordBytes::kFlags, "the display, edit and range flags come out different");
    }
    const std::int32_t before = WordAt(before_, a.offset + RecordBytes::kCount);
    const std::int32_t after = WordAt(after_, b.offset + RecordBytes::kCount);
    if (before < 0 && after == 0) {
      Note(a, RecordBytes::kCount, fmt::format("number of allowed values {} becomes 0", before));
    } else if (before_.compare(a.offset + RecordBytes::kCount, a.size - RecordBytes::kCount, after_,
                               b.offset + RecordBytes::kCount, b.size - RecordBytes::kCount) != 0) {
      Lost(a, RecordBytes::kCount, "the allowed values come out different");
    }
  }

  const StyleDocument& style_;
  std::string before_, after_;
  Survival& survival_;
};

}  // namespace

Survival CheckSurvival(const StyleFile& file) {
  Survival survival;
  if (file.layout == StyleLayout::kLegacy) {
    CheckLegacySurvival(file, survival);
  } else {
    SurvivalCheck(file, survival).Run();
  }
  return survival;
}

}  // namespace trqprep
