#include "prep/styles/layout_marks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>

#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

constexpr std::size_t kCrcBytes = 4;

std::int32_t WordAt(const std::string& bytes, std::size_t offset) {
  std::int32_t word;
  std::memcpy(&word, bytes.data() + offset, sizeof word);
  return word;
}

// Marks are 32-bit patterns that no other bytes of the marked style form; as floats they are numbers.
constexpr std::uint32_t kRecordMarks = 0x4B5A0000u;
constexpr std::uint32_t kWordMarks = 0x4B6B0000u;

Number MarkOf(std::uint32_t mark, bool is_float) {
  const auto bits = static_cast<std::int32_t>(mark);
  if (!is_float) return Number(bits);
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return Number(value);
}

struct Marks {
  std::map<std::uint32_t, std::size_t> records, words, sweeps;
  std::map<std::string, std::size_t> texts;
};

// Fills a new style with marks: the default of every record (values are rewritten here and there), every
// word, every text, one sweep a list.
StyleDocument MarkedStyle(StyleKind kind, StyleLayout layout, Marks& marks) {
  StyleDocument style = NewStyle(kind);
  style.layout = layout;
  for (std::size_t i = 0; i < style.parameters.size(); ++i) {
    RecordValues& record = style.parameters[i].record;
    const std::uint32_t mark = kRecordMarks + static_cast<std::uint32_t>(i);
    record.default_value = MarkOf(mark, record.value.is_float());
    marks.records[mark] = i;
  }
  for (std::size_t i = 0; i < style.words.size(); ++i) {
    Number& number = style.words[i].number;
    // The file version chooses the layout and stays.
    if (style.words[i].key != "file_version") {
      number = MarkOf(kWordMarks + static_cast<std::uint32_t>(i), number.is_float());
    }
    marks.words[number.bits()] = i;
  }
  for (std::size_t i = 0; i < style.texts.size(); ++i) {
    style.texts[i].text = fmt::format("<{:03}>", i);
    marks.texts[style.texts[i].text] = i;
  }
  if (kind == StyleKind::kRecoat) {
    for (std::size_t list = 0; list < kSweepLists; ++list) {
      SweepValues sweep = NewSweep();
      const std::uint32_t mark = kRecordMarks + 0x8000u + static_cast<std::uint32_t>(list);
      sweep.gap.default_value = MarkOf(mark, true);
      marks.sweeps[mark] = list;
      style.sweeps[list].push_back(sweep);
      RecordValues& count = style.Find(SweepCountName(static_cast<int>(list)))->record;
      count.minimum = Number(0);
      count.maximum = Number(1);
    }
  }
  return style;
}

class LayoutReader {
 public:
  LayoutReader(StyleKind kind, StyleLayout layout) : kind_(kind) {
    bytes_ = StyleBytes(MarkedStyle(kind, layout, marks_));
    bytes_.resize(bytes_.size() - kCrcBytes);
  }

  std::vector<LayoutPiece> Read() {
    while (position_ < bytes_.size()) {
      if (const auto text = TextAt(position_)) {
        std::size_t end = position_ + 5;
        while (end < bytes_.size() && !Starts(end)) ++end;
        Add(LayoutPiece::Kind::kText, *text, end - position_);
      } else if (const auto word = WordMarkAt(position_)) {
        Add(LayoutPiece::Kind::kWord, *word, 4);
      } else if (const auto record = Lookup(marks_.records, position_ + RecordBytes::kDefault)) {
        Add(LayoutPiece::Kind::kRecord, *record, RecordBytes::kSize);
      } else if (const auto list = Lookup(marks_.sweeps, position_ + RecordBytes::kDefault)) {
        Add(LayoutPiece::Kind::kSweeps, *list, 2 * RecordBytes::kSize);
      } else {
        AddSpecial();
      }
    }
    return pieces_;
  }

 private:
  template <class Map>
  std::optional<std::size_t> Lookup(const Map& map, std::size_t offset) const {
    if (offset + 4 > bytes_.size()) return std::nullopt;
    const auto found = map.find(static_cast<std::uint32_t>(WordAt(bytes_, offset)));
    if (found == map.end()) return std::nullopt;
    return found->second;
  }

