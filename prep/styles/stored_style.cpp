#include "trqprep/stored_style.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include "prep/styles/style_adapter.h"
#include "trq/core/style_file.h"
#include "trqprep/atomic_output.h"
#include "trqprep/input_file.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

constexpr size_t kCrcBytes = 4;

constexpr float kVersion206 = 2.06f;
constexpr float kVersionLegacy = 2.03f;
constexpr float kVersion301 = 3.01f;
bool IsVersion301(float version) { return version == kVersion301 || version == 4.0f; }

/// The number at a place of the bytes; 0 where they end before.
template <class T>
T At(const std::string& bytes, size_t offset) {
  T value = 0;
  if (offset + sizeof value > bytes.size()) return value;
  const uint32_t word = LittleWordAt(bytes, offset);
  std::memcpy(&value, &word, sizeof value);
  return value;
}

trq::Bytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

struct Reading {
  bool complete = false;
  size_t end = 0;  // bytes used
  StyleDocument style;
};

// Reads bytes as a style of one kind: in the given layout as it stands, or, without one, as the application
// does, which converts the 206 layout.
Reading ReadAs(StyleKind kind, const std::string& bytes, std::optional<StyleLayout> own) {
  return WithNewStyle(kind, [&](auto& style) -> Reading {
    const auto used = own == StyleLayout::k206 ? trq::core::ReadStyle206(BytesOf(bytes), style)
                                               : trq::core::ReadStyle(BytesOf(bytes), style);
    return {used.ok(), used.ok() ? *used : size_t(used.error().place.byte),
            DocumentOf(style, own.value_or(StyleLayout::k301))};
  });
}

// --- Legacy recoat styles ----------------------------------------------------------------------------------

constexpr trq::core::StyleLayoutItem::Kind kTextItem = trq::core::StyleLayoutItem::Kind::kText;

struct LegacyReading {
  RECOATSTYLE style{CString()};
  size_t end = 0;  // bytes used
};

// What the application's own reader makes of the bytes, whatever version they begin with and wherever they
// end.
std::optional<LegacyReading> TakeLegacy(const std::string& bytes) {
  LegacyReading reading;
  const auto used = trq::core::ReadStyle(BytesOf(bytes), reading.style);
  if (!used.ok()) return std::nullopt;
  reading.end = *used;
  return reading;
}

// The legacy style that the bytes are from first to last, which tells one by its content.
std::optional<LegacyReading> ReadLegacy(const std::string& bytes) {
  if (At<float>(bytes, 0) != kVersionLegacy) return std::nullopt;
  std::optional<LegacyReading> reading = TakeLegacy(bytes);
  if (reading && reading->end != bytes.size()) return std::nullopt;
  return reading;
}

std::string TextAt(const std::string& bytes, size_t offset, size_t width) {
  const std::string field = bytes.substr(offset, width);
  return field.substr(0, field.find('\0'));
}

StyleDocument LegacyDocument(RECOATSTYLE legacy) {
  StyleDocument style = NewStyle(StyleKind::kRecoat);
  style.layout = StyleLayout::kLegacy;
  for (const auto& text : trq::core::StyleTexts<RECOATSTYLE>()) {
    style.FindText(text.key)->text = text.in(legacy).str();
  }
  // All but the version are numbers of records.
  for (const auto& word : trq::core::StyleWords<RECOATSTYLE>().From(1)) {
    RecordValues& record = style.Find(word.key)->record;
    record.value = record.default_value = NumberIn(word, legacy);
  }
  const std::shared_ptr<std::vector<SWEEPS>> lists[kSweepLists] = {legacy.SweepList, legacy.PrimarySweepList,
                                                                   legacy.SecondarySweepList};
  for (size_t list = 0; list < kSweepLists; ++list) {
    if (lists[list]) {
      for (const SWEEPS& from : *lists[list]) {
        SweepValues& sweep = style.sweeps[list].emplace_back(NewSweep());
        sweep.gap.value = sweep.gap.default_value = from.BladeGap;
        sweep.velocity.value = sweep.velocity.default_value = from.BladeVelocity;
      }
    }
    style.CountSweeps(list);
  }
  return style;
}

