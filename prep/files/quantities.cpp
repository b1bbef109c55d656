#include "trqprep/quantities.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <stdexcept>

namespace trqprep {
namespace {

struct UnitRow {
  const char* name;
  double millimetres;
};
// In the order of Units.
constexpr UnitRow kUnits[] = {{"mm", 1}, {"in", kMillimetresPerInch}, {"cm", 10}, {"m", 1000}};

[[noreturn]] void Refuse(const std::string& text, const std::string& wanted) {
  throw std::invalid_argument(fmt::format("'{}' is not a {}", text, wanted));
}

// Exactly `count` values between commas.
template <class Value>
std::vector<Value> ParseList(const std::string& text, size_t count, Value (*parse)(const std::string&),
                             const char* values) {
  std::vector<Value> list;
  for (const std::string& piece : Split(text, ',')) list.push_back(parse(piece));
  if (list.size() != count) Refuse(text, fmt::format("list of {} {}", count, values));
  return list;
}

}  // namespace

const char* UnitsName(Units units) { return kUnits[size_t(units)].name; }

std::optional<Units> UnitsFromName(std::string_view name) {
  const std::optional<Units> units = FileUnitsFromName(name);
  return units <= Units::kInch ? units : std::nullopt;
}

std::optional<Units> FileUnitsFromName(std::string_view name) {
  for (size_t i = 0; i < std::size(kUnits); ++i) {
    if (name == kUnits[i].name) return Units(i);
  }
  return std::nullopt;
}

double UnitsFactor(Units from, Units to) {
  return from == to ? 1 : kUnits[size_t(from)].millimetres / kUnits[size_t(to)].millimetres;
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

int64_t ParseWhole(const std::string& text, int64_t lowest, int64_t highest) {
  int64_t value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || stop != text.data() + text.size() || value < lowest || value > highest) {
    Refuse(text, fmt::format("whole number from {} to {}", lowest, highest));
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

std::vector<Length> ParseLengths(const std::string& text, size_t count) {
  return ParseList(text, count, ParseLength, "lengths");
}

std::vector<double> ParseNumbers(const std::string& text, size_t count) {
  return ParseList(text, count, ParseNumber, "numbers");
}

std::array<Length, 3> ParseVat(const std::string& text) {
  const std::vector<std::string> sides = Split(text, 'x');
  std::array<Length, 3> vat;
  bool right = sides.size() == 3;
  try {
    for (size_t i = 3; right && i-- > 0;) {
      vat[i] = ParseLength(sides[i]);
      if (!vat[i].unit) vat[i].unit = vat[2].unit;
      right = vat[i].value > 0 && vat[i].In(Units::kMillimetre, Units::kMillimetre) <= kLongestMillimetres;
    }
  } catch (const std::invalid_argument&) {
    right = false;
  }
  if (!right) Refuse(text, "vat size (three lengths above 0, of a kilometre at most, such as 250x250x250mm)");
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

std::string Counted(int64_t count, const std::string& one, const std::string& many) {
  if (count == 1) return "1 " + one;
  if (!many.empty()) return fmt::format("{} {}", count, many);
  return fmt::format("{} {}", count, one.back() == 'y' ? one.substr(0, one.size() - 1) + "ies" : one + "s");
}

std::string SizeInBoth(const std::array<double, 3>& size, Units units) {
  const auto in = [&](Units wanted, int digits) {
    const auto side = [&](size_t i) { return Plain(size[i] * UnitsFactor(units, wanted), digits); };
    return fmt::format("{} x {} x {} {}", side(0), side(1), side(2), UnitsName(wanted));
  };
  return fmt::format("{} ({})", in(Units::kMillimetre, 3), in(Units::kInch, 4));
}

}  // namespace trqprep
