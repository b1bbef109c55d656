#include "trqprep/json_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

namespace trqprep {
namespace {

static_assert(sizeof(float) == sizeof(uint32_t));

// The number of up to eight hexadecimal digits, lower case.
std::optional<uint32_t> HexNumber(std::string_view digits) {
  if (digits.find_first_not_of("0123456789abcdef") != std::string_view::npos) return std::nullopt;
  uint32_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
  return number;
}

// Keys and texts in quotes.
void AppendQuoted(std::string& to, const std::string& text) {
  if (!IsUtf8(text)) throw std::invalid_argument("a JSON text is not UTF-8");
  to += '"';
  for (const char c : text) {
    constexpr std::string_view kEscaped = "\"\\\b\f\n\r\t";
    const size_t escape = kEscaped.find(c);
    if (escape != std::string_view::npos) {
      to += '\\';
      to += "\"\\bfnrt"[escape];
    } else if (static_cast<unsigned char>(c) < 0x20) {
      to += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      to += c;
    }
  }
  to += '"';
}

// Builds the value that the parser reads.
class Builder {
 public:
  using Parser = nlohmann::json;

  bool null() { return Add({}); }
  bool boolean(bool value) { return Add(value); }
  bool number_integer(Parser::number_integer_t value) { return Add(value); }
  bool number_unsigned(Parser::number_unsigned_t value) { return Add(value); }
  bool number_float(Parser::number_float_t value, const std::string&) { return Add(value); }
  bool string(std::string& value) { return Add(std::move(value)); }
  bool binary(Parser::binary_t&) { return false; }  // no text holds any
  bool start_object(size_t) { return Begin(Json::object()); }
  bool start_array(size_t) { return Begin(Json::array()); }
  bool end_object() {
    open_.pop_back();
    return true;
  }
  bool end_array() { return end_object(); }
  bool key(std::string& key) {
    constexpr int kMostMembers = 1024;
    Level& level = open_.back();
    if (++level.members > kMostMembers) {
      throw JsonMistake{fmt::format("has an object of more than {} members", kMostMembers), {}};
    }
    member_ = &(*level.value)[key];
    return true;
  }
  bool parse_error(size_t byte, const std::string&, const Parser::exception& error) {
    if (dynamic_cast<const Parser::out_of_range*>(&error)) {
      throw JsonMistake{"holds a number beyond the range of numbers", {}};
    }
    throw JsonMistake{fmt::format("is not a JSON document: mistake near byte {}", byte), byte};
  }

  Json root;

 private:
  struct Level {
    Json* value;
    int members;
  };

  // Where the next value belongs.
  Json& Slot() {
    constexpr size_t kMostValues = 1 << 20;
    if (++values_ > kMostValues) throw JsonMistake{fmt::format("holds more than {} values", kMostValues), {}};
    if (member_) return *std::exchange(member_, nullptr);
    if (open_.empty()) return root;
    Json& list = *open_.back().value;
    list.push_back({});
    return list[list.size() - 1];
  }
  bool Add(Json value) {
    Slot() = std::move(value);
    return true;
  }
  bool Begin(Json value) {
    constexpr size_t kDeepest = 64;
    if (open_.size() >= kDeepest) throw JsonMistake{fmt::format("is nested deeper than {}", kDeepest), {}};
    Json& slot = Slot();
    slot = std::move(value);
    open_.push_back({&slot, 0});
    return true;
  }