void CompareLegacy(const StyleFile& file, RewriteChanges& changes) {
  const std::string written = trq::core::StyleFileBytes(TakeLegacy(file.bytes).value().style);
  std::string expected = file.bytes.substr(0, file.end);
  if (file.end < file.bytes.size()) {
    changes.notes.push_back(
        {"file", file.end,
         Counted(int64_t(file.bytes.size() - file.end), "byte") + " behind the last sweep not read"});
  }
  size_t numbers = 0;
  for (const auto& field : trq::core::LayoutOf<RECOATSTYLE>(StyleLayout::kLegacy)) {
    if (field.kind != kTextItem) continue;
    numbers = field.offset + field.size;
    if (TextAt(file.bytes, field.offset, field.size) != TextAt(written, field.offset, field.size)) {
      changes.lost.push_back({field.name, field.offset, "the text is cut"});
    } else if (file.bytes.compare(field.offset, field.size, written, field.offset, field.size) != 0) {
      changes.notes.push_back({field.name, field.offset, "bytes after the text's NUL become zero"});
    }
    expected.replace(field.offset, field.size, written, field.offset, field.size);
  }
  if (expected != written) changes.lost.push_back({"numbers", numbers, "come out different"});
}

// --- Telling files apart -----------------------------------------------------------------------------------

std::optional<StyleKind> KindByEnding(const std::string& path) {
  const std::string ending = LowerExtension(path);
  if (ending == "sty") return StyleKind::kBuild;
  if (ending == "rcs") return StyleKind::kRecoat;
  return std::nullopt;
}

// True when the checksum follows what was read and ends the bytes.
bool EndsRight(const Reading& reading, const std::string& bytes) {
  return reading.complete && reading.end + kCrcBytes == bytes.size();
}

void TakeReading(StyleFile& file, Reading reading) {
  file.complete = reading.complete;
  file.end = reading.end;
  file.ends_right = EndsRight(reading, file.bytes);
  file.style = std::move(reading.style);
  file.has_crc = file.bytes.size() >= kCrcBytes;
  if (!file.has_crc) return;
  const size_t length = file.bytes.size() - kCrcBytes;
  file.stored_crc = At<uint32_t>(file.bytes, length);
  file.computed_crc = trq::core::StyleChecksum(BytesOf(file.bytes).First(length));
}

}  // namespace

bool ExamineStyleHead(const std::string& head) {
  const float first = At<float>(head, 0);
  return head.size() >= 8 && (IsVersion301(first) || first == kVersion206 || first == kVersionLegacy ||
                              At<float>(head, 4) == kVersion206);
}

std::optional<StyleFile> ExamineStyle(const std::string& path, std::string bytes,
                                      std::optional<StyleKind> preferred) {
  StyleFile file;
  file.path = path;
  file.bytes = std::move(bytes);
  const std::string& content = file.bytes;
  if (content.size() < 8) return std::nullopt;
  const auto take_legacy = [&file](const LegacyReading& legacy) {
    file.kind = StyleKind::kRecoat;
    file.layout = StyleLayout::kLegacy;
    file.complete = file.ends_right = true;
    file.end = legacy.end;
    file.style = LegacyDocument(legacy.style);
    return file;
  };
  if (const std::optional<LegacyReading> legacy = ReadLegacy(content)) return take_legacy(*legacy);
  const float first = At<float>(content, 0);
  const bool is_301 = IsVersion301(first);
  // A 206 build style begins with its "Version" record; that of a recoat style stands behind the user level.
  const bool is_build_206 = first == kVersion206;
  // A file that begins with 2.06 is no recoat style: a "Version" record has 2.06 at its second word, too. Any
  // other user level may stand there, but the application takes 3.01 for the version.
  const bool is_recoat_206 = first != kVersion301 && !is_build_206 && At<float>(content, 4) == kVersion206;
  if (!is_301 && !is_build_206 && !is_recoat_206) {
    if (preferred != StyleKind::kRecoat) return std::nullopt;
    const std::optional<LegacyReading> legacy = TakeLegacy(content);
    if (!legacy) return std::nullopt;
    return take_legacy(*legacy);
  }
  const StyleLayout build_layout = is_301 ? StyleLayout::k301 : StyleLayout::k206;
  const StyleLayout recoat_layout = is_recoat_206 ? StyleLayout::k206 : StyleLayout::k301;
  Reading build, recoat;
  if (is_301 || is_build_206) build = ReadAs(StyleKind::kBuild, content, build_layout);
  if (is_301 || is_recoat_206) recoat = ReadAs(StyleKind::kRecoat, content, recoat_layout);
  const bool fits_build = EndsRight(build, content);
  const bool fits_recoat = EndsRight(recoat, content);
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
  const bool is_build = file.kind == StyleKind::kBuild;
  file.layout = is_build ? build_layout : recoat_layout;
  TakeReading(file, std::move(is_build ? build : recoat));
  return file;
}

