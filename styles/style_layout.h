/// File layouts of styles as data: lists of items over a style's parameter table, with one traversal that
/// writes and reads them. What no range, text or word can say is a named special slot.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <type_traits>

#include "styles/style_table.h"
#include "trq/styles.h"

namespace trq::detail {

/// Writes the pieces of a layout. Each returns false when it could not.
class StyleWriter {
 public:
  static constexpr int kFailed = trq::style_file::kWriteFailed;
  explicit StyleWriter(FILE* stream) : stream_(stream) {}

  FILE* stream() const { return stream_; }
  template <class T>
  bool Record(const trq::StyleParameterRecord<T>& record) {
    return record.WriteRecord(stream_) == trq::style_file::kOk;
  }
  /// The text up to its NUL, cut so that a NUL fits, and zeros.
  bool Text(const CString& text, int width);
  /// `width` bytes as they are, zeros where the text is shorter.
  bool RawText(const CString& text, int width);
  bool Word(const void* word) { return std::fwrite(word, 4, 1, stream_) == 1; }

 private:
  bool Padded(const char* bytes, std::size_t length, int width);
  FILE* stream_;
};

/// Reads them back. A piece whose bytes did not all come keeps what it held (records: see ReadRecord).
class StyleReader {
 public:
  static constexpr int kFailed = trq::style_file::kReadFailed;
  /// Records are read in the form of that file version.
  StyleReader(FILE* stream, float file_version) : version(file_version), stream_(stream) {}

  FILE* stream() const { return stream_; }
  template <class T>
  bool Record(trq::StyleParameterRecord<T>& record, T* stored_maximum = nullptr) {
    return record.ReadRecord(stream_, version, stored_maximum) == trq::style_file::kOk;
  }
  /// The bytes up to the first NUL, or all of them.
  bool Text(CString& text, int width);
  bool RawText(CString& text, int width);
  bool Word(void* word);

  float version;

