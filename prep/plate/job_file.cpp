#include "trqprep/job_file.h"

#include <fmt/format.h>

#include <stdexcept>
#include <type_traits>

#include "prep/files/toml_parser.h"
#include "trqprep/machine_profiles.h"
#include "trqprep/stored_style.h"
#include "trqprep/style_document.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

// Reads a job file's tables; whatever they cannot mean names its line.
class Reader {
 public:
  Reader(const std::string& path) : path_(path) {
    const std::size_t slash = path.rfind('/');
    if (slash != std::string::npos) folder_ = path.substr(0, slash + 1);
  }

  Job Read() {
    toml::table document;
    const std::string text = ReadWholeFile(path_);
    try {
      document = ParseToml(text, path_);
    } catch (const TomlMistake& mistake) {
      Refuse(mistake.where, mistake.text);
    }
    Job job;
    // The unit decides what the other lengths mean.
    if (const toml::node* node = document.get("units")) {
      const auto units = UnitsFromName(Text("units", *node));
      if (!units) Refuse(node->source(), "units is neither \"mm\" nor \"in\"");
      job.units = *units;
    }
    for (const auto& [key_node, node] : document) {
      const std::string key(key_node.str());
      if (key == "schema") {
        if (Text(key, node) != kJobSchema)
          Refuse(node.source(), fmt::format("schema is not \"{}\"", kJobSchema));
      } else if (const JobField<Job>* field = Find(JobFields(), key)) {
        Store(job, *field, key, node);
      } else {
        std::vector<std::string> known = FieldKeys(JobFields());
        known.insert(known.begin(), "schema");
        Unknown(node, key, known);
      }
    }
    if (job.parts.empty()) {
      FailInput(Code::kJobFile, path_, "names no part", "write [[part]] and file = \"...\"");
    }
    return job;
  }

 private:
  [[noreturn]] void Refuse(const toml::source_region& where, const std::string& text,
                           const std::string& hint = "") const {
    Fail(ExitCode::kInput, Message(Code::kJobFile, path_, fmt::format("line {}: {}", where.begin.line, text))
                               .Hint(hint)
                               .At({{"line", where.begin.line}}));
  }
  [[noreturn]] void Unknown(const toml::node& node, const std::string& key,
                            const std::vector<std::string>& known) const {
    Refuse(node.source(), "there is no entry '" + key + "' here", DidYouMean(key, known));
  }

  std::string Text(const std::string& key, const toml::node& node) const {
    const auto text = node.value_exact<std::string>();
    if (!text) Refuse(node.source(), "'" + key + "' is no text");
    return *text;
  }
  double Number(const std::string& key, const toml::node& node) const {
    const auto number = node.value<double>();
    if (!node.is_number() || !number || !(*number >= -1e300 && *number <= 1e300)) {
      Refuse(node.source(), "'" + key + "' is no number");
    }
    return *number;
  }
  std::int64_t Whole(const std::string& key, const toml::node& node, std::int64_t lowest,
                     std::int64_t highest) const {
    const auto number = node.value_exact<std::int64_t>();
    if (!number || *number < lowest || *number > highest) {
      Refuse(node.source(), fmt::format("'{}' is no whole number from {} to {}", key, lowest, highest));
    }
    return *number;
  }
  bool Flag(const std::string& key, const toml::node& node) const {
    const auto flag = node.value_exact<bool>();
    if (!flag) Refuse(node.source(), "'" + key + "' is neither true nor false");
    return *flag;
  }
  // A number, or a text with a unit.
  Length LengthOf(const std::string& key, const toml::node& node) const {
    if (!node.is_string()) return {Number(key, node), std::nullopt};
    try {
      return ParseLength(Text(key, node));
    } catch (const std::invalid_argument& error) {
      Refuse(node.source(), key + ": " + error.what());
    }
  }
  const toml::array& List(const std::string& key, const toml::node& node, std::size_t size) const {
    const toml::array* array = node.as_array();
    if (!array || (size > 0 && array->size() != size)) {
      Refuse(node.source(), size > 0 ? fmt::format("'{}' is no list of {}", key, size)
                                     : fmt::format("write [[{}]] and its entries below", key));
    }
    return *array;
  }
  const toml::table& Table(const std::string& key, const toml::node& node) const {
    const toml::table* table = node.as_table();
    if (!table) Refuse(node.source(), fmt::format("write [[{}]] and its entries below", key));
    return *table;
  }
  // Names that are no text stand in hexadecimal digits.
  std::string FileName(const std::string& key, const toml::node& node) const {
    std::string name = Text(key, node);
    if (key == "file_bytes") {
      const auto bytes = TextFromJson(Json{{"bytes", name}});
      if (!bytes) Refuse(node.source(), "'file_bytes' is not in hexadecimal digits");
      name = *bytes;
    }
    if (name.empty() || name.find('\0') != std::string::npos)
      Refuse(node.source(), "'" + key + "' names no file");
    return name[0] == '/' ? name : folder_ + name;
  }

