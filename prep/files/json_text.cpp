#include "trqprep/json_text.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace trqprep {
namespace {

uint32_t BitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

float FromBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

bool IsUtf8(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(bytes[k]); };
    const unsigned lead = byte(i);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || i + length > bytes.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((byte(i + k) & 0xC0) != 0x80) return false;
    }
    const unsigned second = byte(i + 1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
      return false;
    }
    i += length;
  }
  return true;
}

std::string ToHex(std::string_view bytes) {
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (const char c : bytes) hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
  return hex;
}

Json TextToJson(std::string_view bytes) {
  if (IsUtf8(bytes)) return std::string(bytes);
  return Json{{"bytes", ToHex(bytes)}};
}

std::optional<std::string> TextFromJson(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_object() || value.size() != 1 || !value.contains("bytes") || !value["bytes"].is_string()) {
    return std::nullopt;
  }
  const auto hex = value["bytes"].get<std::string>();
  if (hex.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const int high = HexDigit(hex[i]);
    const int low = HexDigit(hex[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high * 16 + low);
  }
  return bytes;
}

Json NumberToJson(float value) {
  if (std::isnan(value)) return fmt::format("nan:{:08x}", BitsOf(value));
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  // The library prints doubles; the double nearest to the shortest decimal of the float prints as that
  // decimal.
  const std::string shortest = fmt::format("{}", value);
  double decimal = 0;
  std::from_chars(shortest.data(), shortest.data() + shortest.size(), decimal);
  return static_cast<float>(decimal) == value ? decimal : static_cast<double>(value);
}

Json NumberToJson(double value) {
  if (std::isnan(value)) return NumberToJson(static_cast<float>(value));
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  return value;
}

std::optional<float> FloatFromJson(const Json& value) {
  if (value.is_number()) {
    // Through the text, so that the decimal is rounded once and not first to a double.
    const std::string text = value.dump();
    float number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end != text.data() + text.size()) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
      const double wide = value.get<double>();
      if (std::fabs(wide) > 1) return std::nullopt;
      return static_cast<float>(wide);
    }
    return number;
  }
  if (!value.is_string()) return std::nullopt;
  const auto text = value.get<std::string>();
  if (text == "inf") return std::numeric_limits<float>::infinity();
  if (text == "-inf") return -std::numeric_limits<float>::infinity();
  if (text.size() != 12 || text.compare(0, 4, "nan:") != 0) return std::nullopt;
  uint32_t bits = 0;
  for (const char c : text.substr(4)) {
    const int digit = HexDigit(c);
    if (digit < 0) return std::nullopt;
    bits = bits * 16 + static_cast<uint32_t>(digit);
  }
  const float number = FromBits(bits);
  if (!std::isnan(number)) return std::nullopt;
  return number;
}

Json ParseJson(std::string_view text) {
  constexpr int kDeepest = 64;
  constexpr int kMostMembers = 1024;
  std::array<int, kDeepest + 1> members{};
  const auto check = [&](int depth, Json::parse_event_t event, Json&) {
    using Event = Json::parse_event_t;
    if (event == Event::object_start || event == Event::array_start) {
      if (depth >= kDeepest) throw JsonMistake{fmt::format("is nested deeper than {}", kDeepest), {}};
      members[static_cast<std::size_t>(depth) + 1] = 0;
    } else if (event == Event::key && ++members[static_cast<std::size_t>(depth)] > kMostMembers) {
      throw JsonMistake{fmt::format("has an object of more than {} members", kMostMembers), {}};
    }
    return true;
  };
  try {
    return Json::parse(text, check);
  } catch (const Json::parse_error& error) {
    throw JsonMistake{fmt::format("is no JSON document: mistake near byte {}", error.byte), error.byte};
  } catch (const Json::out_of_range&) {
    throw JsonMistake{"holds a number beyond the range of numbers", {}};
  }
}

std::string JsonDocument(const Json& document) { return document.dump(2) + "\n"; }

}  // namespace trqprep
