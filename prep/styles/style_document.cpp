#include "trqprep/style_document.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>

#include "trqprep/message.h"
#include "trqprep/paths.h"
#include "trqprep/suggestions.h"

namespace trqprep {

const char* StyleCommand(StyleKind kind) { return kind == StyleKind::kBuild ? "style" : "recoat"; }
const char* StyleKindName(StyleKind kind) {
  return kind == StyleKind::kBuild ? "build style" : "recoat style";
}

const char* StyleLayoutName(StyleLayout layout) {
  switch (layout) {
    case StyleLayout::k301:
      return "301";
    case StyleLayout::k206:
      return "206";
    default:
      return "legacy";
  }
}

const char* SweepListName(size_t list) {
  constexpr const char* kNames[kSweepLists] = {"sweeps", "primary", "secondary"};
  return kNames[list];
}

const char* SweepCountName(size_t list) {
  constexpr const char* kNames[kSweepLists] = {"Num Sweeps", "Num Tooling PrimarySweeps",
                                               "Num Tooling SecondarySweeps"};
  return kNames[list];
}

// --- Numbers and records ---------------------------------------------------------------------------------

Number::Number(float value) : is_float_(true) { std::memcpy(&bits_, &value, sizeof bits_); }
Number::Number(int32_t value) { std::memcpy(&bits_, &value, sizeof bits_); }

double Number::Value() const { return is_float_ ? double(AsFloat()) : AsInt(); }

std::string Number::Text() const {
  if (!is_float_) return fmt::format("{}", AsInt());
  if (std::isfinite(AsFloat())) return fmt::format("{}", AsFloat());
  return NumberToJson(AsFloat()).get<std::string>();
}

Number::operator Json() const { return is_float_ ? NumberToJson(AsFloat()) : Json(AsInt()); }

std::optional<Number> Number::FromJson(const Json& json, bool is_float) {
  if (is_float) {
    const std::optional<float> value = FloatFromJson(json);
    return value ? std::optional<Number>(*value) : std::nullopt;
  }
  if (!json.is_number_integer()) return std::nullopt;
  const auto value = json.get<double>();  // exact near the limits
  if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max())
    return std::nullopt;
  return int32_t(value);
}

namespace {
constexpr int32_t kNoMinimum = trq::StyleParameterRecord<int32_t>::kNoMinimum;
constexpr int32_t kNoMaximum = trq::StyleParameterRecord<int32_t>::kNoMaximum;

/// The fields of a record but its allowed values, in the order in which they are written.
constexpr struct RecordField {
  const char* name;
  Number RecordValues::*number;
} kRecordFields[] = {
    {"value", &RecordValues::value},     {"default", &RecordValues::default_value},
    {"display", &RecordValues::display}, {"edit", &RecordValues::edit},
    {"range", &RecordValues::range},     {"minimum", &RecordValues::minimum},
    {"maximum", &RecordValues::maximum},
};

std::string Join(const std::vector<Number>& numbers, const char* between) {
  std::string text;
  for (const Number& number : numbers) text += (text.empty() ? "" : between) + number.Text();
  return text;
}

// Longer lists are not told in full, and for documents they are made as they are written.
constexpr size_t kShortList = 100;

std::string ListText(const std::vector<Number>& numbers) {
  if (numbers.size() <= kShortList) return "{" + Join(numbers, ", ") + "}";
  return fmt::format("{{{}, and {} more}}", Join({numbers.begin(), numbers.begin() + kShortList}, ", "),
                     numbers.size() - kShortList);
}

Json ListToJson(const std::vector<Number>& numbers) {
  if (numbers.size() <= kShortList) return numbers;
  return Json::Rows(numbers.size(), [numbers](size_t i) { return Json(numbers[i]); });
}

FieldDifference Difference(const char* field, const Number& before, const Number& after) {
  return {field, before.Text(), after.Text(), before, after};
}
}  // namespace

bool RecordValues::HasRange() const {
  return !(minimum.Value() == kNoMinimum && maximum.Value() == kNoMaximum);
}

void RecordValues::RemoveRange() {
  const bool is_float = value.is_float();
  minimum = is_float ? Number(float(kNoMinimum)) : kNoMinimum;
  maximum = is_float ? Number(float(kNoMaximum)) : kNoMaximum;
}

