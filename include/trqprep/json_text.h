/// JSON values that are valid whatever a file holds, and that read back to what they were.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace trqprep {

/// A JSON value: nothing, true or false, a number, a text, a list or an object. Keys keep the order in which
/// they were set, so that the same input gives the same bytes.
class Json {
 public:
  using List = std::vector<Json>;
  using Object = std::vector<std::pair<std::string, Json>>;

  Json() = default;
  Json(std::nullptr_t) {}
  Json(const char* text) : value_(std::string(text)) {}
  Json(std::string text) : value_(std::move(text)) {}
  template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
  Json(Number number) {
    if constexpr (std::is_same_v<Number, bool>) {
      value_ = number;
    } else if constexpr (std::is_floating_point_v<Number>) {
      value_ = static_cast<double>(number);
    } else if constexpr (std::is_signed_v<Number>) {
      value_ = static_cast<std::int64_t>(number);
    } else {
      value_ = static_cast<std::uint64_t>(number);
    }
  }
  template <class Value>
  Json(const std::vector<Value>& values) : value_(List(values.begin(), values.end())) {}
  /// An object when every value is a list of a text and another value; a list otherwise.
  Json(std::initializer_list<Json> values);

  static Json array(std::initializer_list<Json> values = {});
  /// A list of `count` values that `make` makes one by one whenever the list is gone through or written: a
  /// long one is never in memory. What `make` draws on has to live as long.
  static Json Rows(std::size_t count, std::function<Json(std::size_t)> make);
  static Json object();

  bool is_boolean() const { return Holds<bool>(); }
  bool is_number() const { return is_number_integer() || Holds<double>(); }
  bool is_number_integer() const { return Holds<std::int64_t>() || is_number_unsigned(); }
  /// The parser takes every whole number without a sign for one of these.
  bool is_number_unsigned() const { return Holds<std::uint64_t>(); }
  bool is_string() const { return Holds<std::string>(); }
  bool is_array() const { return Holds<List>(); }
  bool is_rows() const { return Holds<RowsOnDemand>(); }
  bool is_object() const { return Holds<Object>(); }

  /// A text, or a number as static_cast converts it. Throws std::invalid_argument for any other value.
  template <class Value>
  Value get() const {
    if constexpr (std::is_same_v<Value, Json>) {
      return *this;
    } else if constexpr (std::is_same_v<Value, std::string>) {
      if (const auto* text = std::get_if<std::string>(&value_)) return *text;
    } else if constexpr (std::is_same_v<Value, bool>) {
      if (const auto* truth = std::get_if<bool>(&value_)) return *truth;
    } else {
      if (const auto* number = std::get_if<std::int64_t>(&value_)) return static_cast<Value>(*number);
      if (const auto* number = std::get_if<std::uint64_t>(&value_)) return static_cast<Value>(*number);
      if (const auto* number = std::get_if<double>(&value_)) return static_cast<Value>(*number);
    }
    throw std::invalid_argument("a JSON value is of another kind");
  }

  /// The number of values of a list or an object; 0 of nothing, 1 of anything else.
  std::size_t size() const;
  bool empty() const { return size() == 0; }

  // Lists; nothing becomes one.
  void push_back(Json value);
  /// Calls `use` with each value of a list, and of nothing else.
  void ForEach(const std::function<void(const Json&)>& use) const;
  /// The values of a list that is in memory; nothing of any other value.
  List::const_iterator begin() const { return Values().begin(); }
  List::const_iterator end() const { return Values().end(); }
  Json& operator[](std::size_t i) { return std::get<List>(value_)[i]; }
  const Json& operator[](std::size_t i) const { return std::get<List>(value_)[i]; }
  Json& operator[](int i) { return (*this)[static_cast<std::size_t>(i)]; }
  const Json& operator[](int i) const { return (*this)[static_cast<std::size_t>(i)]; }