 private:
  bool Bytes(char* bytes, int width) {
    return std::fread(bytes, 1, static_cast<std::size_t>(width), stream_) == static_cast<std::size_t>(width);
  }
  FILE* stream_;
};

/// A place in a layout with steps of its own. `row` is the table row whose record stands in the file there,
/// or -1 for none.
template <class Style>
struct StyleSlot {
  int row;
  bool (*write)(StyleWriter&, Style&);
  bool (*read)(StyleReader&, Style&);
};

template <class Style>
struct LayoutItem {
  enum class Kind { kRecords, kText, kRawText, kWord, kSlot };
  Kind kind = Kind::kRecords;
  RowRange rows = {0, -1};
  CString& (*text)(Style&) = nullptr;
  int width = 0;  ///< bytes of a text
  void* (*word)(Style&) = nullptr;
  const StyleSlot<Style>* slot = nullptr;
};

template <class Style, class Member>
Style StyleOfMember(Member Style::*);
template <auto kMember>
using StyleOf = decltype(StyleOfMember(kMember));

/// A member of a style, or element `kIndex` of an array member.
template <auto kMember, int kIndex>
constexpr auto& Reach(StyleOf<kMember>& style) {
  if constexpr (kIndex < 0) {
    return style.*kMember;
  } else {
    static_assert(kIndex <
                  static_cast<int>(std::extent_v<std::remove_reference_t<decltype(style.*kMember)>>));
    return (style.*kMember)[kIndex];
  }
}

/// A text field of `width` bytes (at most 512).
template <auto kMember, int kIndex = -1>
constexpr LayoutItem<StyleOf<kMember>> TextItem(int width) {
  using Style = StyleOf<kMember>;
  if (width > 512) throw std::logic_error("text fields have at most 512 bytes");
  LayoutItem<Style> item;
  item.kind = LayoutItem<Style>::Kind::kText;
  item.text = [](Style& style) -> CString& { return Reach<kMember, kIndex>(style); };
  item.width = width;
  return item;
}

/// A text field whose bytes are carried as they are.
template <auto kMember, int kIndex = -1>
constexpr LayoutItem<StyleOf<kMember>> RawTextItem(int width) {
  auto item = TextItem<kMember, kIndex>(width);
  item.kind = LayoutItem<StyleOf<kMember>>::Kind::kRawText;
  return item;
}

/// A 4-byte number outside the records.
template <auto kMember, int kIndex = -1>
constexpr LayoutItem<StyleOf<kMember>> WordItem() {
  using Style = StyleOf<kMember>;
  static_assert(sizeof(Reach<kMember, kIndex>(std::declval<Style&>())) == 4);
  LayoutItem<Style> item;
  item.kind = LayoutItem<Style>::Kind::kWord;
  item.word = [](Style& style) -> void* { return &Reach<kMember, kIndex>(style); };
  return item;
}

template <class Style>
constexpr LayoutItem<Style> SlotItem(const StyleSlot<Style>& slot) {
  LayoutItem<Style> item;
  item.kind = LayoutItem<Style>::Kind::kSlot;
  item.slot = &slot;
  return item;
}

template <class Style>
constexpr LayoutItem<Style> RecordsItem(RowRange rows) {
  LayoutItem<Style> item;
  item.rows = rows;
  return item;
}

/// Lists one after the other.
template <class Item, std::size_t... kCounts>
constexpr std::array<Item, (kCounts + ...)> Join(const std::array<Item, kCounts>&... lists) {
  std::array<Item, (kCounts + ...)> joined{};
  std::size_t next = 0;
  const auto append = [&](const auto& list) {
    for (const Item& item : list) joined[next++] = item;
  };
  (append(lists), ...);
  return joined;
}

/// Items of a layout, a range of records counting as so many.
template <class Items>
constexpr int CountItems(const Items& items) {
  int count = 0;
  for (const auto& item : items) {
    using Kind = typename std::decay_t<decltype(item)>::Kind;
    count += item.kind == Kind::kRecords ? item.rows.last - item.rows.first + 1 : 1;
  }
  return count;
}

/// Text fields of a layout.
template <class Items>
constexpr int CountTexts(const Items& items) {
  int count = 0;
  for (const auto& item : items) count += item.width > 0 ? 1 : 0;
  return count;
}

/// Bytes of the words and texts of a layout.
template <class Items>
constexpr int BytesOfWordsAndTexts(const Items& items) {
  int bytes = 0;
  for (const auto& item : items) {
    using Kind = typename std::decay_t<decltype(item)>::Kind;
    bytes += item.kind == Kind::kWord ? 4 : item.width;
  }
  return bytes;
}

/// How often the record of table row `row` stands in a layout.
template <class Items>
constexpr int TimesInLayout(const Items& items, int row) {
  int times = 0;
  for (const auto& item : items) {
    using Kind = typename std::decay_t<decltype(item)>::Kind;
    if (item.kind == Kind::kRecords) times += item.rows.first <= row && row <= item.rows.last ? 1 : 0;
    if (item.kind == Kind::kSlot) times += item.slot->row == row ? 1 : 0;
  }
  return times;
}

/// Writes or reads one item.
template <class Io, class Style, class Row>
bool TransferItem(Io& io, Style& style, const Row* rows, const LayoutItem<Style>& item) {
  using Kind = typename LayoutItem<Style>::Kind;
  switch (item.kind) {
    case Kind::kRecords:
      for (int row = item.rows.first; row <= item.rows.last; ++row) {
        if (!WithRecord(rows[row], style, [&io](auto& record) { return io.Record(record); })) return false;
      }
      return true;
    case Kind::kText:
      return io.Text(item.text(style), item.width);
    case Kind::kRawText:
      return io.RawText(item.text(style), item.width);
    case Kind::kWord:
      return io.Word(item.word(style));
    case Kind::kSlot:
      if constexpr (std::is_same_v<Io, StyleWriter>) {
        return item.slot->write(io, style);
      } else {
        return item.slot->read(io, style);
      }
  }
  return false;
}

/// Writes or reads a whole layout up to the first failure. Returns kOk or the failure of that direction,
/// which is also the answer for a null stream.
template <class Io, class Style, class Row, class Items>
int Transfer(Io& io, Style& style, const Row* rows, const Items& items) {
  if (!io.stream()) return Io::kFailed;
  for (const LayoutItem<Style>& item : items) {
    if (!TransferItem(io, style, rows, item)) return Io::kFailed;
  }
  return trq::style_file::kOk;
}

}  // namespace trq::detail
