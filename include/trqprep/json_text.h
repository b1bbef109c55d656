/// JSON values that are valid whatever a file holds, and that read back to what they were.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace trqprep {

/// Keys keep the order in which they were set, so that the same input gives the same bytes.
using Json = nlohmann::ordered_json;

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
/// tool is like: nested deeper than 64, as values are copied and written by recursion, or an object of more
/// than 1024 members, as each is sought among those before it.
Json ParseJson(std::string_view text);

/// The document as text, indented by two, with a line end.
std::string JsonDocument(const Json& document);

}  // namespace trqprep
