#include "cli/fill.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {
namespace {

const Json* Find(const Json& facts, const std::string& name) {
  const Json* found = &facts;
  for (const std::string& key : Split(name, '.')) {
    if (!found->contains(key)) return nullptr;
    found = &(*found)[key];
  }
  return found;
}

// `how` is what stands behind the colon.
std::string TextOf(const Json& fact, const std::string& how) {
  if (how == ":#") return std::to_string(fact.size());
  if (how.rfind(":+", 0) == 0) {
    const bool number = fact.is_number();
    return Counted(number ? fact.get<int64_t>() : int64_t(fact.size()), how.substr(2));
  }
  if (fact.is_array()) {
    std::string list;
    for (const Json& value : fact) {
      list += (list.empty() ? "" : how.find('x') != how.npos ? " x " : ", ") + TextOf(value, how);
    }
    return list;
  }
  if (fact == nullptr) return "-";
  const size_t digit = how.find_first_of("0123456789");
  if (digit != how.npos) {
    // Infinite numbers, and such as are none, stand as texts.
    const bool is_float = fact.is_string() || how.back() == 'f';
    return Plain(is_float ? double{FloatFromJson(fact).value()} : fact.get<double>(), how[digit] - '0');
  }
  const auto text = TextFromJson(fact);
  return text ? OneLine(*text) : fact.dump();
}

}  // namespace

std::string Fill(std::string_view form, const std::vector<const Json*>& sources) {
  std::string text;
  for (size_t brace; (brace = form.find_first_of("{}")) < form.size();) {
    text += form.substr(0, brace);
    const bool doubled = form[brace + 1] == form[brace];
    const size_t end = doubled ? brace + 1 : form.find('}', brace);
    const std::string field(form.substr(brace, end - brace));
    form.remove_prefix(end + 1);
    if (doubled) {
      text += field;
      continue;
    }
    const size_t bar = std::min(field.find('|'), field.size());
    const size_t colon = std::min(field.find(':'), bar);
    const std::string name = field.substr(1, colon - 1);
    const Json* fact = nullptr;
    for (const Json* source : sources) fact = fact ? fact : Find(*source, name);
    if (!fact) throw std::logic_error("there is no fact " + name);
    const std::string column = bar < field.size() ? field.substr(bar + 1) : "";
    text += fmt::format(fmt::runtime("{:" + column + "}"), TextOf(*fact, field.substr(colon, bar - colon)));
  }
  return text + std::string(form);
}

}  // namespace trqprep
