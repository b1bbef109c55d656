#include "trqprep/style_document.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>

#include "trqprep/message.h"
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

const char* SweepListName(int list) {
  constexpr const char* kNames[kSweepLists] = {"sweeps", "primary", "secondary"};
  return kNames[list];
}

const char* SweepCountName(int list) {
  constexpr const char* kNames[kSweepLists] = {"Num Sweeps", "Num Tooling PrimarySweeps",
                                               "Num Tooling SecondarySweeps"};
  return kNames[list];
}

// --- Numbers and records ---------------------------------------------------------------------------------

Number::Number(float value) : is_float_(true) { std::memcpy(&bits_, &value, sizeof bits_); }
Number::Number(std::int32_t value) : bits_(static_cast<std::uint32_t>(value)) {}

float Number::AsFloat() const {
  float value;
  std::memcpy(&value, &bits_, sizeof value);
  return value;
}

double Number::Value() const { return is_float_ ? static_cast<double>(AsFloat()) : AsInt(); }

std::string Number::Text() const {
  if (!is_float_) return fmt::format("{}", AsInt());
  if (std::isfinite(AsFloat())) return fmt::format("{}", AsFloat());
  return NumberToJson(AsFloat()).get<std::string>();
}

Json Number::ToJson() const { return is_float_ ? NumberToJson(AsFloat()) : Json(AsInt()); }

std::optional<Number> Number::FromJson(const Json& json, bool is_float) {
  if (is_float) {
    const std::optional<float> value = FloatFromJson(json);
    if (!value) return std::nullopt;
    return Number(*value);
  }
  if (!json.is_number_integer()) return std::nullopt;
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > std::numeric_limits<std::int32_t>::max())
    return std::nullopt;
  const auto value = json.get<std::int64_t>();
  if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max())
    return std::nullopt;
  return Number(static_cast<std::int32_t>(value));
}

namespace {
constexpr std::int32_t kNoMinimum = trq::StyleParameterRecord<std::int32_t>::kNoMinimum;
constexpr std::int32_t kNoMaximum = trq::StyleParameterRecord<std::int32_t>::kNoMaximum;

std::string ListText(const std::vector<Number>& numbers) {
  std::string text;
  for (const Number& number : numbers) text += (text.empty() ? "" : ", ") + number.Text();
  return "{" + text + "}";
}

Json ListToJson(const std::vector<Number>& numbers) {
  Json array = Json::array();
  for (const Number& number : numbers) array.push_back(number.ToJson());
  return array;
}
}  // namespace

bool RecordValues::HasRange() const {
  return !(minimum.Value() == kNoMinimum && maximum.Value() == kNoMaximum);
}

void RecordValues::RemoveRange() {
  const bool is_float = value.is_float();
  minimum = is_float ? Number(static_cast<float>(kNoMinimum)) : Number(kNoMinimum);
  maximum = is_float ? Number(static_cast<float>(kNoMaximum)) : Number(kNoMaximum);
}

bool RecordValues::operator==(const RecordValues& other) const {
  return value == other.value && default_value == other.default_value && display == other.display &&
         edit == other.edit && range == other.range && minimum == other.minimum && maximum == other.maximum &&
         allowed == other.allowed;
}