std::vector<FieldDifference> Compare(const RecordValues& before, const RecordValues& after) {
  std::vector<FieldDifference> differences;
  for (const RecordField& field : kRecordFields) {
    const Number& a = before.*field.number;
    const Number& b = after.*field.number;
    if (a != b) differences.push_back(Difference(field.name, a, b));
  }
  if (before.allowed != after.allowed) {
    differences.push_back({"allowed", ListText(before.allowed), ListText(after.allowed),
                           ListToJson(before.allowed), ListToJson(after.allowed)});
  }
  return differences;
}

// --- Documents -------------------------------------------------------------------------------------------

namespace {
template <class List, class Key>
auto* FindIn(List& list, std::string_view wanted, Key key) {
  const auto found = std::find_if(list.begin(), list.end(), [&](const auto& x) { return x.*key == wanted; });
  return found == list.end() ? nullptr : &*found;
}

template <class List, class Key>
std::vector<std::string> NamesOf(const List& list, Key key) {
  std::vector<std::string> names;
  for (const auto& entry : list) names.push_back(entry.*key);
  return names;
}
}  // namespace

StyleParameter* StyleDocument::Find(std::string_view name) {
  return FindIn(parameters, name, &StyleParameter::name);
}
const StyleParameter* StyleDocument::Find(std::string_view name) const {
  return FindIn(parameters, name, &StyleParameter::name);
}
StyleWord* StyleDocument::FindWord(std::string_view key) { return FindIn(words, key, &StyleWord::key); }
const StyleWord* StyleDocument::FindWord(std::string_view key) const {
  return FindIn(words, key, &StyleWord::key);
}
StyleText* StyleDocument::FindText(std::string_view key) { return FindIn(texts, key, &StyleText::key); }
const StyleText* StyleDocument::FindText(std::string_view key) const {
  return FindIn(texts, key, &StyleText::key);
}

void StyleDocument::CountSweeps(size_t list) {
  const auto length = int32_t(sweeps[list].size());
  RecordValues& count = Find(SweepCountName(list))->record;
  count.value = count.maximum = length;
  if (count.minimum.AsInt() > length) count.minimum = 0;
  // A single allowed value is the value itself.
  if (count.allowed.size() == 1) count.allowed[0] = length;
}

std::vector<StyleDifference> Compare(const StyleDocument& before, const StyleDocument& after) {
  std::vector<StyleDifference> differences;
  const auto add = [&](const std::string& name, std::vector<FieldDifference> fields) {
    if (!fields.empty()) differences.push_back({name, std::move(fields)});
  };
  for (size_t i = 0; i < before.parameters.size(); ++i) {
    add(before.parameters[i].name, Compare(before.parameters[i].record, after.parameters[i].record));
  }
  for (size_t i = 0; i < before.words.size(); ++i) {
    const Number& a = before.words[i].number;
    const Number& b = after.words[i].number;
    if (a != b) add(before.words[i].key, {Difference("value", a, b)});
  }
  for (size_t i = 0; i < before.texts.size(); ++i) {
    const std::string& a = before.texts[i].text;
    const std::string& b = after.texts[i].text;
    if (a != b) {
      add(before.texts[i].key,
          {{"text", "\"" + OneLine(a) + "\"", "\"" + OneLine(b) + "\"", TextToJson(a), TextToJson(b)}});
    }
  }
  for (size_t list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& a = before.sweeps[list];
    const std::vector<SweepValues>& b = after.sweeps[list];
    const char* name = SweepListName(list);
    if (a.size() != b.size()) {
      add(name, {{"length", fmt::format("{}", a.size()), fmt::format("{}", b.size()), a.size(), b.size()}});
    }
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
      const std::string sweep = fmt::format("{}[{}] ", name, i + 1);
      add(sweep + "gap", Compare(a[i].gap, b[i].gap));
      add(sweep + "velocity", Compare(a[i].velocity, b[i].velocity));
    }
  }
  return differences;
}

// --- Names -----------------------------------------------------------------------------------------------

const char* StyleQuantityName(trq::StyleQuantity quantity) {
  constexpr const char* kNames[] = {
      // in the order of the enumeration
      "number", "flag", "version", "length", "length, kept", "angle", "power", "resin", "threshold"};
  return kNames[size_t(quantity)];
}

