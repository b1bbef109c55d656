#include "trqprep/job_file.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include "prep/files/toml_parser.h"
#include "trqprep/machine_profiles.h"
#include "trqprep/paths.h"
#include "trqprep/stored_style.h"
#include "trqprep/style_document.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

// A key of a table as it is spelt now, what stands there, and the key as it was given.
struct Entry {
  std::string key;
  const toml::node& node;
  std::string given;
};

// Reads a job file's tables; whatever they cannot mean names its line.
class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path), folder_(path.substr(0, path.rfind('/') + 1)) {}

  Job Read(InputFile&& file) {
    toml::table document;
    const std::string text = ReadWholeFile(std::move(file), "a job file");
    try {
      document = ParseToml(text, path_);
    } catch (const TomlMistake& mistake) {
      // A key that stands twice, here as on the command line.
      const bool twice = mistake.text.find("cannot redefine") != std::string::npos;
      Refuse(mistake.where, mistake.text, "", twice ? ExitCode::kUsage : ExitCode::kInput);
    }
    Job job;
    job.file = path_;
    // The unit decides what the other lengths mean.
    if (const toml::node* node = document.get("units")) {
      const auto units = UnitsFromName(Text({"units", *node, "units"}));
      if (!units) Refuse(node->source(), "units is neither \"mm\" nor \"in\"");
      job.units = *units;
    }
    for (const Entry& entry : EntriesOf(document)) {
      if (entry.key != "schema") {
        if (!TakeProcess(job.process, entry)) Store(job, JobFields(), entry, ProcessKeys());
      } else if (const std::string schema = Text(entry); schema != kJobSchema && schema != kOldJobSchema) {
        Refuse(entry.node.source(), fmt::format("schema is not \"{}\"", kJobSchema));
      }
    }
    if (job.drop && job.floor == Floor::kKeep) {
      FailInput(Code::kJobFile, path_, "drop = true and floor = \"keep\" exclude each other",
                "leave one away");
    }
    if (job.parts.empty()) {
      FailInput(Code::kJobFile, path_, "names no part", "write [[part]] and file = \"...\"");
    }
    if (const auto mistake = FindMistake(job)) {
      Fail(mistake->malformed ? ExitCode::kInput : ExitCode::kUsage,
           Message(Code::kJobFile, path_, mistake->text).Hint(mistake->hint));
    }
    return job;
  }

 private:
  [[noreturn]] void Refuse(const toml::source_region& where, const std::string& text,
                           const std::string& hint = "", ExitCode exit = ExitCode::kInput) const {
    Fail(exit, Message(Code::kJobFile, path_, fmt::format("line {}: {}", where.begin.line, text))
                   .Hint(hint)
                   .At({{"line", where.begin.line}}));
  }
  [[noreturn]] void Refuse(const Entry& entry, const std::string& text) const {
    Refuse(entry.node.source(), fmt::format("'{}' {}", entry.given, text));
  }
  [[noreturn]] void Unknown(const Entry& entry, const std::vector<std::string>& known) const {
    Refuse(entry.node.source(), "there is no entry '" + entry.given + "' here", DidYouMean(entry.key, known));
  }

  // Files of version 0.1.0 have `rotate_z` for `rotate-z`.
  std::vector<Entry> EntriesOf(const toml::table& table) const {
    std::vector<Entry> entries;
    for (const auto& [key_node, node] : table) {
      const std::string given(key_node.str());
      std::string key = given;
      if (key != "file_bytes") std::replace(key.begin(), key.end(), '_', '-');
      if (key != given && table.contains(key)) {
        Refuse(node.source(), fmt::format("'{}' and '{}' are one key, given twice", given, key),
               "leave one of them away", ExitCode::kUsage);
      }
      entries.push_back({key, node, given});
    }
    return entries;
  }

  std::string Text(const Entry& entry) const {
    const auto text = entry.node.value_exact<std::string>();
    if (!text) Refuse(entry, "is not a text");
    return *text;
  }
  int64_t Whole(const Entry& entry, int64_t lowest, int64_t highest) const {
    const auto number = entry.node.value_exact<int64_t>();
    if (!number || *number < lowest || *number > highest) {
      Refuse(entry, fmt::format("is not a whole number from {} to {}", lowest, highest));
    }
    return *number;
  }
  const toml::array& List(const Entry& entry, size_t size) const {
    const toml::array* array = entry.node.as_array();
    if (!array || array->size() != size) Refuse(entry, fmt::format("is not a list of {} values", size));
    return *array;
  }
  template <class Read>
  void ForEachTable(const Entry& entry, Read read) const {
    const auto require = [&](const void* held, const toml::node& node) {
      if (!held) Refuse(node.source(), fmt::format("write [[{}]] and its entries below", entry.key));
    };
    const toml::array* array = entry.node.as_array();
    require(array, entry.node);
    for (const toml::node& node : *array) {
      require(node.as_table(), node);
      read(*node.as_table());
    }
  }

  // One for each type of a field.
  void Take(bool& flag, const Entry& entry) const {
    const auto held = entry.node.value_exact<bool>();
    if (!held) Refuse(entry, "is neither true nor false");
    flag = *held;
  }
  void Take(double& number, const Entry& entry) const {
    const auto held = entry.node.value<double>();
    if (!entry.node.is_number() || !held || !(*held >= -1e300 && *held <= 1e300)) {
      Refuse(entry, "is not a number");
    }
    number = *held;
  }
  // A file; names that are no text stand in hexadecimal digits.
  void Take(std::string& file, const Entry& entry) const {
    file = Text(entry);
    if (entry.key == "file_bytes") {
      const auto bytes = TextFromJson(Json{{"bytes", file}});
      if (!bytes) Refuse(entry, "is not in hexadecimal digits");
      file = *bytes;
    }
    if (file.empty() || file.find('\0') != std::string::npos) Refuse(entry, "names no file");
    file = NamedPath(file);
    if (!IsAbsolute(file)) file = folder_ + file;
  }
  // A number, or a text with a unit.
  void Take(Length& length, const Entry& entry) const {
    if (!entry.node.is_string()) return Take(length.value, entry);
    try {
      length = ParseLength(Text(entry));
    } catch (const std::invalid_argument& error) {
      Refuse(entry.node.source(), entry.key + ": " + error.what());
    }
  }
  template <class Value>
  void Take(std::optional<Value>& value, const Entry& entry) const {
    Take(value.emplace(), entry);
  }
  void Take(std::array<Length, 2>& at, const Entry& entry) const {
    const toml::array& lengths = List(entry, 2);
    for (size_t i = 0; i < 2; ++i) Take(at[i], {entry.key, lengths[i], entry.given});
  }
  // A number, "fixed", or a list of degrees.
  void Take(Turns& turns, const Entry& entry) const {
    try {
      if (const toml::array* array = entry.node.as_array()) {
        std::vector<double> degrees(array->size());
        for (size_t i = 0; i < degrees.size(); ++i) Take(degrees[i], {entry.key, (*array)[i], entry.given});
        turns = ListedTurns(degrees);
      } else if (entry.node.is_string()) {
        turns = ParseTurns(Text(entry));
      } else {
        turns.equal = Whole(entry, 1, kMostTurns);
      }
    } catch (const std::invalid_argument& error) {
      Refuse(entry.node.source(), entry.key + ": " + error.what());
    }
  }
  void Take(std::array<Length, 3>& vat, const Entry& entry) const {
    if (entry.node.is_string()) {
      try {
        vat = ParseVat(Text(entry));
      } catch (const std::invalid_argument& error) {
        Refuse(entry.node.source(), error.what());
      }
      return;
    }
    const toml::array& sides = List(entry, 3);
    for (size_t i = 0; i < 3; ++i) {
      Take(vat[i] = {}, {entry.key, sides[i], entry.given});
      if (!(vat[i].value > 0)) Refuse(entry.node.source(), "a side of the vat is not above 0");
    }
  }
  template <class Choice>
  std::enable_if_t<std::is_enum_v<Choice>> Take(Choice& choice, const Entry& entry) const {
    const auto& [first, second] = ChoiceWords<Choice>::kAll;
    if (!TakeWord(choice, Text(entry))) {
      Refuse(entry, fmt::format("is neither \"{}\" nor \"{}\"", first, second));
    }
  }
  void Take(std::vector<Code>& codes, const Entry& entry) const {
    const toml::array* array = entry.node.as_array();
    if (!array) Refuse(entry, "is not a list of codes");
    for (const toml::node& node : *array) {
      const MessageRow* row = FindRow(Text({entry.key, node, entry.given}));
      if (!row) Refuse(entry, "names a code that there is not");
      codes.push_back(row->code);
    }
  }
  void Take(Units&, const Entry&) const {}  // read before everything else
  void Take(std::optional<Units>& units, const Entry& entry) const {
    units = FileUnitsFromName(Text(entry));
    if (!units) Refuse(entry, "is not \"mm\", \"in\", \"cm\" or \"m\"");
  }
  void Take(std::optional<int>& machine, const Entry& entry) const {
    const std::string name = Text(entry);
    machine = FindMachineByName(name);
    if (!machine) {
      Refuse(entry.node.source(), "there is no machine '" + name + "'", DidYouMean(name, MachineNames()));
    }
  }
  void Take(std::vector<StyleRequest>& styles, const Entry& list) const {
    ForEachTable(list, [&](const toml::table& table) {
      StyleRequest style;
      for (const Entry& entry : EntriesOf(table)) {
        if (entry.key == "file" || entry.key == "file_bytes") {
          Take(style.path, entry);
        } else if (entry.key == "band") {
          const toml::array& ends = List(entry, 2);
          style.banded = true;
          Take(style.from, {entry.key, ends[0], entry.given});
          Take(style.to, {entry.key, ends[1], entry.given});
        } else if (entry.key == "damage") {
          style.damage = Text(entry);
        } else if (entry.key == "upgraded") {
          style.upgraded = Text(entry);
        } else {
          Unknown(entry, {"file", "band", "damage", "upgraded"});
        }
      }
      if (style.path.empty()) Refuse(table.source(), fmt::format("a {} without file", list.key));
      styles.push_back(style);
    });
  }
  void Take(std::vector<PartRequest>& parts, const Entry& list) const {
    ForEachTable(list, [&](const toml::table& table) {
      PartRequest& part = parts.emplace_back();
      for (const Entry& entry : EntriesOf(table)) Store(part, PartFields(), entry);
      if (part.path.empty()) Refuse(table.source(), "a part without file");
    });
  }

  // What else a job may hold, for messages about what it may not.
  static std::vector<std::string> ProcessKeys() {
    std::vector<std::string> keys{"schema"};
    for (const ProcessField& field : ProcessFields()) keys.emplace_back(field.key);
    return keys;
  }
  bool TakeProcess(MachineProcess& process, const Entry& entry) const {
    for (const ProcessField& field : ProcessFields()) {
      if (entry.key != field.key) continue;
      const std::optional<std::string> text = TextOrNumber(entry.node);
      if (!text) Refuse(entry, "is neither a text nor a number");
      try {
        StoreProcess(process, field, *text);
      } catch (const std::invalid_argument& error) {
        Refuse(entry.node.source(), entry.given + ": " + error.what());
      }
      return true;
    }
    return false;
  }

  // Stores what an entry holds in its field of a job or part; names that are no text stand under
  // "file_bytes".
  template <class Owner>
  void Store(Owner& owner, const std::vector<JobField<Owner>>& fields, const Entry& entry,
             std::vector<std::string> known = {}) const {
    for (const JobField<Owner>& field : fields) {
      if (entry.key != field.key && (entry.key != "file_bytes" || std::string(field.key) != "file")) continue;
      return std::visit(
          [&](const auto& member) {
            if constexpr (std::is_same_v<decltype(member), const WholeMember<Owner>&>) {
              const bool word = member.word && entry.node.is_string() && Text(entry) == member.word;
              owner.*member.member = word ? member.lowest - 1 : Whole(entry, member.lowest, member.highest);
            } else {
              Take(owner.*member, entry);
            }
          },
          field.member);
    }
    const std::vector<std::string> keys = FieldKeys(fields);
    known.insert(known.end(), keys.begin(), keys.end());
    Unknown(entry, known);
  }

  std::string path_;
  std::string folder_;
};