std::vector<FieldDifference> Compare(const RecordValues& before, const RecordValues& after) {
  std::vector<FieldDifference> differences;
  const auto number = [&](const char* field, const Number& a, const Number& b) {
    if (a != b) differences.push_back({field, a.Text(), b.Text(), a.ToJson(), b.ToJson()});
  };
  number("value", before.value, after.value);
  number("default", before.default_value, after.default_value);
  number("display", Number(before.display), Number(after.display));
  number("edit", Number(before.edit), Number(after.edit));
  number("range", Number(before.range), Number(after.range));
  number("minimum", before.minimum, after.minimum);
  number("maximum", before.maximum, after.maximum);
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

void StyleDocument::CountSweeps(int list) {
  const auto length = static_cast<std::int32_t>(sweeps[static_cast<std::size_t>(list)].size());
  RecordValues& count = Find(SweepCountName(list))->record;
  count.value = Number(length);
  count.maximum = Number(length);
  if (count.minimum.AsInt() > length) count.minimum = Number(0);
  // A single allowed value is the value itself.
  if (count.allowed.size() == 1) count.allowed[0] = Number(length);
}

std::vector<StyleDifference> Compare(const StyleDocument& before, const StyleDocument& after) {
  std::vector<StyleDifference> differences;
  const auto add = [&](const std::string& name, std::vector<FieldDifference> fields) {
    if (!fields.empty()) differences.push_back({name, std::move(fields)});
  };
  for (std::size_t i = 0; i < before.parameters.size(); ++i) {
    add(before.parameters[i].name, Compare(before.parameters[i].record, after.parameters[i].record));
  }
  for (std::size_t i = 0; i < before.words.size(); ++i) {
    const Number& a = before.words[i].number;
    const Number& b = after.words[i].number;
    if (a != b) add(before.words[i].key, {{"value", a.Text(), b.Text(), a.ToJson(), b.ToJson()}});
  }
  for (std::size_t i = 0; i < before.texts.size(); ++i) {
    const std::string& a = before.texts[i].text;
    const std::string& b = after.texts[i].text;
    if (a != b) {
      add(before.texts[i].key,
          {{"text", "\"" + OneLine(a) + "\"", "\"" + OneLine(b) + "\"", TextToJson(a), TextToJson(b)}});
    }
  }
  for (std::size_t list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& a = before.sweeps[list];
    const std::vector<SweepValues>& b = after.sweeps[list];
    const char* name = SweepListName(static_cast<int>(list));
    if (a.size() != b.size()) {
      add(name, {{"length", fmt::format("{}", a.size()), fmt::format("{}", b.size()), a.size(), b.size()}});
    }
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
      add(fmt::format("{}[{}] gap", name, i + 1), Compare(a[i].gap, b[i].gap));
      add(fmt::format("{}[{}] velocity", name, i + 1), Compare(a[i].velocity, b[i].velocity));
    }
  }
  return differences;
}

// --- Names -----------------------------------------------------------------------------------------------

const char* StyleQuantityName(trq::StyleQuantity quantity) {
  constexpr const char* kNames[] = {
      // in the order of the enumeration
      "number", "flag", "version", "length", "length, kept", "angle", "power", "resin", "threshold"};
  return kNames[static_cast<std::size_t>(quantity)];
}