const char* StyleRegionName(trq::StyleRegion region) {
  constexpr const char* kNames[] = {// in the order of the enumeration
                                    "General",  "Small layer", "Small up",      "Small down", "Large layer",
                                    "Large up", "Large down",  "Scanning",      "QC",         "Compensation",
                                    "Resin",    "Tooling",     "Support",       "Power",      "Features",
                                    "Dip",      "Primary dip", "Secondary dip", "Sweeps",     "Unnamed"};
  return kNames[size_t(region)];
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

std::string RangeText(const RecordValues& record) {
  return record.HasRange() ? fmt::format("[{}, {}]", record.minimum.Text(), record.maximum.Text()) : "-";
}

std::string AllowedText(const RecordValues& record) {
  return record.allowed.empty() ? "any" : ListText(record.allowed);
}

std::string MachineName(int32_t type) {
  const trq::MachineTypeRow* row = trq::FindMachineType(type);
  return row ? row->display_name : trq::kUnknownMachineName;
}

std::vector<std::string> MachineNames() {
  std::vector<std::string> names;
  for (const trq::MachineTypeRow& row : trq::kMachineTypes) names.push_back(row.display_name);
  return names;
}

std::optional<int> FindMachineByName(const std::string& text) {
  for (const trq::MachineTypeRow& row : trq::kMachineTypes) {
    if (Lower(row.display_name) == Lower(text) || text == std::to_string(int(row.type))) {
      return row.type;
    }
  }
  return std::nullopt;
}

int MachineByName(const std::string& text, const std::vector<std::string>& others) {
  if (const auto type = FindMachineByName(text)) return *type;
  std::vector<std::string> names = MachineNames();
  names.insert(names.end(), others.begin(), others.end());
  Fail(
      ExitCode::kUsage,
      Message(Code::kMachineUnknown, "", "there is no machine '" + text + "'").Hint(DidYouMean(text, names)));
}

// --- JSON ------------------------------------------------------------------------------------------------

namespace {
Json RecordToJson(const RecordValues& record) {
  Json json;
  for (const RecordField& field : kRecordFields) json[field.name] = record.*field.number;
  json["allowed"] = ListToJson(record.allowed);
  return json;
}
}  // namespace

Json ParameterToJson(const StyleParameter& parameter) {
  Json json;
  json["name"] = parameter.name;
  json["named"] = parameter.named;
  json["region"] = StyleRegionName(parameter.region);
  json["type"] = parameter.record.value.is_float() ? "float" : "int";
  json["unit"] = StyleQuantityName(parameter.quantity);
  json.update(RecordToJson(parameter.record));
  return json;
}

namespace {

std::string SchemaOf(StyleKind kind) {
  return kind == StyleKind::kBuild ? "trqprep.build-style/1" : "trqprep.recoat-style/1";
}

/// Reads the parts of a style document and says where in it something is wrong.
class StyleJsonReader {
 public:
  StyleJsonReader(const std::string& path, StyleDocument& style) : path_(path), style_(style) {}

  std::vector<std::string> Read(const Json& json) {
    RequireObject(json, "the document");
    const std::string schema = SchemaOf(style_.kind);
    if (!json.contains("schema") || json["schema"] != schema) {
      Refuse("schema",
             fmt::format("the document is not a {} (its \"schema\" is not {})", StyleKindName(style_.kind),
                         schema),
             "'export --to json' makes such a document");
    }
    AllowKeys(json, "", {"schema", "words", "texts", "parameters", "sweeps"});
    if (json.contains("words")) {
      ReadEntries(json["words"], "words", style_.words, [&](StyleWord& word, auto& key, const Json& value) {
        TakeNumber(value, "words/" + key, "'" + key + "'", word.number);
      });
    }
    if (json.contains("texts")) {
      ReadEntries(json["texts"], "texts", style_.texts, [&](StyleText& text, auto& key, const Json& value) {
        const auto bytes = TextFromJson(value);
        if (!bytes) Refuse("texts/" + key, "'" + key + "' is neither a text nor {\"bytes\":\"hex\"}");
        text.text = *bytes;
      });
    }
    std::set<std::string> given;
    if (json.contains("parameters")) ReadParameters(json["parameters"], given);
    if (json.contains("sweeps")) ReadSweeps(json["sweeps"]);
    std::vector<std::string> missing;
    for (const StyleParameter& parameter : style_.parameters) {
      if (given.count(parameter.name) == 0) missing.push_back(parameter.name);
    }
    return missing;
  }

 private:
  [[noreturn]] void Refuse(const std::string& place, const std::string& text,
                           const std::string& hint = "") const {
    Fail(ExitCode::kInput,
         Message(Code::kStyleJson, path_, text).Hint(hint).At({{"place", TextToJson(place)}}));
  }

  void RequireObject(const Json& json, const std::string& place) const {
    if (!json.is_object()) Refuse(place, place + " is not a JSON object");
  }

  void AllowKeys(const Json& json, const std::string& place, const std::vector<std::string>& allowed) const {
    for (const auto& [key, value] : json.items()) {
      if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
        Refuse(place + key,
               fmt::format("there is no entry '{}'{}", OneLine(key), place.empty() ? "" : " in " + place),
               DidYouMean(key, allowed));
      }
    }
  }

  /// Calls `take(entry, key, value)` with the entry of `list` that each key of the object means.
  template <class List, class Take>
  void ReadEntries(const Json& json, const std::string& place, List& list, Take take) const {
    RequireObject(json, place);
    for (const auto& [key, value] : json.items()) {
      auto* entry = FindIn(list, key, &List::value_type::key);
      if (!entry) AllowKeys(json, place, NamesOf(list, &List::value_type::key));
      take(*entry, key, value);
    }
  }

  void TakeNumber(const Json& json, const std::string& place, const std::string& what, Number& number) const {
    const auto read = Number::FromJson(json, number.is_float());
    if (!read) {
      Refuse(place, what + (number.is_float() ? " is not a number that fits 32-bit floating point"
                                              : " is not a whole number from -2147483648 to 2147483647"));
    }
    number = *read;
  }

  void ReadParameters(const Json& json, std::set<std::string>& given) {
    if (!json.is_array()) Refuse("parameters", "\"parameters\" is not a list");
    for (const Json& entry : json) {
      RequireObject(entry, "an entry of \"parameters\"");
      if (!entry.contains("name") || !entry["name"].is_string()) {
        Refuse("parameters", "an entry of \"parameters\" has no name");
      }
      const auto name = entry["name"].get<std::string>();
      StyleParameter* parameter = style_.Find(name);
      if (!parameter) {
        Refuse("parameters", fmt::format("there is no parameter '{}'", OneLine(name)),
               DidYouMean(name, NamesOf(style_.parameters, &StyleParameter::name)));
      }
      if (!given.insert(name).second) Refuse(name, fmt::format("'{}' is given twice", name));
      ReadRecord(entry, name, parameter->record, {"name", "named", "region", "type", "unit"});
    }
  }

  void ReadRecord(const Json& json, const std::string& name, RecordValues& record,
                  std::vector<std::string> further_keys) {
    RequireObject(json, name);
    std::vector<std::string> keys;
    for (const RecordField& field : kRecordFields) keys.push_back(field.name);
    keys.push_back("allowed");
    keys.insert(keys.end(), further_keys.begin(), further_keys.end());
    AllowKeys(json, name, keys);
    for (const int i : {0, 1, 5, 6, 2, 3, 4}) {  // the flags last
      const RecordField& field = kRecordFields[i];
      if (!json.contains(field.name)) continue;
      TakeNumber(json[field.name], name, fmt::format("\"{}\" of '{}'", field.name, name),
                 record.*field.number);
    }
    if (!json.contains("allowed")) return;
    if (!json["allowed"].is_array()) Refuse(name, fmt::format("\"allowed\" of '{}' is not a list", name));
    record.allowed.clear();
    for (const Json& entry : json["allowed"]) {
      TakeNumber(entry, name, fmt::format("an allowed value of '{}'", name),
                 record.allowed.emplace_back(record.value));
    }
  }

  void ReadSweeps(const Json& json) {
    RequireObject(json, "sweeps");
    AllowKeys(json, "sweeps", {SweepListName(0), SweepListName(1), SweepListName(2)});
    for (size_t list = 0; list < kSweepLists; ++list) {
      if (!json.contains(SweepListName(list))) continue;
      const Json& entries = json[SweepListName(list)];
      if (!entries.is_array()) Refuse("sweeps", "a sweep list is not a list");
      for (const Json& entry : entries) {
        RequireObject(entry, "a sweep");
        AllowKeys(entry, "a sweep", {"gap", "velocity"});
        SweepValues sweep = NewSweep();
        if (entry.contains("gap")) ReadRecord(entry["gap"], "gap", sweep.gap, {});
        if (entry.contains("velocity")) ReadRecord(entry["velocity"], "velocity", sweep.velocity, {});
        style_.sweeps[list].push_back(sweep);
      }
    }
  }

  const std::string& path_;
  StyleDocument& style_;
};

}  // namespace