  std::vector<Level> open_;  // none but the last one grows, so all stay where they are
  Json* member_ = nullptr;
  size_t values_ = 0;
};

constexpr size_t kDumpPiece = 1 << 16;

}  // namespace

Json::Json(std::initializer_list<Json> values) {
  bool pairs = true;
  for (const Json& value : values) {
    pairs = pairs && value.is_array() && value.size() == 2 && value[0].is_string();
  }
  *this = pairs ? object() : array(values);
  if (!pairs) return;
  for (const Json& value : values) (*this)[std::get<std::string>(value[0].value_)] = value[1];
}

Json Json::array(std::initializer_list<Json> values) {
  Json json;
  json.value_ = List(values);
  return json;
}

Json Json::Rows(size_t count, std::function<Json(size_t)> make) {
  Json json;
  json.value_ = std::make_shared<const RowMaker>(RowMaker{count, std::move(make)});
  return json;
}

Json Json::object() {
  Json json;
  json.value_ = Object();
  return json;
}

const Json::List& Json::Values() const {
  static const List none;
  return is_array() ? std::get<List>(value_) : none;
}

const Json::Object& Json::items() const {
  static const Object none;
  return is_object() ? std::get<Object>(value_) : none;
}

size_t Json::size() const {
  if (Holds<std::nullptr_t>()) return 0;
  if (is_object()) return items().size();
  if (is_rows()) return std::get<RowsOnDemand>(value_)->count;
  return is_array() ? Values().size() : 1;
}

void Json::ForEach(const std::function<void(const Json&)>& use) const {
  if (is_array()) std::for_each(begin(), end(), use);
  if (!is_rows()) return;
  const RowMaker& rows = *std::get<RowsOnDemand>(value_);
  for (size_t i = 0; i < rows.count; ++i) use(rows.make(i));
}

void Json::push_back(Json value) {
  if (Holds<std::nullptr_t>()) value_ = List();
  std::get<List>(value_).push_back(std::move(value));
}

const Json* Json::Find(std::string_view key) const {
  for (const auto& [name, value] : items()) {
    if (name == key) return &value;
  }
  return nullptr;
}

const Json& Json::operator[](std::string_view key) const {
  static const Json nothing;
  const Json* found = Find(key);
  return found ? *found : nothing;
}

Json& Json::operator[](std::string_view key) {
  if (Holds<std::nullptr_t>()) value_ = Object();
  if (const Json* found = Find(key)) return const_cast<Json&>(*found);
  return std::get<Object>(value_).emplace_back(key, Json()).second;
}

void Json::erase(std::string_view key) {
  auto& object = std::get<Object>(value_);
  const auto found =
      std::find_if(object.begin(), object.end(), [&](const auto& m) { return m.first == key; });
  if (found != object.end()) object.erase(found);
}

void Json::update(Json other) {
  if (!other.is_object()) return;
  for (auto& [key, value] : std::get<Object>(other.value_)) (*this)[key] = std::move(value);
}

bool operator==(const Json& a, const Json& b) {
  if (!a.is_number() || !b.is_number()) return a.value_ == b.value_;
  // As texts, because a negative number never equals one of the same bits without a sign.
  if (a.is_number_integer() && b.is_number_integer()) return a.dump() == b.dump();
  return a.get<double>() == b.get<double>();
}

void Json::Dump(std::string& text, const Sink& sink, int indent, int level) const {
  const auto line = [&](int at) {
    if (indent >= 0) text.append(1, '\n').append(size_t(at * indent), ' ');
  };
  if (is_object() || is_array() || is_rows()) {
    text += is_object() ? '{' : '[';
    bool any = false;
    const auto separate = [&] {
      if (std::exchange(any, true)) text += ',';
      if (sink && text.size() > kDumpPiece) {
        sink(text);
        text.clear();
      }
      line(level + 1);
    };
    for (const auto& [key, value] : items()) {
      separate();
      AppendQuoted(text, key);
      text += indent >= 0 ? ": " : ":";
      value.Dump(text, sink, indent, level + 1);
    }
    ForEach([&](const Json& value) {
      separate();
      value.Dump(text, sink, indent, level + 1);
    });
    if (any) line(level);
    text += is_object() ? '}' : ']';
  } else if (is_string()) {
    AppendQuoted(text, std::get<std::string>(value_));
  } else if (is_boolean()) {
    text += std::get<bool>(value_) ? "true" : "false";
  } else if (Holds<double>()) {
    text += nlohmann::json(std::get<double>(value_)).dump();
  } else if (Holds<int64_t>()) {
    text += std::to_string(std::get<int64_t>(value_));
  } else {
    text += is_number_unsigned() ? std::to_string(std::get<uint64_t>(value_)) : "null";
  }
}

std::string Json::dump(int indent) const {
  std::string text;
  Dump(text, nullptr, indent, 0);
  return text;
}

void Json::DumpTo(const Sink& sink, int indent) const {
  std::string text;
  Dump(text, sink, indent, 0);
  sink(text);
}

bool IsUtf8(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const unsigned lead = static_cast<unsigned char>(bytes[i++]);
    if (lead < 0x80) continue;
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() - i < size_t(more)) return false;
    unsigned character = lead & (0x3FU >> more);
    for (const size_t end = i + size_t(more); i < end; ++i) {
      const unsigned byte = static_cast<unsigned char>(bytes[i]);
      if ((byte & 0xC0) != 0x80) return false;
      character = character << 6 | (byte & 0x3F);
    }
    // No overlong forms, no surrogates, nothing beyond the last character.
    constexpr unsigned kLeast[] = {0, 0x80, 0x800, 0x10000};
    if (character < kLeast[more] || character >> 11 == 0xD800 >> 11 || character > 0x10FFFF) return false;
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
  if (value.size() != 1 || !value["bytes"].is_string()) return std::nullopt;
  const auto hex = value["bytes"].get<std::string>();
  if (hex.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    const auto byte = HexNumber(std::string_view(hex).substr(i, 2));
    if (!byte) return std::nullopt;
    bytes += static_cast<char>(*byte);
  }
  return bytes;
}

Json NumberToJson(float value) {
  if (std::isnan(value)) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return fmt::format("nan:{:08x}", bits);
  }
  if (std::isinf(value)) return NumberToJson(double(value));
  // The library prints doubles; the double nearest to the shortest decimal of the float prints as that
  // decimal.
  const std::string shortest = fmt::format("{}", value);
  double decimal = 0;
  std::from_chars(shortest.data(), shortest.data() + shortest.size(), decimal);
  return float(decimal) == value ? decimal : double(value);
}

Json NumberToJson(double value) {
  if (std::isnan(value)) return NumberToJson(float(value));
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
      return float(wide);
    }
    return number;
  }
  if (!value.is_string()) return std::nullopt;
  const auto text = value.get<std::string>();
  if (text == "inf") return std::numeric_limits<float>::infinity();
  if (text == "-inf") return -std::numeric_limits<float>::infinity();
  if (text.size() != 12 || text.compare(0, 4, "nan:") != 0) return std::nullopt;
  const auto bits = HexNumber(std::string_view(text).substr(4));
  if (!bits) return std::nullopt;
  float number;
  std::memcpy(&number, &*bits, sizeof number);
  return std::isnan(number) ? std::optional(number) : std::nullopt;
}

Json ParseJson(std::string_view text) {
  Builder builder;
  nlohmann::json::sax_parse(text, &builder);
  return std::move(builder.root);
}

std::string JsonDocument(const Json& document) { return document.dump(2) + "\n"; }

void WriteJsonDocument(const Json& document, const Json::Sink& sink) {
  document.DumpTo(sink, 2);
  sink("\n");
}

}  // namespace trqprep