  std::optional<std::size_t> WordMarkAt(std::size_t offset) const {
    const auto word = Lookup(marks_.words, offset);
    // The version at the start is no mark: only there does it count.
    if (word && *word == 0 && offset != 0) return std::nullopt;
    return word;
  }

  std::optional<std::size_t> TextAt(std::size_t offset) const {
    const auto found = marks_.texts.find(bytes_.substr(offset, 5));
    if (found == marks_.texts.end()) return std::nullopt;
    return found->second;
  }

  bool Starts(std::size_t offset) const {
    return TextAt(offset) || WordMarkAt(offset) || Lookup(marks_.records, offset + RecordBytes::kDefault) ||
           Lookup(marks_.sweeps, offset + RecordBytes::kDefault);
  }

  void Add(LayoutPiece::Kind kind, std::size_t index, std::size_t width) {
    pieces_.push_back({kind, index, width});
    position_ += width;
  }

  // A 206 file's "Version" record, near its start, and its flags: records with a default of their own.
  void AddSpecial() {
    if (bytes_.size() - position_ < RecordBytes::kSize) {
      throw std::logic_error("a style layout has an item of no known shape");
    }
    const bool is_version = position_ <= 4;
    const StyleDocument style = NewStyle(kind_);
    const auto version = static_cast<std::size_t>(style.Find("Version") - style.parameters.data());
    Add(is_version ? LayoutPiece::Kind::kVersion : LayoutPiece::Kind::kFlags, is_version ? version : 0,
        RecordBytes::kSize);
  }

  StyleKind kind_;
  Marks marks_;
  std::string bytes_;
  std::size_t position_ = 0;
  std::vector<LayoutPiece> pieces_;
};

}  // namespace

const std::vector<LayoutPiece>& LayoutOf(StyleKind kind, StyleLayout layout) {
  static std::map<std::pair<StyleKind, StyleLayout>, std::vector<LayoutPiece>> layouts;
  std::vector<LayoutPiece>& pieces = layouts[{kind, layout}];
  if (pieces.empty()) pieces = LayoutReader(kind, layout).Read();
  return pieces;
}

std::vector<FilePiece> CutFile(const StyleDocument& style, const std::string& bytes) {
  std::vector<FilePiece> pieces;
  std::size_t offset = 0;
  const auto add = [&](LayoutPiece::Kind kind, std::string name, std::size_t size) {
    if (size > bytes.size() - offset) throw std::logic_error("a complete style file is cut short");
    pieces.push_back({kind, std::move(name), offset, size});
    offset += size;
  };
  const auto record_size = [&] {
    if (bytes.size() - offset < RecordBytes::kSize) return RecordBytes::kSize;
    const std::int32_t count = WordAt(bytes, offset + RecordBytes::kCount);
    return RecordBytes::kSize + 4 * static_cast<std::size_t>(std::max(count, 0));
  };
  std::int32_t sweep_counts[kSweepLists] = {};
  for (const LayoutPiece& piece : LayoutOf(style.kind, style.layout)) {
    switch (piece.kind) {
      case LayoutPiece::Kind::kWord:
        add(piece.kind, style.words[piece.index].key, 4);
        break;
      case LayoutPiece::Kind::kText:
        add(piece.kind, style.texts[piece.index].key, piece.width);
        break;
      case LayoutPiece::Kind::kFlags:
        add(piece.kind, "flags word", record_size());
        break;
      case LayoutPiece::Kind::kVersion:
      case LayoutPiece::Kind::kRecord: {
        const std::string& name = style.parameters[piece.index].name;
        add(piece.kind, name, record_size());
        for (int list = 0; list < kSweepLists; ++list) {
          if (name == SweepCountName(list)) {
            sweep_counts[list] = WordAt(bytes, pieces.back().offset + RecordBytes::kMaximum);
          }
        }
        break;
      }
      case LayoutPiece::Kind::kSweeps: {
        const int list = static_cast<int>(piece.index);
        for (std::int32_t i = 0; i < sweep_counts[list]; ++i) {
          const std::string name = fmt::format("{}[{}] ", SweepListName(list), i + 1);
          add(LayoutPiece::Kind::kRecord, name + "gap", record_size());
          add(LayoutPiece::Kind::kRecord, name + "velocity", record_size());
        }
        break;
      }
    }
  }
  return pieces;
}

}  // namespace trqprep