SweepValues NewSweep() {
  RecordValues blank;
  blank.value = blank.default_value = 0.0f;
  blank.RemoveRange();
  return {blank, blank};
}

Json StyleToJson(const StyleDocument& style) {
  Json json;
  json["schema"] = SchemaOf(style.kind);
  for (const StyleWord& word : style.words) json["words"][word.key] = word.number;
  for (const StyleText& text : style.texts) json["texts"][text.key] = TextToJson(text.text);
  json["parameters"] = Json::array();
  for (const StyleParameter& parameter : style.parameters) {
    json["parameters"].push_back(ParameterToJson(parameter));
  }
  if (style.kind == StyleKind::kRecoat) {
    for (size_t list = 0; list < kSweepLists; ++list) {
      Json& sweeps = json["sweeps"][SweepListName(list)] = Json::array();
      for (const SweepValues& sweep : style.sweeps[list]) {
        sweeps.push_back({{"gap", RecordToJson(sweep.gap)}, {"velocity", RecordToJson(sweep.velocity)}});
      }
    }
  }
  return json;
}

std::vector<std::string> StyleFromJson(const std::string& path, const Json& json, StyleDocument& style) {
  return StyleJsonReader(path, style).Read(json);
}

// --- Tidy table ------------------------------------------------------------------------------------------