Message StyleIsShort(const StyleFile& file) {
  return Message(Code::kStyleShort, file.path,
                 fmt::format("ends after {}, inside its {} layout",
                             Counted(int64_t(file.bytes.size()), "byte"), StyleLayoutName(file.layout)));
}

Message StyleIsDamaged(const StyleFile& file) {
  return Message(Code::kStyleCrc, file.path,
                 fmt::format("the checksum {:08x} does not match the content ({:08x})", file.stored_crc,
                             file.computed_crc));
}

void NoteNameDecides(Observer& observer, const StyleFile& file) {
  if (!file.kind_from_name) return;
  observer.Note(
      Message(Code::kStyleNameDecides, file.path,
              fmt::format("could be either kind of style; taken as a {} by its {}", StyleKindName(file.kind),
                          KindByEnding(file.path) ? "name" : "command or option"))
          .Hint(fmt::format("'trqprep {} verify' tells whether it is whole", StyleCommand(file.kind))));
}

StyleFile LoadStyle(Observer& observer, const std::string& path, StyleKind kind) {
  std::optional<StyleFile> file = ExamineStyle(path, ReadWholeFile(path), kind);
  if (!file) {
    FailInput(Code::kStyleUnknown, path,
              fmt::format("is not a {} file: it does not begin with a known version", StyleKindName(kind)),
              "'trqprep info' tells what a file holds");
  }
  if (file->kind != kind) {
    FailInput(Code::kStyleKind, path,
              fmt::format("is a {}, not a {}", StyleKindName(file->kind), StyleKindName(kind)),
              fmt::format("the command for it is 'trqprep {}'", StyleCommand(file->kind)));
  }
  NoteNameDecides(observer, *file);
  if (!file->complete) {
    Fail(ExitCode::kInput, StyleIsShort(*file).Hint("copy the file again from where it came"));
  }
  if (!file->ends_right || !file->crc_valid()) {
    Fail(ExitCode::kInput, StyleIsDamaged(*file).Hint(
                               "copy the file again from where it came; it was damaged or edited by hand"));
  }
  if (file->layout == StyleLayout::kLegacy && file->end < file->bytes.size()) {
    observer.Note(
        Message(Code::kStyleSlack, path,
                Counted(int64_t(file->bytes.size() - file->end), "byte") + " behind the last sweep not read")
            .At({{"byte", file->end}}));
  }
  return *std::move(file);
}

StyleFile LoadStyleToEdit(Observer& observer, const std::string& path, StyleKind kind) {
  StyleFile file = LoadStyle(observer, path, kind);
  if (file.layout == StyleLayout::kLegacy) {
    FailInput(Code::kStyleLegacy, path, "is a legacy recoat style, which is only read",
              "'trqprep recoat upgrade' makes a 301 file of it");
  }
  const RewriteChanges changes = ChangesByRewriting(file);
  for (const RewriteChanges::Entry& entry : changes.lost) {
    observer.Warn(ChangeMessage(Code::kStyleLost, path, entry).At({{"byte", entry.offset}}));
  }
  // Edits begin with what can be written.
  if (!changes.lost.empty()) file.style = AsWritten(file.style);
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
    return trq::core::StyleFileBytes(style, document.layout);
  });
}

StyleDocument AsWritten(const StyleDocument& style) {
  return ReadAs(style.kind, StyleBytes(style), style.layout).style;
}

std::vector<StyleDifference> LostInFile(const StyleDocument& document) {
  std::vector<StyleDifference> lost;
  for (StyleDifference& difference : Compare(document, AsWritten(document))) {
    // "Version" follows the layout.
    if (difference.name != "Version") lost.push_back(std::move(difference));
  }
  return lost;
}

void WriteStyle(const StyleDocument& style, const std::string& path, bool replace) {
  WriteOutputFile(path, StyleBytes(style), replace);
}

bool IsStored(const StyleDocument& style, size_t parameter) {
  return style.kind == StyleKind::kBuild ? trq::core::StoresParameter<KVBUILDSTYLE>(style.layout, parameter)
                                         : trq::core::StoresParameter<KVRECOATSTYLE>(style.layout, parameter);
}

bool StatesMachine(const StyleFile& file) {
  return file.layout != StyleLayout::kLegacy &&
         (file.kind == StyleKind::kRecoat || file.layout == StyleLayout::k301);
}