  // Objects; nothing becomes one.
  bool contains(std::string_view key) const { return Find(key) != nullptr; }
  /// The value of the key, made with nothing as value when there is none.
  Json& operator[](std::string_view key);
  Json& operator[](const char* key) { return (*this)[std::string_view(key)]; }
  Json& operator[](const std::string& key) { return (*this)[std::string_view(key)]; }
  /// The value of the key; nothing when there is none.
  const Json& operator[](std::string_view key) const;
  const Json& operator[](const char* key) const { return (*this)[std::string_view(key)]; }
  const Json& operator[](const std::string& key) const { return (*this)[std::string_view(key)]; }
  template <class Value>
  Value value(std::string_view key, Value fallback) const {
    const Json* found = Find(key);
    return found ? found->get<Value>() : fallback;
  }
  void erase(std::string_view key);
  /// Takes over all keys of another object.
  void update(Json other);
  /// The keys and values of an object; nothing of any other value.
  const Object& items() const;

  /// Numbers are equal when their values are.
  friend bool operator==(const Json& a, const Json& b);
  friend bool operator!=(const Json& a, const Json& b) { return !(a == b); }

  /// The value as text in one line, or with `indent` blanks a level and a line each value. Numbers are
  /// written with the fewest digits that read back. Throws std::invalid_argument for a text that is not
  /// UTF-8.
  std::string dump(int indent = -1) const;
  /// The same, given to `sink` in pieces.
  using Sink = std::function<void(std::string_view)>;
  void DumpTo(const Sink& sink, int indent = -1) const;

 private:
  template <class Kind>
  bool Holds() const {
    return std::holds_alternative<Kind>(value_);
  }
  const Json* Find(std::string_view key) const;
  const List& Values() const;
  void Dump(std::string& text, const Sink& sink, int indent, int level) const;

  struct RowMaker {
    std::size_t count;
    std::function<Json(std::size_t)> make;
  };
  using RowsOnDemand = std::shared_ptr<const RowMaker>;
  std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, List, Object,
               RowsOnDemand>
      value_;
};

/// True when the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
bool IsUtf8(std::string_view bytes);
/// The text as a JSON string, or {"bytes":"<hex>"} when it is not UTF-8.
Json TextToJson(std::string_view bytes);
/// The bytes of what TextToJson made; nothing for any other value.
std::optional<std::string> TextFromJson(const Json& value);

/// The shortest decimal that reads back to the same 32-bit value; "nan:<8 hex digits>", "inf", "-inf".
Json NumberToJson(float value);
/// The shortest decimal that reads back to the same double; not-a-number is narrowed to its 32-bit pattern.
Json NumberToJson(double value);
/// The 32-bit value of what NumberToJson made, the bits of a not-a-number included; nothing otherwise.
std::optional<float> FloatFromJson(const Json& value);

/// An array of NumberToJson of each value.
template <class Values>
Json NumbersToJson(const Values& values) {
  Json array = Json::array();
  for (const auto& value : values) array.push_back(NumberToJson(value));
  return array;
}

/// Two hexadecimal digits a byte, lower case.
std::string ToHex(std::string_view bytes);

/// What is wrong with a text that was to be JSON, as the end of a sentence, and near which byte, where that
/// is known.
struct JsonMistake {
  std::string text;
  std::optional<std::size_t> byte;
};
/// Parses a text from anywhere. Throws JsonMistake for one that is no JSON, and for what no document of the
/// tool is like: nested deeper than 64, as values are copied and written by recursion, an object of more
/// than 1024 members, as each is sought among those before it, or more than 1 048 576 values, which take many
/// times the memory of their text.
Json ParseJson(std::string_view text);

/// The document as text, indented by two, with a line end.
std::string JsonDocument(const Json& document);
/// The same, given to `sink` in pieces.
void WriteJsonDocument(const Json& document, const Json::Sink& sink);

}  // namespace trqprep
