#include "trqprep/machine_profiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "prep/files/toml_parser.h"
#include "trqprep/message.h"
#include "trqprep/stored_style.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

[[noreturn]] void Refuse(const std::string& path, const toml::source_region& where, const std::string& text,
                         const std::string& hint = "") {
  Fail(ExitCode::kInput,
       Message(Code::kMachinesFile, path, fmt::format("line {}: {}", where.begin.line, text))
           .Hint(hint)
           .At({{"line", where.begin.line}}));
}

std::string TextOf(const std::string& path, const std::string& key, const toml::node& node) {
  const auto text = node.value<std::string>();
  if (!node.is_string() || !text) Refuse(path, node.source(), "'" + key + "' is not a text");
  return *text;
}

std::optional<int> TypeOf(const std::string& path, const toml::node& node) {
  if (const auto number = node.value_exact<int64_t>()) {
    if (*number < 0 || *number > 1000 || !trq::FindMachineType(int(*number))) {
      Refuse(path, node.source(), fmt::format("there is no machine type {}", *number),
             "'trqprep machines' lists them");
    }
    return int(*number);
  }
  const std::string name = TextOf(path, "type", node);
  const auto type = FindMachineByName(name);
  if (!type)
    Refuse(path, node.source(), "there is no machine type '" + name + "'", DidYouMean(name, MachineNames()));
  return *type;
}

void TakeProcess(const std::string& path, const std::string& key, const toml::node& node,
                 MachineProcess& process) {
  std::vector<std::string> known{"type", "vat", "styles"};
  for (const ProcessField& field : ProcessFields()) {
    known.emplace_back(field.key);
    if (key != field.key) continue;
    const std::optional<std::string> text = TextOrNumber(node);
    if (!text) Refuse(path, node.source(), "'" + key + "' is neither a text nor a number");
    try {
      return StoreProcess(process, field, *text);
    } catch (const std::invalid_argument& error) {
      Refuse(path, node.source(), key + ": " + error.what());
    }
  }
  Refuse(path, node.source(), "there is no entry '" + key + "' in a machine", DidYouMean(key, known));
}

MachineProfile ProfileOf(const std::string& path, const std::string& name, const toml::table& table) {
  MachineProfile profile;
  profile.name = name;
  for (const auto& [key_node, node] : table) {
    const std::string key(key_node.str());
    if (key == "type") {
      profile.type = TypeOf(path, node);
    } else if (key == "vat") {
      try {
        profile.vat = ParseVat(TextOf(path, key, node));
      } catch (const std::invalid_argument& error) {
        Refuse(path, node.source(), error.what());
      }
    } else if (key == "styles") {
      profile.style_root = TextOf(path, key, node);
    } else {
      TakeProcess(path, key, node, profile.process);
    }
  }
  return profile;
}

}  // namespace

std::vector<MachineProfile> ReadMachineProfiles(const std::string& path) {
  const std::string text = ReadWholeFile(path, "a file of machine profiles");
  toml::table document;
  try {
    document = ParseToml(text, path);
  } catch (const TomlMistake& mistake) {
    Refuse(path, mistake.where, mistake.text);
  }
  std::vector<std::pair<toml::source_position, MachineProfile>> found;
  for (const auto& [name, node] : document) {
    const toml::table* table = node.as_table();
    if (!table) {
      Refuse(path, node.source(), fmt::format("'{}' is not a machine", std::string(name.str())),
             "write [" + std::string(name.str()) + "] and its entries below");
    }
    found.emplace_back(node.source().begin, ProfileOf(path, std::string(name.str()), *table));
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<MachineProfile> profiles;
  for (auto& [position, profile] : found) profiles.push_back(std::move(profile));
  return profiles;
}

}  // namespace trqprep
