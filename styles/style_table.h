/// Finding rows in a style's parameter table at compile time, and what is done to all records of a table.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "trq/styles.h"

namespace trq::detail {

/// Rows first..last of a table, both included.
struct RowRange {
  int first;
  int last;
};

/// The row of that name; a name that the table does not have is a compile-time error.
template <class Row, std::size_t kRows>
constexpr int RowIndex(const Row (&rows)[kRows], std::string_view name) {
  for (std::size_t i = 0; i < kRows; ++i) {
    if (rows[i].name == name) return static_cast<int>(i);
  }
  throw std::logic_error("no such parameter");
}

template <class Row, std::size_t kRows>
constexpr RowRange FindRows(const Row (&rows)[kRows], std::string_view first, std::string_view last) {
  const RowRange range{RowIndex(rows, first), RowIndex(rows, last)};
  if (range.first > range.last) throw std::logic_error("the rows stand the other way round");
  return range;
}

/// How many rows satisfy `condition`.
template <class Row, std::size_t kRows, class Condition>
constexpr int CountRows(const Row (&rows)[kRows], Condition condition) {
  int count = 0;
  for (const Row& row : rows) count += condition(row) ? 1 : 0;
  return count;
}

/// How many of the ranges hold row `row`.
template <class Ranges>
constexpr int TimesListed(const Ranges& ranges, int row) {
  int times = 0;
  for (const RowRange& range : ranges) times += range.first <= row && row <= range.last ? 1 : 0;
  return times;
}

/// Calls `action(record)` with the record of `row` in `style`, of whichever class it is.
template <class Row, class Style, class Action>
decltype(auto) WithRecord(const Row& row, Style& style, Action action) {
  if (auto* record = row.member.FloatIn(style)) return action(*record);
  return action(*row.member.IntIn(style));
}

/// Gives a record the value and the default, or the range, that its row says a new style holds.
template <class T>
void SetNewValues(trq::StyleParameterRecord<T>& record, const trq::StyleParameterDefaults& defaults) {
  record.SetValue(static_cast<T>(defaults.value));
  record.SetDefaultValue(static_cast<T>(defaults.default_value));
}
template <class T>
void SetNewRange(trq::StyleParameterRecord<T>& record, const trq::StyleParameterDefaults& defaults) {
  record.SetMinRange(static_cast<T>(defaults.minimum));
  record.SetMaxRange(static_cast<T>(defaults.maximum));
}

template <class Row, std::size_t kRows, class Style>
void SetAllDefaults(const Row (&rows)[kRows], Style& style) {
  for (const Row& row : rows) {
    WithRecord(row, style, [&row](auto& record) {
      SetNewValues(record, row.defaults);
      SetNewRange(record, row.defaults);
    });
  }
}

/// Calls `action` with every float record whose row satisfies `condition`.
template <class Row, std::size_t kRows, class Style, class Condition, class Action>
void ForFloatRecords(const Row (&rows)[kRows], Style& style, Condition condition, Action action) {
  for (const Row& row : rows) {
    if (!condition(row)) continue;
    if (auto* record = row.member.FloatIn(style)) action(*record);
  }
}

/// Values of rows in tables.
inline constexpr float kNoMinimum = trq::StyleParameterRecord<float>::kNoMinimum;
inline constexpr float kNoMaximum = trq::StyleParameterRecord<float>::kNoMaximum;
inline constexpr trq::StyleParameterDefaults kZero = {0, 0, kNoMinimum, kNoMaximum};
inline constexpr trq::StyleParameterDefaults kOne = {1, 1, kNoMinimum, kNoMaximum};
/// A "Version" record: 3.01 in the value only.
inline constexpr trq::StyleParameterDefaults kVersionDefault = {3.01f, 0, kNoMinimum, kNoMaximum};

constexpr trq::StyleParameterDefaults Ranged(float value, float minimum, float maximum) {
  return {value, value, minimum, maximum};
}

/// What tables call quantities and regions.
namespace style_rows {
using Q = StyleQuantity;
inline constexpr Q kNumber = Q::kNumber, kFlag = Q::kFlag, kVersion = Q::kVersion, kLength = Q::kLength,
                   kLengthKept = Q::kLengthKept, kAngle = Q::kAngle, kPower = Q::kPower, kResin = Q::kResin,
                   kThreshold = Q::kThreshold;
using R = StyleRegion;
inline constexpr R kGeneral = R::kGeneral, kSmallLayer = R::kSmallLayer, kSmallUp = R::kSmallUp,
                   kSmallDown = R::kSmallDown, kLargeLayer = R::kLargeLayer, kLargeUp = R::kLargeUp,
                   kLargeDown = R::kLargeDown, kScanning = R::kScanning, kQc = R::kQc,
                   kCompensation = R::kCompensation, kResinRegion = R::kResin, kTooling = R::kTooling,
                   kSupport = R::kSupport, kPowerRegion = R::kPower, kFeatures = R::kFeatures, kDip = R::kDip,
                   kPrimaryDip = R::kPrimaryDip, kSecondaryDip = R::kSecondaryDip, kSweeps = R::kSweeps,
                   kUnnamedRegion = R::kUnnamed;
}  // namespace style_rows

}  // namespace trq::detail