// A JSON string is a TOML string as well, but for one control character that TOML wants escaped.
std::string Quoted(const std::string& text) {
  std::string quoted = Json(text).dump();
  for (size_t at; (at = quoted.find('\x7f')) != std::string::npos;) quoted.replace(at, 1, "\\u007f");
  return quoted;
}

// Writes the fields of a job or part.
class Writer {
 public:
  explicit Writer(Units units) : units_(units) {}

  template <class Owner>
  std::string Fields(const Owner& owner, const std::vector<JobField<Owner>>& fields,
                     const std::string& more = "") {
    for (const JobField<Owner>& field : fields) {
      key_ = field.key;
      when_set_ = (field.use & JobField<Owner>::kWhenSet) != 0;
      // The tables of a part are named after the part as well.
      list_ = std::is_same_v<Owner, PartRequest> ? "part." + key_ : key_;
      std::visit(
          [&](const auto& member) {
            if constexpr (std::is_same_v<decltype(member), const WholeMember<Owner>&>) {
              if (when_set_ && owner.*member.member == Owner().*member.member) return;
              if (owner.*member.member >= member.lowest) {
                Line(fmt::format("{}", owner.*member.member));
              } else if (member.word) {
                Line(Quoted(member.word));
              }
            } else {
              Write(owner.*member);
            }
          },
          field.member);
    }
    return lines_ + more + tables_;
  }

