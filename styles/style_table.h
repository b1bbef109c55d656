/// Finding rows in a style's parameter table at compile time, and what is done to all records of a table.
#pragma once

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string_view>

#include "trq/core/span.h"
#include "trq/styles.h"

namespace trq::detail {

/// Where the row stands whose name (or key) is `wanted`; a name that no row has is a compile-time error.
template <class Row, size_t kRows>
constexpr size_t IndexOf(const Row (&rows)[kRows], const char* Row::*name, std::string_view wanted) {
  for (size_t i = 0; i < kRows; ++i) {
    if (rows[i].*name == wanted) return i;
  }
  throw std::logic_error("no such row");
}

/// The rows from `first` to `last`, both included; without `last` only the first.
template <class Row, size_t kRows>
constexpr Span<const Row> FindRows(const Row (&rows)[kRows], std::string_view first,
                                   std::string_view last = {}) {
  const size_t from = IndexOf(rows, &Row::name, first);
  const size_t to = last.empty() ? from : IndexOf(rows, &Row::name, last);
  if (from > to) throw std::logic_error("the rows stand the other way round");
  return {rows + from, to - from + 1};
}

/// How many rows satisfy `condition`.
template <class Row, size_t kRows, class Condition>
constexpr int CountRows(const Row (&rows)[kRows], Condition condition) {
  int count = 0;
  for (const Row& row : rows) count += condition(row) ? 1 : 0;
  return count;
}

/// Gives a record the value and the default, or the range, that its row says a new style holds.
template <class T>
void SetNewValues(StyleParameterRecord<T>& record, const StyleParameterDefaults& defaults) {
  record.SetValue(static_cast<T>(defaults.value));
  record.SetDefaultValue(static_cast<T>(defaults.default_value));
}
template <class T>
void SetNewRange(StyleParameterRecord<T>& record, const StyleParameterDefaults& defaults) {
  record.SetMinRange(static_cast<T>(defaults.minimum));
  record.SetMaxRange(static_cast<T>(defaults.maximum));
}

template <class Row, size_t kRows, class Style>
void SetAllDefaults(const Row (&rows)[kRows], Style& style) {
  for (const Row& row : rows) {
    row.member.With(style, [&row](auto& record) {
      SetNewValues(record, row.defaults);
      SetNewRange(record, row.defaults);
    });
  }
}

/// Changes every record whose quantity is `chosen`; integer records never are.
template <class Row, size_t kRows, class Style>
void ForFloatRecords(const Row (&rows)[kRows], Style& style, bool (*chosen)(StyleQuantity),
                     void (StyleParameterRecordFloat::*change)()) {
  for (const Row& row : rows) {
    if (chosen(row.quantity)) (row.member.FloatIn(style)->*change)();
  }
}

/// Calls `set(record, number)` for the records of rows, with the 4-byte numbers that stand at `next`; returns
/// where they end.
template <class Row, class Style, class Set>
const char* ForNumbers(Span<const Row> rows, Style& style, const char* next, Set set) {
  for (const Row& row : rows) {
    row.member.With(style, [&](auto& record) {
      decltype(record.GetValue()) number;
      std::memcpy(&number, next, sizeof number);
      next += sizeof number;
      set(record, number);
    });
  }
  return next;
}

/// What a line of a table says of a parameter beyond its record.
struct ParameterKind {
  StyleQuantity quantity;
  StyleParameterDefaults defaults = {};
  bool named = true;
};

/// Value and default, with a range.
constexpr StyleParameterDefaults Ranged(float value, float minimum, float maximum) {
  return {value, value, minimum, maximum};
}

/// What tables call kinds and regions.
namespace style_rows {
using Q = StyleQuantity;
using R = StyleRegion;
inline constexpr ParameterKind kNumber = {Q::kNumber};
inline constexpr ParameterKind kFlag = {Q::kFlag};
inline constexpr ParameterKind kSetFlag = {Q::kFlag, {1, 1}};
inline constexpr ParameterKind kVersion = {Q::kVersion, {3.01f}};  // in the value only
inline constexpr ParameterKind kLength = {Q::kLength};
inline constexpr ParameterKind kLengthKept = {Q::kLengthKept};
inline constexpr ParameterKind kAngle = {Q::kAngle};
inline constexpr ParameterKind kPower = {Q::kPower, Ranged(600, 50, 1200)};
inline constexpr ParameterKind kResin = {Q::kResin};
inline constexpr ParameterKind kUnnamed = {Q::kNumber, {}, false};
}  // namespace style_rows

/// A line of a table.
template <class Member>
struct TableLine {
  const char* name;
  Member member;
  ParameterKind kind = member.is_float() ? style_rows::kLength : style_rows::kNumber;
  StyleRegion region = StyleRegion::kUnnamed;  ///< unnamed: that of the line before
};

/// The names of the records of a run: "KeptInts[0]", "KeptInts[1]", ...
template <size_t kCount>
struct RunNames {
  char text[kCount][32] = {};

  constexpr explicit RunNames(std::string_view run) {
    for (size_t i = 0; i < kCount; ++i) {
      char* next = text[i];
      for (const char c : run) *next++ = c;
      *next++ = '[';
      if (i >= 10) *next++ = static_cast<char>('0' + i / 10);
      *next++ = static_cast<char>('0' + i % 10);
      *next = ']';
    }
  }
};

/// A parameter table while it is made: rows in member order.
template <class Member, size_t kCount>
struct StyleTable {
  StyleParameterRow<Member> rows[kCount] = {};
  size_t count = 0;

  constexpr void Add(std::initializer_list<TableLine<Member>> lines) {
    for (const TableLine<Member>& line : lines) {
      if (line.region != StyleRegion::kUnnamed) region_ = line.region;
      const auto& [quantity, defaults, named] = line.kind;
      rows[count++] = {line.name, line.member, quantity, named ? region_ : StyleRegion::kUnnamed,
                       defaults,  named};
    }
  }
  /// All records of a member that is a run of unnamed ones.
  template <size_t kLength, class Run>
  constexpr void AddRun(const RunNames<kLength>& names, Run run) {
    for (size_t i = 0; i < kLength; ++i) {
      Add({{names.text[i], {run, int(i)}, style_rows::kUnnamed}});
    }
  }

 private:
  StyleRegion region_ = StyleRegion::kGeneral;
};

}  // namespace trq::detail