namespace {

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string CsvRecord(const std::string& name, const char* region, const char* unit,
                      const RecordValues& record) {
  std::string line = fmt::format("{},{},{},{}", CsvField(name), region,
                                 record.value.is_float() ? "float" : "int", CsvField(unit));
  for (const RecordField& field : kRecordFields) line += "," + (record.*field.number).Text();
  return line + "," + Join(record.allowed, " ") + "\n";
}

}  // namespace

std::string StyleToTidyCsv(const StyleDocument& style) {
  std::string out = "name,region,type,unit,value,default,display,edit,range,minimum,maximum,allowed\n";
  for (const StyleWord& word : style.words) {
    out += fmt::format("{},File,{},,{},,,,,,,\n", word.key, word.number.is_float() ? "float" : "int",
                       word.number.Text());
  }
  for (const StyleText& text : style.texts) {
    const Json json = TextToJson(text.text);
    // A text with a NUL in it would end many readers' lines.
    const bool plain = json.is_string() && text.text.find('\0') == std::string::npos;
    out += fmt::format("{},File,{},,{},,,,,,,\n", text.key, plain ? "text" : "bytes",
                       plain ? CsvField(text.text) : ToHex(text.text));
  }
  for (const StyleParameter& parameter : style.parameters) {
    out += CsvRecord(parameter.name, StyleRegionName(parameter.region), StyleQuantityName(parameter.quantity),
                     parameter.record);
  }
  for (size_t list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& sweeps = style.sweeps[list];
    for (size_t i = 0; i < sweeps.size(); ++i) {
      const std::string name = fmt::format("{}[{}] ", SweepListName(list), i + 1);
      out += CsvRecord(name + "gap", "Sweeps", "percent", sweeps[i].gap);
      out += CsvRecord(name + "velocity", "Sweeps", "length", sweeps[i].velocity);
    }
  }
  return out;
}

Json DifferencesToJson(const std::vector<StyleDifference>& differences) {
  Json list = Json::array();
  for (const StyleDifference& difference : differences) {
    Json entry{{"name", difference.name}};
    for (const FieldDifference& field : difference.fields) {
      entry["fields"][field.field] = {{"before", field.before_json}, {"after", field.after_json}};
    }
    list.push_back(entry);
  }
  return list;
}

}  // namespace trqprep