const char* StyleRegionName(trq::StyleRegion region) {
  constexpr const char* kNames[] = {// in the order of the enumeration
                                    "General",  "Small layer", "Small up",      "Small down", "Large layer",
                                    "Large up", "Large down",  "Scanning",      "QC",         "Compensation",
                                    "Resin",    "Tooling",     "Support",       "Power",      "Features",
                                    "Dip",      "Primary dip", "Secondary dip", "Sweeps",     "Unnamed"};
  return kNames[static_cast<std::size_t>(region)];
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

std::string RangeText(const RecordValues& record) {
  return record.HasRange() ? fmt::format("[{}, {}]", record.minimum.Text(), record.maximum.Text()) : "-";
}

std::string AllowedText(const RecordValues& record) {
  return record.allowed.empty() ? "any" : ListText(record.allowed);
}

std::string MachineName(std::int32_t type) {
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
    const std::string name = row.display_name;
    const bool same = std::equal(name.begin(), name.end(), text.begin(), text.end(), [](char a, char b) {
      return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
    if (same || text == std::to_string(static_cast<int>(row.type))) return row.type;
  }
  return std::nullopt;
}

// --- JSON ------------------------------------------------------------------------------------------------

Json RecordToJson(const RecordValues& record) {
  Json json;
  json["value"] = record.value.ToJson();
  json["default"] = record.default_value.ToJson();
  json["display"] = record.display;
  json["edit"] = record.edit;
  json["range"] = record.range;
  json["minimum"] = record.minimum.ToJson();
  json["maximum"] = record.maximum.ToJson();
  json["allowed"] = ListToJson(record.allowed);
  return json;
}

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
      Refuse(
          "schema",
          fmt::format("the document is no {} (its \"schema\" is not {})", StyleKindName(style_.kind), schema),
          "'export --to json' makes such a document");
    }
    AllowKeys(json, "", {"schema", "words", "texts", "parameters", "sweeps"});
    if (json.contains("words")) ReadWords(json["words"]);
    if (json.contains("texts")) ReadTexts(json["texts"]);
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
    if (!json.is_object()) Refuse(place, place + " is no JSON object");
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

  void ReadWords(const Json& json) {
    RequireObject(json, "words");
    for (const auto& [key, value] : json.items()) {
      StyleWord* word = style_.FindWord(key);
      if (!word) AllowKeys(json, "words", KeysOf(style_.words));
      const auto number = Number::FromJson(value, word->number.is_float());
      if (!number) Refuse("words/" + key, fmt::format("'{}' is {}", key, Wanted(word->number)));
      word->number = *number;
    }
  }

  void ReadTexts(const Json& json) {
    RequireObject(json, "texts");
    for (const auto& [key, value] : json.items()) {
      StyleText* text = style_.FindText(key);
      if (!text) AllowKeys(json, "texts", KeysOf(style_.texts));
      const auto bytes = TextFromJson(value);
      if (!bytes)
        Refuse("texts/" + key, fmt::format("'{}' is neither a text nor {{\"bytes\":\"hex\"}}", key));
      text->text = *bytes;
    }
  }

  void ReadParameters(const Json& json, std::set<std::string>& given) {
    if (!json.is_array()) Refuse("parameters", "\"parameters\" is no list");
    for (const Json& entry : json) {
      RequireObject(entry, "an entry of \"parameters\"");
      if (!entry.contains("name") || !entry["name"].is_string()) {
        Refuse("parameters", "an entry of \"parameters\" has no name");
      }
      const auto name = entry["name"].get<std::string>();
      StyleParameter* parameter = style_.Find(name);
      if (!parameter) {
        std::vector<std::string> names;
        for (const StyleParameter& known : style_.parameters) names.push_back(known.name);
        Refuse("parameters", fmt::format("there is no parameter '{}'", OneLine(name)),
               DidYouMean(name, names));
      }
      if (!given.insert(name).second) Refuse(name, fmt::format("'{}' is given twice", name));
      ReadRecord(entry, name, parameter->record, {"name", "named", "region", "type", "unit"});
    }
  }

  void ReadRecord(const Json& json, const std::string& name, RecordValues& record,
                  std::vector<std::string> further_keys) {
    RequireObject(json, name);
    std::vector<std::string> keys = {"value", "default", "display", "edit",
                                     "range", "minimum", "maximum", "allowed"};
    keys.insert(keys.end(), further_keys.begin(), further_keys.end());
    AllowKeys(json, name, keys);
    const auto number = [&](const char* key, Number& target) {
      if (!json.contains(key)) return;
      const auto read = Number::FromJson(json[key], target.is_float());
      if (!read) Refuse(name, fmt::format("\"{}\" of '{}' is {}", key, name, Wanted(target)));
      target = *read;
    };
    number("value", record.value);
    number("default", record.default_value);
    number("minimum", record.minimum);
    number("maximum", record.maximum);
    const auto flag = [&](const char* key, std::int32_t& target) {
      Number read(target);
      number(key, read);
      target = read.AsInt();
    };
    flag("display", record.display);
    flag("edit", record.edit);
    flag("range", record.range);
    if (!json.contains("allowed")) return;
    if (!json["allowed"].is_array()) Refuse(name, fmt::format("\"allowed\" of '{}' is no list", name));
    record.allowed.clear();
    for (const Json& entry : json["allowed"]) {
      const auto read = Number::FromJson(entry, record.value.is_float());
      if (!read) Refuse(name, fmt::format("an allowed value of '{}' is {}", name, Wanted(record.value)));
      record.allowed.push_back(*read);
    }
  }

  void ReadSweeps(const Json& json) {
    RequireObject(json, "sweeps");
    AllowKeys(json, "sweeps", {SweepListName(0), SweepListName(1), SweepListName(2)});
    for (int list = 0; list < kSweepLists; ++list) {
      if (!json.contains(SweepListName(list))) continue;
      const Json& entries = json[SweepListName(list)];
      if (!entries.is_array()) Refuse("sweeps", "a sweep list is no list");
      for (const Json& entry : entries) {
        RequireObject(entry, "a sweep");
        AllowKeys(entry, "a sweep", {"gap", "velocity"});
        SweepValues sweep = NewSweep();
        if (entry.contains("gap")) ReadRecord(entry["gap"], "gap", sweep.gap, {});
        if (entry.contains("velocity")) ReadRecord(entry["velocity"], "velocity", sweep.velocity, {});
        style_.sweeps[static_cast<std::size_t>(list)].push_back(sweep);
      }
    }
  }

  template <class List>
  static std::vector<std::string> KeysOf(const List& list) {
    std::vector<std::string> keys;
    for (const auto& entry : list) keys.push_back(entry.key);
    return keys;
  }

  static const char* Wanted(const Number& number) {
    return number.is_float() ? "no number that fits 32-bit floating point"
                             : "no whole number from -2147483648 to 2147483647";
  }

  const std::string& path_;
  StyleDocument& style_;
};

}  // namespace

