#include "trqprep/job_file.h"

#include <fmt/format.h>

#include <stdexcept>

#include "file_kinds.h"
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
    const std::string text = ReadStyleBytes(path_);
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
    for (const auto& [key_node, node] : document) ReadEntry(job, std::string(key_node.str()), node);
    if (job.parts.empty()) {
      Fail(ExitCode::kInput,
           Message("JOB-FILE", path_, "names no part").Hint("write [[part]] and file = \"...\""));
    }
    return job;
  }

 private:
  [[noreturn]] void Refuse(const toml::source_region& where, const std::string& text,
                           const std::string& hint = "") const {
    Fail(ExitCode::kInput, Message("JOB-FILE", path_, fmt::format("line {}: {}", where.begin.line, text))
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

  void ReadEntry(Job& job, const std::string& key, const toml::node& node) {
    if (key == "schema") {
      if (Text(key, node) != kJobSchema)
        Refuse(node.source(), fmt::format("schema is not \"{}\"", kJobSchema));
    } else if (key == "units") {
      // Read before everything else.
    } else if (key == "machine") {
      const std::string name = Text(key, node);
      job.machine = FindMachineByName(name);
      if (!job.machine) {
        Refuse(node.source(), "there is no machine '" + name + "'", DidYouMean(name, MachineNames()));
      }
    } else if (key == "vat") {
      if (node.is_string()) {
        try {
          job.vat = ParseVat(Text(key, node));
        } catch (const std::invalid_argument& error) {
          Refuse(node.source(), error.what());
        }
      } else {
        const toml::array& sides = List(key, node, 3);
        for (std::size_t i = 0; i < 3; ++i) {
          job.vat[i] = LengthOf(key, sides[i]);
          if (!(job.vat[i].value > 0)) Refuse(node.source(), "a side of the vat is not above 0");
        }
      }
    } else if (key == "rotations") {
      job.rotations = Whole(key, node, 1, 24);
    } else if (key == "seed") {
      job.seed = Whole(key, node, 0, 4294967295);
    } else if (key == "drop") {
      job.drop = Flag(key, node);
    } else if (key == "accept_partial") {
      job.accept_partial = Flag(key, node);
    } else if (key == "force_checks") {
      job.force_checks = Flag(key, node);
    } else if (key == "z_spacing") {
      job.z_spacing = LengthOf(key, node);
    } else if (key == "style" || key == "recoat") {
      ReadStyles(key, node, key == "style" ? job.styles : job.recoats);
    } else if (key == "part") {
      for (const toml::node& entry : List(key, node, 0)) job.parts.push_back(ReadPart(Table(key, entry)));
    } else {
      Unknown(node, key,
              {"schema", "units", "machine", "vat", "rotations", "seed", "drop", "accept_partial",
               "force_checks", "z_spacing", "style", "recoat", "part"});
    }
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
      if (key == "file" || key == "file_bytes") {
        part.path = FileName(key, node);
      } else if (key == "copies") {
        part.copies = Whole(key, node, 1, 1000);
      } else if (key == "rotate_z") {
        part.rotate_z = Number(key, node);
      } else if (key == "style") {
        ReadStyles(key, node, part.styles);
      } else {
        Unknown(node, key, {"file", "copies", "rotate_z", "style"});
      }
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

bool IsJobFile(const FileHead& file) {
  return !file.is_folder && NamesJobFile(file.path) &&
         (file.head.find(kJobSchema) != std::string::npos || file.head.find("[[part]]") != std::string::npos);
}

void DescribeJob(Context& context, const FileHead& file, Json& data) {
  const Job job = ReadJobFile(file.path);
  std::int64_t pieces = 0;
  for (const PartRequest& part : job.parts) pieces += part.copies;
  data["units"] = UnitsName(job.units);
  data["machine"] = job.machine ? Json(MachineName(*job.machine)) : Json(nullptr);
  data["vat"] = NumbersToJson(job.VatIn(job.units));
  data["parts"] = job.parts.size();
  data["pieces"] = pieces;
  data["styles"] = job.styles.size();
  data["recoats"] = job.recoats.size();
  context.Print("{}: job file, {} pieces of {} parts\n  vat       {}\n", OneLine(file.path), pieces,
                job.parts.size(), SizeInBoth(job.VatIn(job.units), job.units));
  if (job.machine) context.Print("  machine   {}\n", MachineName(*job.machine));
  for (const PartRequest& part : job.parts) context.Print("  {} of {}\n", part.copies, OneLine(part.path));
}

const FileKindRegistration kJobKind(6, {"job", IsJobFile, DescribeJob});

}  // namespace

bool NamesJobFile(const std::string& path) {
  return path.size() > 5 && path.compare(path.size() - 5, 5, ".toml") == 0;
}

Job ReadJobFile(const std::string& path) { return Reader(path).Read(); }

std::string JobFileText(const Job& job) {
  const std::array<double, 3> vat = job.VatIn(job.units);
  std::string text = fmt::format("schema = \"{}\"\nunits = \"{}\"\n", kJobSchema, UnitsName(job.units));
  if (job.machine) text += "machine = " + Quoted(MachineName(*job.machine)) + "\n";
  text += fmt::format("vat = [{}, {}, {}]\nrotations = {}\nseed = {}\ndrop = {}\n", NumberText(vat[0]),
                      NumberText(vat[1]), NumberText(vat[2]), job.rotations, job.seed, job.drop);
  if (job.accept_partial) text += "accept_partial = true\n";
  if (job.force_checks) text += "force_checks = true\n";
  if (job.z_spacing) text += "z_spacing = " + LengthText(*job.z_spacing, job.units) + "\n";
  text += StyleEntries("style", job.styles, job.units);
  text += StyleEntries("recoat", job.recoats, job.units);
  for (const PartRequest& part : job.parts) {
    text += fmt::format("\n[[part]]\n{}copies = {}\nrotate_z = {}\n", FileEntry(part.path), part.copies,
                        NumberText(part.rotate_z));
    text += StyleEntries("part.style", part.styles, job.units);
  }
  return text;
}

}  // namespace trqprep