  // Stores what a node holds in the field of a job or part.
  template <class Owner>
  void Store(Owner& owner, const JobField<Owner>& field, const std::string& key, const toml::node& node) {
    if (const auto* whole = std::get_if<WholeMember<Owner>>(&field.member)) {
      owner.*whole->member = Whole(key, node, whole->lowest, whole->highest);
    } else if (const auto* flag = std::get_if<bool Owner::*>(&field.member)) {
      owner.** flag = Flag(key, node);
    } else if (const auto* number = std::get_if<double Owner::*>(&field.member)) {
      owner.** number = Number(key, node);
    } else if (const auto* file = std::get_if<std::string Owner::*>(&field.member)) {
      owner.** file = FileName(key, node);
    } else if (const auto* length = std::get_if<std::optional<Length> Owner::*>(&field.member)) {
      owner.** length = LengthOf(key, node);
    } else if (const auto* vat = std::get_if<std::array<Length, 3> Owner::*>(&field.member)) {
      owner.** vat = Vat(key, node);
    } else if (const auto* machine = std::get_if<std::optional<int> Owner::*>(&field.member)) {
      const std::string name = Text(key, node);
      owner.** machine = FindMachineByName(name);
      if (!(owner.**machine)) {
        Refuse(node.source(), "there is no machine '" + name + "'", DidYouMean(name, MachineNames()));
      }
    } else if (const auto* styles = std::get_if<std::vector<StyleRequest> Owner::*>(&field.member)) {
      ReadStyles(key, node, owner.**styles);
    } else if (const auto* parts = std::get_if<std::vector<PartRequest> Owner::*>(&field.member)) {
      for (const toml::node& entry : List(key, node, 0))
        (owner.**parts).push_back(ReadPart(Table(key, entry)));
    }  // units are read before everything else
  }

  // The field of a key of the file; names that are no text stand under "file_bytes".
  template <class Owner>
  const JobField<Owner>* Find(const std::vector<JobField<Owner>>& fields, const std::string& key) const {
    for (const JobField<Owner>& field : fields) {
      if (key == field.key || (key == "file_bytes" && std::string(field.key) == "file")) return &field;
    }
    return nullptr;
  }

  std::array<Length, 3> Vat(const std::string& key, const toml::node& node) const {
    std::array<Length, 3> vat;
    if (node.is_string()) {
      try {
        return ParseVat(Text(key, node));
      } catch (const std::invalid_argument& error) {
        Refuse(node.source(), error.what());
      }
    }
    const toml::array& sides = List(key, node, 3);
    for (std::size_t i = 0; i < 3; ++i) {
      vat[i] = LengthOf(key, sides[i]);
      if (!(vat[i].value > 0)) Refuse(node.source(), "a side of the vat is not above 0");
    }
    return vat;
  }

  void ReadStyles(const std::string& list, const toml::node& node, std::vector<StyleRequest>& styles) {
    for (const toml::node& entry : List(list, node, 0)) {
      StyleRequest style;
      for (const auto& [key_node, value] : Table(list, entry)) {
        const std::string key(key_node.str());
        if (key == "file" || key == "file_bytes") {
          style.path = FileName(key, value);
        } else if (key == "band") {
          const toml::array& ends = List(key, value, 2);
          style.banded = true;
          style.from = LengthOf(key, ends[0]);
          style.to = LengthOf(key, ends[1]);
        } else if (key == "damage") {
          style.damage = Text(key, value);
        } else {
          Unknown(value, key, {"file", "band", "damage"});
        }
      }
      if (style.path.empty()) Refuse(entry.source(), fmt::format("a {} without file", list));
      styles.push_back(style);
    }
  }

