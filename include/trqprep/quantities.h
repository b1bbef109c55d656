/// Lengths, sizes and numbers as people type them, and how the tool prints them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trqprep {

/// Lengths are in millimetres or inches; the file of a part may also be in centimetres or metres.
enum class Units { kMillimetre, kInch, kCentimetre, kMetre };
constexpr double kMillimetresPerInch = 25.4;

/// "mm", "in", "cm" or "m".
const char* UnitsName(Units units);
/// Of "mm" and "in".
std::optional<Units> UnitsFromName(std::string_view name);
/// Of all four.
std::optional<Units> FileUnitsFromName(std::string_view name);
/// The factor that takes a length in `from` to one in `to`.
double UnitsFactor(Units from, Units to);

/// A length with the unit it was typed with, if any.
struct Length {
  double value = 0;
  std::optional<Units> unit;
  /// The length in `wanted`; one without a unit is in `bare`.
  double In(Units wanted, Units bare) const { return value * UnitsFactor(unit.value_or(bare), wanted); }
};

// The parsers read the whole text as a finite decimal number, in the C locale, and throw
// std::invalid_argument with a message that names what was typed.
double ParseNumber(const std::string& text);
/// A whole number from `lowest` to `highest`.
std::int64_t ParseWhole(const std::string& text, std::int64_t lowest, std::int64_t highest);
/// `250`, `250mm`, `9.8in`; up to 1e100.
Length ParseLength(const std::string& text);
/// Exactly `count` lengths between commas.
std::vector<Length> ParseLengths(const std::string& text, std::size_t count);
/// Exactly `count` numbers between commas.
std::vector<double> ParseNumbers(const std::string& text, std::size_t count);
/// No vat is longer than a kilometre; far beyond it, single precision cannot place anything.
constexpr double kLongestMillimetres = 1e6;
/// `250x250x250mm`, each side with a unit of its own or all with that of the last. Bare ones are taken as
/// millimetres to see that none is too long.
std::array<Length, 3> ParseVat(const std::string& text);

/// Splits at every `separator`; an empty text gives one empty piece.
std::vector<std::string> Split(const std::string& text, char separator);

/// The number with at most `digits` digits after the point, no trailing zeros, never "-0".
std::string Plain(double value, int digits);
/// "1 facet", "2 facets"; without `many` words that end in -y take -ies, others an s.
std::string Counted(int64_t count, const std::string& one, const std::string& many = "");
/// "40 x 40 x 10 mm (1.575 x 1.575 x 0.394 in)" for a size in `units`.
std::string SizeInBoth(const std::array<double, 3>& size, Units units);

}  // namespace trqprep
