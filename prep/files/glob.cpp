#include "trqprep/glob.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "trqprep/paths.h"

namespace trqprep {
namespace {

bool IsOfClass(const std::string_view name, unsigned char c) {
  constexpr std::pair<const char*, int (*)(int)> kClasses[] = {
      {"alnum", std::isalnum}, {"alpha", std::isalpha}, {"blank", std::isblank}, {"cntrl", std::iscntrl},
      {"digit", std::isdigit}, {"graph", std::isgraph}, {"lower", std::islower}, {"print", std::isprint},
      {"punct", std::ispunct}, {"space", std::isspace}, {"upper", std::isupper}, {"xdigit", std::isxdigit}};
  return std::any_of(std::begin(kClasses), std::end(kClasses),
                     [&](const auto& known) { return name == known.first && known.second(c) != 0; });
}

// Whether the set that begins behind '[' holds c; `set` is left behind its ']'. Nothing, and `set` as it was,
// when no ']' ends it.
bool TakeSet(std::string_view& set, unsigned char c, bool& holds) {
  size_t at = 0;
  const bool inverted = !set.empty() && (set[0] == '!' || set[0] == '^');
  if (inverted) ++at;
  bool found = false;
  for (const size_t first = at; at < set.size(); ++at) {
    if (set[at] == ']' && at > first) {
      set.remove_prefix(at + 1);
      holds = found != inverted;
      return true;
    }
    if (set.compare(at, 2, "[:") == 0) {
      const size_t end = set.find(":]", at + 2);
      if (end != std::string_view::npos) {
        found = IsOfClass(set.substr(at + 2, end - at - 2), c) || found;
        at = end + 1;
        continue;
      }
    }
    if (set[at] == '\\' && at + 1 < set.size()) ++at;
    const auto low = static_cast<unsigned char>(set[at]);
    auto high = low;
    if (at + 2 < set.size() && set[at + 1] == '-' && set[at + 2] != ']') {
      at += set[at + 2] == '\\' && at + 3 < set.size() ? 3 : 2;
      high = static_cast<unsigned char>(set[at]);
    }
    found = found || (low <= c && c <= high);
  }
  return false;
}

bool Matches(std::string_view pattern, std::string_view name) {
  // Where to go on when the rest does not match: behind the last '*', which takes one more.
  std::string_view pattern_there, name_there;
  bool any_star = false;
  while (true) {
    std::string_view rest = pattern;
    bool fits = false;
    if (rest.empty()) {
      if (name.empty()) return true;
    } else if (rest[0] == '*') {
      rest.remove_prefix(1);
      any_star = true;
      pattern = pattern_there = rest;
      name_there = name;
      continue;
    } else if (!name.empty()) {
      const auto c = static_cast<unsigned char>(name[0]);
      const char first = rest[0];
      rest.remove_prefix(1);
      if (first == '?') {
        fits = true;
      } else if (first == '[' && TakeSet(rest, c, fits)) {
        // told
      } else if (first == '\\') {
        fits = !rest.empty() && rest[0] == name[0];
        if (!rest.empty()) rest.remove_prefix(1);
      } else {
        fits = first == name[0];
      }
    }
    if (fits) {
      pattern = rest;
      name.remove_prefix(1);
    } else {
      if (!any_star || name_there.empty()) return false;
      name_there.remove_prefix(1);
      pattern = pattern_there;
      name = name_there;
    }
  }
}

}  // namespace

bool IsGlob(const std::string& pattern) { return pattern.find_first_of("*?[") != std::string::npos; }

bool MatchesGlob(const std::string& pattern, const std::string& name) {
  return Matches(Lower(pattern), Lower(name));
}

}  // namespace trqprep