 private:
  void Line(const std::string& value) { lines_ += fmt::format("{} = {}\n", key_, value); }
  std::string Text(const Length& length) const { return fmt::format("{}", length.In(units_, units_)); }
  static std::string FileLine(const std::string& path) {
    const Json name = TextToJson(path);
    return name.is_string() ? "file = " + Quoted(path) + "\n"
                            : "file_bytes = \"" + name["bytes"].get<std::string>() + "\"\n";
  }

  // One for each type of a field.
  void Write(bool flag) {
    if (flag || !when_set_) Line(fmt::format("{}", flag));
  }
  void Write(double number) { Line(fmt::format("{}", number)); }
  void Write(const std::string& file) { lines_ += FileLine(file); }
  void Write(const std::optional<Length>& length) {
    if (length) Line(Text(*length));
  }
  void Write(const std::array<Length, 3>& vat) {
    Line(fmt::format("[{}, {}, {}]", Text(vat[0]), Text(vat[1]), Text(vat[2])));
  }
  void Write(const std::optional<double>& number) {
    if (number) Write(*number);
  }
  void Write(const std::optional<std::array<Length, 2>>& at) {
    if (at) Line(fmt::format("[{}, {}]", Text((*at)[0]), Text((*at)[1])));
  }
  void Write(const Turns& turns) {
    if (turns.equal > 0) {
      Line(fmt::format("{}", turns.equal));
    } else if (turns.degrees == std::vector<double>{0}) {
      Line(Quoted("fixed"));
    } else if (turns.given()) {
      Line(fmt::format("[{}]", fmt::join(turns.degrees, ", ")));
    }
  }
  template <class Choice>
  std::enable_if_t<std::is_enum_v<Choice>> Write(Choice choice) {
    if (choice != Choice() || !when_set_) Line(Quoted(WordOf(choice)));
  }
  void Write(const std::vector<Code>& codes) {
    Json names = Json::array();
    for (const Code code : codes) names.push_back(RowOf(code).text);
    if (!codes.empty() || !when_set_) Line(names.dump());
  }
  void Write(Units units) { Line(Quoted(UnitsName(units))); }
  void Write(const std::optional<Units>& units) {
    if (units) Write(*units);
  }
  void Write(const std::optional<int>& machine) {
    if (machine) Line(Quoted(MachineName(*machine)));
  }
  void Write(const std::vector<StyleRequest>& styles) {
    for (const StyleRequest& style : styles) {
      tables_ += fmt::format("\n[[{}]]\n{}", list_, FileLine(style.path));
      if (!style.damage.empty()) tables_ += "damage = " + Quoted(style.damage) + "\n";
      if (!style.upgraded.empty()) tables_ += "upgraded = " + Quoted(style.upgraded) + "\n";
      if (style.banded) tables_ += fmt::format("band = [{}, {}]\n", Text(style.from), Text(style.to));
    }
  }
  void Write(const std::vector<PartRequest>& parts) {
    for (const PartRequest& part : parts) {
      tables_ += fmt::format("\n[[{}]]\n{}", key_, Writer(units_).Fields(part, PartFields()));
    }
  }

  Units units_;
  std::string key_, list_;  // of the field in hand
  bool when_set_ = false;
  std::string lines_;
  std::string tables_;  // stand after all other lines of their owner
};

}  // namespace

bool NamesJobFile(const std::string& path) {
  return path.size() > 5 && path.compare(path.size() - 5, 5, ".toml") == 0;
}

Job ReadJobFile(const std::string& path) { return Reader(path).Read(InputFile(path)); }

Job ReadJobFile(const HeldFolder& folder, const std::string& name) {
  return Reader(folder.PathOf(name)).Read(InputFile(folder, name));
}

std::string JobFileText(const Job& job) {
  std::string process;
  for (const ProcessField& field : ProcessFields()) {
    const auto value = ProcessText(job.process, field);
    const bool number =
        value && std::holds_alternative<std::optional<double> MachineProcess::*>(field.member);
    if (value) process += fmt::format("{} = {}\n", field.key, number ? *value : Quoted(*value));
  }
  return fmt::format("schema = \"{}\"\n", kJobSchema) + Writer(job.units).Fields(job, JobFields(), process);
}

}  // namespace trqprep
