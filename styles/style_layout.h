/// Making the layouts of style files, and the one traversal that writes and reads them.
#pragma once

#include <string_view>
#include <type_traits>

#include "styles/style_bytes.h"
#include "styles/style_table.h"
#include "trq/core/style_layout.h"

namespace trq::detail {

using core::StyleLayoutItem;
using ItemKind = StyleLayoutItem::Kind;

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

/// Rows of the words and texts of a style.
template <auto kMember, int kIndex = -1>
constexpr core::StyleWord<StyleOf<kMember>> WordRow(const char* key) {
  using Style = StyleOf<kMember>;
  using Type = std::decay_t<decltype(Reach<kMember, kIndex>(std::declval<Style&>()))>;
  static_assert(sizeof(Type) == 4);
  return {key, std::is_same_v<Type, float>,
          [](Style& style) -> void* { return &Reach<kMember, kIndex>(style); }};
}
template <auto kMember, int kIndex = -1>
constexpr core::StyleText<StyleOf<kMember>> TextRow(const char* key) {
  using Style = StyleOf<kMember>;
  return {key, [](Style& style) -> CString& { return Reach<kMember, kIndex>(style); }};
}

/// A row of words or texts by its key; a key that is not there is a compile-time error.
template <class Rows>
constexpr std::size_t KeyIndex(const Rows& rows, std::string_view key) {
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    if (rows[i].key == key) return i;
  }
  throw std::logic_error("no such key");
}

/// A layout while it is made: items in file order.
template <std::size_t kMost>
struct LayoutItems {
  StyleLayoutItem items[kMost] = {};
  std::size_t count = 0;
  std::size_t bytes = 0;

  constexpr void Add(ItemKind kind, const char* name, std::size_t index, std::size_t size) {
    items[count++] = {kind, name, index, size, bytes};
    if (kind != ItemKind::kSweeps) bytes += size;
  }
  template <class Rows>
  constexpr void Words(const Rows& rows, std::string_view first, std::string_view last) {
    for (std::size_t i = KeyIndex(rows, first); i <= KeyIndex(rows, last); ++i) {
      Add(ItemKind::kWord, rows[i].key, i, 4);
    }
  }
  template <class Rows>
  constexpr void Text(const Rows& rows, std::string_view key, std::size_t width,
                      ItemKind kind = ItemKind::kText) {
    const std::size_t i = KeyIndex(rows, key);
    Add(kind, rows[i].key, i, width);
  }
  template <class Rows>
  constexpr void Records(const Rows& rows, RowRange range, ItemKind kind = ItemKind::kRecord) {
    for (int row = range.first; row <= range.last; ++row) {
      Add(kind, rows[row].name, static_cast<std::size_t>(row), core::StyleRecordBytes::kSize);
    }
  }
  constexpr Span<const StyleLayoutItem> All() const { return {items, count}; }
};

/// Writes or reads an item of a kind that not every style has.
template <class Style>
bool WriteSpecial(StyleWriter& writer, Style& style, const StyleLayoutItem& item);
template <class Style>
bool ReadSpecial(StyleReader& reader, Style& style, const StyleLayoutItem& item);

/// The "Version" record of a 206 file: value and default are written as 2.06, in memory they stay; it is read
/// by its own value, which then says how all later records are read.
template <class Style>
bool WriteVersion206(StyleWriter& writer, const Style& style) {
  auto copy = style.Version;
  copy.SetValue(2.06f);
  copy.SetDefaultValue(2.06f);
  return writer.Record(copy);
}
template <class Style>
bool ReadVersion206(StyleReader& reader, Style& style) {
  reader.version = 0.0f;
  if (!reader.Record(style.Version)) return false;
  reader.version = style.Version.GetValue();
  return true;
}

/// Writes or reads one item; `rows` is the style's parameter table, or nullptr for a style without records.
template <class Io, class Style, class Rows>
bool TransferItem(Io& io, Style& style, const Rows& rows, const StyleLayoutItem& item) {
  switch (item.kind) {
    case ItemKind::kWord:
      return io.Word(core::StyleWords<Style>()[item.index].in(style));
    case ItemKind::kText:
      return io.Text(core::StyleTexts<Style>()[item.index].in(style), item.size);
    case ItemKind::kBytes:
      return io.RawText(core::StyleTexts<Style>()[item.index].in(style), item.size);
    case ItemKind::kRecord:
      if constexpr (!std::is_null_pointer_v<Rows>) {
        return WithRecord(rows[item.index], style, [&io](auto& record) { return io.Record(record); });
      }
      return false;
    default:
      if constexpr (std::is_same_v<Io, StyleWriter>) {
        return WriteSpecial(io, style, item);
      } else {
        return ReadSpecial(io, style, item);
      }
  }
}

/// Writes or reads items up to the first failure; returns how many.
template <class Io, class Style, class Rows>
std::size_t Transfer(Io& io, Style& style, const Rows& rows, Span<const StyleLayoutItem> items) {
  std::size_t done = 0;
  while (done < items.size() && TransferItem(io, style, rows, items[done])) ++done;
  return done;
}

}  // namespace trq::detail
