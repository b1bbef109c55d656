#include "prep/files/toml_parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string_view>

namespace trqprep {
namespace {

constexpr int kMostKeyParts = 16;
constexpr int kMostValues = 100'000;

// Where the string that begins at `at` has ended.
size_t EndOfString(std::string_view text, size_t at) {
  const char quote = text[at];
  const bool escapes = quote == '"';
  const std::string fence(3, quote);
  const bool long_form = text.substr(at, 3) == fence;
  for (at += long_form ? 3 : 1; at < text.size(); ++at) {
    if (escapes && text[at] == '\\') {
      ++at;
    } else if (!long_form && (text[at] == quote || text[at] == '\n')) {
      return at + 1;
    } else if (long_form && text.substr(at, 3) == fence) {
      // The last two of five quotes belong to the text.
      const size_t end = text.find_first_not_of(quote, at);
      return end == std::string_view::npos ? text.size() : std::min(end, at + 5);
    }
  }
  return text.size();
}

bool MayStandInKey(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 || std::isalnum(byte) || c == '_' || c == '-' || c == ' ' || c == '\t';
}

// Refuses keys of too many parts and documents of too many values. Right as far as the document is; the
// parser refuses what comes behind a mistake.
void CheckSize(std::string_view text) {
  int parts = 1, values = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    parts += c == '.' ? 1 : 0;
    if (std::string_view("=,.[{").find(c) != std::string_view::npos) ++values;
    if (c == '"' || c == '\'') {
      at = EndOfString(text, at) - 1;
    } else if (c == '#') {
      at = std::min(text.find('\n', at), text.size()) - 1;
    } else if (c != '.' && !MayStandInKey(c)) {
      parts = 1;
    }
    if (parts > kMostKeyParts || values > kMostValues) {
      const std::string_view before = text.substr(0, at);
      const toml::source_position where{
          static_cast<toml::source_index>(std::count(before.begin(), before.end(), '\n') + 1),
          static_cast<toml::source_index>(at - before.rfind('\n'))};  // npos + 1 is 0
      throw TomlMistake{{where, where, nullptr},
                        values > kMostValues ? fmt::format("here are more than {} values", kMostValues)
                                             : fmt::format("a key is of more than {} names", kMostKeyParts)};
    }
  }
}

}  // namespace

toml::table ParseToml(const std::string& text, const std::string& path) {
  CheckSize(text);
  try {
    return toml::parse(text, path);
  } catch (const toml::parse_error& error) {
    throw TomlMistake{error.source(), std::string(error.description())};
  }
}

std::optional<std::string> TextOrNumber(const toml::node& node) {
  if (auto text = node.value_exact<std::string>()) return text;
  const auto number = node.value<double>();
  return node.is_number() && number ? std::optional(fmt::format("{}", *number)) : std::nullopt;
}

}  // namespace trqprep