void DescribeStyle(const StyleFile& file, Json& data) {
  const StyleDocument& style = file.style;
  const bool legacy = file.layout == StyleLayout::kLegacy;
  data["kind"] = StyleKindName(file.kind);
  data["kind_from_name"] = file.kind_from_name;
  data["layout"] = StyleLayoutName(file.layout);
  data["file_version"] = legacy                             ? NumberToJson(kVersionLegacy)
                         : file.layout == StyleLayout::k206 ? NumberToJson(kVersion206)
                                                            : Json(style.FindWord("file_version")->number);
  data["file_size"] = file.bytes.size();
  data["style_name"] = TextToJson(style.FindText("style_name")->text);
  // A 206 build style stores neither machine nor user level, no build style its units.
  if (StatesMachine(file)) {
    const int32_t machine = style.FindWord("machine_type")->number.AsInt();
    data["machine_type"] = machine;
    data["machine"] = MachineName(machine);
    data["user_level"] = style.FindWord("user_level")->number;
  }
  if (file.kind == StyleKind::kRecoat) {
    data["build_description"] = TextToJson(style.FindText("build_description")->text);
    if (!legacy) data["length_units"] = TextToJson(style.FindText("units")->text);
    for (size_t list = 0; list < kSweepLists; ++list) {
      data["sweep_counts"][SweepListName(list)] = style.sweeps[list].size();
    }
  }
  if (file.has_crc) {
    data["crc"] = fmt::format("{:08x}", file.stored_crc);
    data["crc_valid"] = file.crc_valid();
  }
}

std::string TextExport(const StyleDocument& document, bool comma_separated) {
  return WithNewStyle(document.kind, [&](auto& style) {
    StoreDocument(document, style);
    return trq::core::StyleTextExport(style, comma_separated);
  });
}

void ConvertStyleUnits(StyleDocument& document, Units to) {
  const auto for_records = [&document](auto use) {
    for (StyleParameter& parameter : document.parameters) use(parameter.record);
    for (std::vector<SweepValues>& sweeps : document.sweeps) {
      for (SweepValues& sweep : sweeps) {
        use(sweep.gap);
        use(sweep.velocity);
      }
    }
  };
  std::vector<bool> ranged;
  for_records([&](const RecordValues& record) { ranged.push_back(record.HasRange()); });
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
  auto has_range = ranged.begin();
  for_records([&](RecordValues& record) {
    if (!*has_range++) record.RemoveRange();
  });
}

// --- What survives -----------------------------------------------------------------------------------------

namespace {

using FilePiece = trq::core::StyleFilePiece;
using ItemKind = trq::core::StyleLayoutItem::Kind;
using RecordBytes = trq::core::StyleRecordBytes;

class RewriteComparison {
 public:
  RewriteComparison(const StyleFile& file, RewriteChanges& changes)
      : style_(file.style), before_(file.bytes.substr(0, file.end)), changes_(changes) {
    after_ = StyleBytes(style_);
    after_.resize(after_.size() - kCrcBytes);
  }

  void Run() {
    const std::vector<FilePiece> before = Cut(before_);
    const std::vector<FilePiece> after = Cut(after_);
    for (size_t i = 0; i < before.size(); ++i) ComparePiece(before[i], after[i]);
  }

 private:
  std::vector<FilePiece> Cut(const std::string& bytes) const {
    const auto layout = style_.kind == StyleKind::kBuild ? trq::core::LayoutOf<KVBUILDSTYLE>(style_.layout)
                                                         : trq::core::LayoutOf<KVRECOATSTYLE>(style_.layout);
    return trq::core::CutStyleFile(layout, BytesOf(bytes)).value();  // complete files only
  }

  void Lost(const FilePiece& piece, size_t at, const std::string& text) {
    changes_.lost.push_back({piece.name, piece.offset + at, text});
  }
  void Note(const FilePiece& piece, size_t at, const std::string& text) {
    changes_.notes.push_back({piece.name, piece.offset + at, text});
  }

