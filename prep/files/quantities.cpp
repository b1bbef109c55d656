#include "trqprep/quantities.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace trqprep {
namespace {

[[noreturn]] void Refuse(const std::string& text, const char* wanted) {
  throw std::invalid_argument(fmt::format("'{}' is no {}", text, wanted));
}

}  // namespace

const char* UnitsName(Units units) { return units == Units::kMillimetre ? "mm" : "in"; }

std::optional<Units> UnitsFromName(std::string_view name) {
  if (name == "mm") return Units::kMillimetre;
  if (name == "in") return Units::kInch;
  return std::nullopt;
}

double UnitsFactor(Units from, Units to) {
  if (from == to) return 1;
  return from == Units::kInch ? kMillimetresPerInch : 1 / kMillimetresPerInch;
}

double ParseNumber(const std::string& text) {
  double value = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') ++begin;
  const auto [stop, error] = std::from_chars(begin, end, value);
  if (error != std::errc() || stop != end || !std::isfinite(value)) Refuse(text, "number");
  return value;
}

std::int64_t ParseWhole(const std::string& text, std::int64_t lowest, std::int64_t highest) {
  std::int64_t value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || stop != text.data() + text.size() || value < lowest || value > highest) {
    Refuse(text, fmt::format("whole number from {} to {}", lowest, highest).c_str());
  }
  return value;
}

Length ParseLength(const std::string& text) {
  // Far beyond any part, and in the other unit still a number that a job file can hold.
  constexpr double kLongest = 1e100;
  constexpr const char* kWanted = "length (a number, alone or with mm or in, such as 12.5mm)";
  Length length;
  std::string number = text;
  if (text.size() > 2) {
    length.unit = UnitsFromName(text.substr(text.size() - 2));
    if (length.unit) number.resize(text.size() - 2);
  }
  try {
    length.value = ParseNumber(number);
  } catch (const std::invalid_argument&) {
    Refuse(text, kWanted);
  }
  if (std::abs(length.value) > kLongest) Refuse(text, kWanted);
  return length;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces(1);
  for (const char c : text) {
    if (c == separator) {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  return pieces;
}

std::vector<Length> ParseLengths(const std::string& text, std::size_t count) {
  std::vector<Length> lengths;
  for (const std::string& piece : Split(text, ',')) lengths.push_back(ParseLength(piece));
  if (lengths.size() != count) Refuse(text, fmt::format("list of {} lengths", count).c_str());
  return lengths;
}

std::vector<double> ParseNumbers(const std::string& text, std::size_t count) {
  std::vector<double> numbers;
  for (const std::string& piece : Split(text, ',')) numbers.push_back(ParseNumber(piece));
  if (numbers.size() != count) Refuse(text, fmt::format("list of {} numbers", count).c_str());
  return numbers;
}

std::array<Length, 3> ParseVat(const std::string& text) {
  static const char* const kWanted = "vat size (three lengths above 0, such as 250x250x250mm)";
  const std::vector<std::string> sides = Split(text, 'x');
  if (sides.size() != 3) Refuse(text, kWanted);
  std::array<Length, 3> vat;
  for (std::size_t i = 0; i < 3; ++i) {
    try {
      vat[i] = ParseLength(sides[i]);
    } catch (const std::invalid_argument&) {
      Refuse(text, kWanted);
    }
    if (!(vat[i].value > 0)) Refuse(text, kWanted);
  }
  for (std::size_t i = 0; i < 2; ++i) {
    if (!vat[i].unit) vat[i].unit = vat[2].unit;
  }
  return vat;
}

std::string Plain(double value, int digits) {
  std::string text = fmt::format("{:.{}f}", value, digits);
  if (text.find('.') != std::string::npos) {
    while (text.back() == '0') text.pop_back();
    if (text.back() == '.') text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

std::string SizeInBoth(const std::array<double, 3>& size, Units units) {
  const double mm = UnitsFactor(units, Units::kMillimetre);
  const double inch = UnitsFactor(units, Units::kInch);
  return fmt::format("{} x {} x {} mm ({} x {} x {} in)", Plain(size[0] * mm, 3), Plain(size[1] * mm, 3),
                     Plain(size[2] * mm, 3), Plain(size[0] * inch, 4), Plain(size[1] * inch, 4),
                     Plain(size[2] * inch, 4));
}

}  // namespace trqprep
