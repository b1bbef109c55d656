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
    static_assert(kIndex < int(std::extent_v<std::remove_reference_t<decltype(style.*kMember)>>));
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

/// The words, texts and records that a style has: `kWords`, `kTexts` and, unless it has no records, `kRows`.
template <class Style>
struct StyleLists;

/// A layout while it is made: items in file order. What stands alone is named by `first`.
template <class Style, class Lists = StyleLists<Style>>
struct LayoutItems {
  StyleLayoutItem items[300] = {};
  size_t count = 0;
  size_t bytes = 0;

  constexpr void Add(ItemKind kind, const char* name, size_t index, size_t size) {
    items[count++] = {kind, name, index, size, bytes};
    if (kind != ItemKind::kSweeps) bytes += size;
  }
  constexpr void Words(std::string_view first, std::string_view last = {}) {
    const auto at = [](std::string_view key) {
      return IndexOf(Lists::kWords, &core::StyleWord<Style>::key, key);
    };
    for (size_t i = at(first); i <= at(last.empty() ? first : last); ++i) {
      Add(ItemKind::kWord, Lists::kWords[i].key, i, 4);
    }
  }
  constexpr void Text(std::string_view key, size_t width = 512, ItemKind kind = ItemKind::kText) {
    const size_t i = IndexOf(Lists::kTexts, &core::StyleText<Style>::key, key);
    Add(kind, Lists::kTexts[i].key, i, width);
  }
  constexpr void Records(std::string_view first, std::string_view last = {},
                         ItemKind kind = ItemKind::kRecord) {
    for (const auto& row : FindRows(Lists::kRows, first, last)) {
      Add(kind, row.name, size_t(&row - Lists::kRows), core::StyleRecordBytes::kSize);
    }
  }
  constexpr Span<const StyleLayoutItem> All() const { return {items, count}; }
};

/// Writes or reads an item of a kind that not every style has.
template <class Style>
bool WriteSpecial(StyleSink& sink, Style& style, const StyleLayoutItem& item);
template <class Style>
bool ReadSpecial(StyleSource& source, Style& style, const StyleLayoutItem& item);

/// The "Version" record of a 206 file: value and default are written as 2.06, in memory they stay; it is read
/// by its own value, which then says how all later records are read.
template <class Style>
bool WriteVersion206(StyleSink& sink, const Style& style) {
  auto copy = style.Version;
  copy.SetValue(2.06f);
  copy.SetDefaultValue(2.06f);
  return sink.Record(copy);
}
template <class Style>
bool ReadVersion206(StyleSource& source, Style& style) {
  source.version = 0.0f;
  if (!source.Record(style.Version)) return false;
  source.version = style.Version.GetValue();
  return true;
}

/// Writes or reads one item.
template <class Io, class Style>
bool TransferItem(Io& io, Style& style, const StyleLayoutItem& item) {
  using Lists = StyleLists<Style>;
  switch (item.kind) {
    case ItemKind::kWord:
      return io.Word(Lists::kWords[item.index].in(style));
    case ItemKind::kText:
      return io.Text(Lists::kTexts[item.index].in(style), item.size);
    case ItemKind::kBytes:
      return io.RawText(Lists::kTexts[item.index].in(style), item.size);
    case ItemKind::kRecord:
      if constexpr (!std::is_same_v<Style, RECOATSTYLE>) {  // which has no records
        return Lists::kRows[item.index].member.With(style, [&io](auto& record) { return io.Record(record); });
      }
      return false;
    default:
      if constexpr (std::is_same_v<Io, StyleSink>) {
        return WriteSpecial(io, style, item);
      } else {
        return ReadSpecial(io, style, item);
      }
  }
}

/// Writes or reads items up to the first failure; returns how many.
template <class Io, class Style>
size_t Transfer(Io& io, Style& style, Span<const StyleLayoutItem> items) {
  size_t done = 0;
  while (done < items.size() && TransferItem(io, style, items[done])) ++done;
  return done;
}

}  // namespace trq::detail