  void ComparePiece(const FilePiece& a, const FilePiece& b) {
    if (before_.compare(a.offset, a.size, after_, b.offset, b.size) == 0) return;
    switch (a.kind) {
      case ItemKind::kWord:
        Lost(a, 0,
             fmt::format("{:08x} becomes {:08x}", At<uint32_t>(before_, a.offset),
                         At<uint32_t>(after_, b.offset)));
        break;
      case ItemKind::kText:
      case ItemKind::kBytes:
        CompareText(a, b);
        break;
      case ItemKind::kFlags:
        Note(a, 0, "only the value's flag bits are kept");
        break;
      case ItemKind::kVersion:
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
      size_t at;
    } numbers[] = {{"value", RecordBytes::kValue},
                   {"default", RecordBytes::kDefault},
                   {"minimum", RecordBytes::kMinimum},
                   {"maximum", RecordBytes::kMaximum}};
    const auto number_at = [is_float](const std::string& bytes, size_t offset) -> Number {
      if (is_float) return At<float>(bytes, offset);
      return At<int32_t>(bytes, offset);
    };
    for (const auto& number : numbers) {
      const Number before = number_at(before_, a.offset + number.at);
      const Number after = number_at(after_, b.offset + number.at);
      if (before != after) {
        Lost(a, number.at, fmt::format("{} {} becomes {}", number.name, before.Text(), after.Text()));
      }
    }
    if (before_.compare(a.offset + RecordBytes::kFlags, 3, after_, b.offset + RecordBytes::kFlags, 3) != 0) {
      Lost(a, RecordBytes::kFlags, "the display, edit and range flags come out different");
    }
    const int32_t before = At<int32_t>(before_, a.offset + RecordBytes::kCount);
    const int32_t after = At<int32_t>(after_, b.offset + RecordBytes::kCount);
    if (before < 0 && after == 0) {
      Note(a, RecordBytes::kCount, fmt::format("number of allowed values {} becomes 0", before));
    } else if (before_.compare(a.offset + RecordBytes::kCount, a.size - RecordBytes::kCount, after_,
                               b.offset + RecordBytes::kCount, b.size - RecordBytes::kCount) != 0) {
      Lost(a, RecordBytes::kCount, "the allowed values come out different");
    }
  }

  const StyleDocument& style_;
  std::string before_, after_;
  RewriteChanges& changes_;
};

}  // namespace

Message ChangeMessage(Code code, const std::string& path, const RewriteChanges::Entry& entry) {
  return Message(code, path, fmt::format("{}: {}", entry.name, entry.text));
}

RewriteChanges ChangesByRewriting(const StyleFile& file) {
  RewriteChanges changes;
  if (file.layout == StyleLayout::kLegacy) {
    CompareLegacy(file, changes);
  } else {
    RewriteComparison(file, changes).Run();
  }
  return changes;
}

std::vector<StyleDifference> CompareFiles(Observer& observer, const StyleFile& a, const StyleFile& b) {
  const bool same_layout = a.layout == b.layout;
  if (!same_layout) {
    observer.Note(Message(Code::kStyleLayouts, b.path,
                          fmt::format("has the {} layout, the first the {}; both are compared as read",
                                      StyleLayoutName(b.layout), StyleLayoutName(a.layout))));
  }
  std::vector<StyleDifference> differences =
      same_layout ? Compare(a.style, b.style) : Compare(AsRead(a), AsRead(b));
  if (!same_layout) {
    // "Version" follows the layout.
    differences.erase(std::remove_if(differences.begin(), differences.end(),
                                     [](const StyleDifference& d) { return d.name == "Version"; }),
                      differences.end());
  }
  return differences;
}

std::vector<Message> VerifyStyle(const StyleFile& file, const RewriteChanges& changes) {
  std::vector<Message> found;
  const std::string& path = file.path;
  if (!file.complete) {
    found.push_back(StyleIsShort(file).At({{"byte", file.bytes.size()}}));
  } else if (!file.ends_right) {
    const size_t expected = file.end + 4;
    found.push_back(Message(Code::kStyleLength, path,
                            fmt::format("has {} bytes; its {} layout with checksum takes {}",
                                        file.bytes.size(), StyleLayoutName(file.layout), expected))
                        .At({{"byte", file.end}}));
  }
  if (!file.crc_valid()) found.push_back(StyleIsDamaged(file));
  for (const RewriteChanges::Entry& entry : changes.lost) {
    found.push_back(ChangeMessage(Code::kStyleLost, path, entry)
                        .Hint("written again, the file would hold something else here")
                        .At({{"byte", entry.offset}, {"parameter", entry.name}}));
  }
  for (Message& message : found) message.As(Severity::kError);
  for (const RewriteChanges::Entry& entry : changes.notes) {
    found.push_back(ChangeMessage(Code::kStyleSlack, path, entry)
                        .At({{"byte", entry.offset}, {"parameter", entry.name}})
                        .As(Severity::kNote));
  }
  return found;
}

}  // namespace trqprep