  PartRequest ReadPart(const toml::table& table) {
    PartRequest part;
    for (const auto& [key_node, node] : table) {
      const std::string key(key_node.str());
      const JobField<PartRequest>* field = Find(PartFields(), key);
      if (!field) Unknown(node, key, FieldKeys(PartFields()));
      Store(part, *field, key, node);
    }
    if (part.path.empty()) Refuse(table.source(), "a part without file");
    return part;
  }

  std::string path_;
  std::string folder_;
};

std::string NumberText(double value) { return fmt::format("{}", value); }

std::string LengthText(const Length& length, Units units) { return NumberText(length.In(units, units)); }

// A JSON string is a TOML string as well, but for one control character that TOML wants escaped.
std::string Quoted(const std::string& text) {
  std::string quoted;
  for (const char c : Json(text).dump()) {
    if (c == 0x7f) {
      quoted += "\\u007f";
    } else {
      quoted += c;
    }
  }
  return quoted;
}

std::string FileEntry(const std::string& path) {
  const Json name = TextToJson(path);
  if (name.is_string()) return "file = " + Quoted(path) + "\n";
  return "file_bytes = \"" + name["bytes"].get<std::string>() + "\"\n";
}

std::string StyleEntries(const std::string& list, const std::vector<StyleRequest>& styles, Units units) {
  std::string text;
  for (const StyleRequest& style : styles) {
    text += fmt::format("\n[[{}]]\n{}", list, FileEntry(style.path));
    if (!style.damage.empty()) text += "damage = " + Quoted(style.damage) + "\n";
    if (!style.banded) continue;
    text += fmt::format("band = [{}, {}]\n", LengthText(style.from, units), LengthText(style.to, units));
  }
  return text;
}

// The lines of the fields; those that hold tables come after all others of their owner.
template <class Owner>
std::string FieldLines(const Owner& owner, const std::vector<JobField<Owner>>& fields, Units units) {
  std::string text;
  for (const JobField<Owner>& field : fields) {
    const bool when_set = (field.use & JobField<Owner>::kWhenSet) != 0;
    std::string value;
    if (const auto* whole = std::get_if<WholeMember<Owner>>(&field.member)) {
      value = fmt::format("{}", owner.*whole->member);
    } else if (const auto* flag = std::get_if<bool Owner::*>(&field.member)) {
      if (owner.**flag || !when_set) value = fmt::format("{}", owner.**flag);
    } else if (const auto* number = std::get_if<double Owner::*>(&field.member)) {
      value = NumberText(owner.**number);
    } else if (const auto* file = std::get_if<std::string Owner::*>(&field.member)) {
      text += FileEntry(owner.**file);
    } else if (const auto* length = std::get_if<std::optional<Length> Owner::*>(&field.member)) {
      if (owner.**length) value = LengthText(*(owner.**length), units);
    } else if (const auto* vat = std::get_if<std::array<Length, 3> Owner::*>(&field.member)) {
      const std::array<Length, 3>& sides = owner.**vat;
      value = fmt::format("[{}, {}, {}]", LengthText(sides[0], units), LengthText(sides[1], units),
                          LengthText(sides[2], units));
    } else if (const auto* unit = std::get_if<Units Owner::*>(&field.member)) {
      value = Quoted(UnitsName(owner.**unit));
    } else if (const auto* machine = std::get_if<std::optional<int> Owner::*>(&field.member)) {
      if (owner.**machine) value = Quoted(MachineName(*(owner.**machine)));
    }
    if (!value.empty()) text += fmt::format("{} = {}\n", field.key, value);
  }
  for (const JobField<Owner>& field : fields) {
    if (const auto* styles = std::get_if<std::vector<StyleRequest> Owner::*>(&field.member)) {
      const char* list = std::is_same_v<Owner, PartRequest> ? "part." : "";
      text += StyleEntries(std::string(list) + field.key, owner.**styles, units);
    } else if (const auto* parts = std::get_if<std::vector<PartRequest> Owner::*>(&field.member)) {
      for (const PartRequest& part : owner.**parts) {
        text += fmt::format("\n[[{}]]\n{}", field.key, FieldLines(part, PartFields(), units));
      }
    }
  }
  return text;
}

}  // namespace

bool NamesJobFile(const std::string& path) {
  return path.size() > 5 && path.compare(path.size() - 5, 5, ".toml") == 0;
}

Job ReadJobFile(const std::string& path) { return Reader(path).Read(); }

std::string JobFileText(const Job& job) {
  return fmt::format("schema = \"{}\"\n", kJobSchema) + FieldLines(job, JobFields(), job.units);
}

}  // namespace trqprep