SweepValues NewSweep() {
  SweepValues sweep;
  for (RecordValues* record : {&sweep.gap, &sweep.velocity}) {
    record->value = record->default_value = Number(0.0f);
    record->RemoveRange();
  }
  return sweep;
}

Json StyleToJson(const StyleDocument& style) {
  Json json;
  json["schema"] = SchemaOf(style.kind);
  for (const StyleWord& word : style.words) json["words"][word.key] = word.number.ToJson();
  for (const StyleText& text : style.texts) json["texts"][text.key] = TextToJson(text.text);
  json["parameters"] = Json::array();
  for (const StyleParameter& parameter : style.parameters) {
    json["parameters"].push_back(ParameterToJson(parameter));
  }
  if (style.kind == StyleKind::kRecoat) {
    for (int list = 0; list < kSweepLists; ++list) {
      Json& sweeps = json["sweeps"][SweepListName(list)] = Json::array();
      for (const SweepValues& sweep : style.sweeps[static_cast<std::size_t>(list)]) {
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
  std::string allowed;
  for (const Number& number : record.allowed) allowed += (allowed.empty() ? "" : " ") + number.Text();
  return fmt::format("{},{},{},{},{},{},{},{},{},{},{},{}\n", CsvField(name), region,
                     record.value.is_float() ? "float" : "int", CsvField(unit), record.value.Text(),
                     record.default_value.Text(), record.display, record.edit, record.range,
                     record.minimum.Text(), record.maximum.Text(), allowed);
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
  for (int list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& sweeps = style.sweeps[static_cast<std::size_t>(list)];
    for (std::size_t i = 0; i < sweeps.size(); ++i) {
      const std::string name = fmt::format("{}[{}] ", SweepListName(list), i + 1);
      out += CsvRecord(name + "gap", "Sweeps", "percent", sweeps[i].gap);
      out += CsvRecord(name + "velocity", "Sweeps", "length", sweeps[i].velocity);
    }
  }
  return out;
}

}  // namespace trqprep
