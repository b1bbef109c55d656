/// Writes HTML piece by piece.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "trqprep/message.h"

namespace trqprep {

/// Text in which names from files are data, whatever is in them.
class Html {
 public:
  /// Markup as it stands, `{}` filled with values that hold no markup of others: numbers, or what Escaped
  /// made.
  template <class... Values>
  Html& Add(const char* markup, const Values&... values) {
    if constexpr (sizeof...(values) == 0) {
      text += markup;
    } else {
      text += fmt::format(fmt::runtime(markup), values...);
    }
    return *this;
  }
  Html& Text(const std::string& words) {
    text += XmlText(words);
    return *this;
  }
  std::string text;
};

/// A name from a file: kept apart from the words around it, whichever way its letters run.
inline std::string NameMarkup(const std::string& name) { return "<bdi>" + XmlText(name) + "</bdi>"; }

}  // namespace trqprep
