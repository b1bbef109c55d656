#include "trqprep/style_edits.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "trqprep/check_styles.h"

namespace trqprep {
namespace {

constexpr const char* kForceValue = "--force-value writes it all the same";

Refusal WhyRefused(const RecordValues& record, const Number& value) {
  // With a single allowed value the library lets the value change within the range, and the list follows.
  if (record.allowed.size() >= 2) {
    const bool listed = std::any_of(record.allowed.begin(), record.allowed.end(),
                                    [&](const Number& allowed) { return allowed.Value() == value.Value(); });
    if (!listed)
      return {fmt::format("{} is none of the allowed values {}", value.Text(), AllowedText(record)),
              kForceValue};
    return {};
  }
  if (record.HasRange() && record.range != 0 &&
      (value.Value() < record.minimum.Value() || value.Value() > record.maximum.Value())) {
    return {fmt::format("{} is outside the range {}", value.Text(), RangeText(record)), kForceValue};
  }
  return {};
}

}  // namespace

Message Refusal::Of(Code code, const std::string& file, const std::string& parameter) const {
  return Message(code, file, parameter + ": " + text).Hint(hint).At({{"parameter", parameter}});
}

Refusal WhyFixed(const StyleDocument& style, size_t index) {
  const StyleParameter& parameter = style.parameters[index];
  if (parameter.name == "Version") return {"the version follows the file's layout", ""};
  if (style.kind == StyleKind::kBuild && parameter.name == "QC Min Large Thick Skin Width") {
    return {"the file stores \"Shelling Thickness\" in this parameter's place",
            "set \"Shelling Thickness\": both then have its value"};
  }
  for (size_t list = 0; list < kSweepLists && style.kind == StyleKind::kRecoat; ++list) {
    if (parameter.name == SweepCountName(list)) {
      return {
          "this parameter counts the sweeps",
          fmt::format("'trqprep recoat sweeps FILE --list {}' adds and removes them", SweepListName(list))};
    }
  }
  if (!IsStored(style, index)) {
    const std::string layout = StyleLayoutName(style.layout);
    return {fmt::format("the file's {} layout does not store it", layout),
            style.layout == StyleLayout::k206
                ? fmt::format("'trqprep {} upgrade' makes a 301 file of it", StyleCommand(style.kind))
                : ""};
  }
  return {};
}

void FollowSharedPlace(StyleDocument& style) {
  if (style.kind != StyleKind::kBuild) return;
  style.Find("QC Min Large Thick Skin Width")->record = style.Find("Shelling Thickness")->record;
}

void FailStyleValue(const std::string& name, const std::string& text, const std::string& why) {
  Fail(ExitCode::kUsage, Message(Code::kStyleValue, "", fmt::format("{}={}: {}", name, text, why))
                             .Hint("values are stored as typed, in the file's own units: the number alone"));
}

Number ParseStyleValue(const std::string& name, const std::string& text, bool is_float,
                       std::string& refusal) {
  const char* begin = text.data();
  const char* end = begin + text.size();
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') ++begin;
  double wide = 0;
  const auto [stop, error] = std::from_chars(begin, end, wide);
  if (error == std::errc::invalid_argument) FailStyleValue(name, text, "that is not a number");
  if (stop != end) {
    const bool unit = std::all_of(stop, end, [](char c) {
      return std::isalpha(static_cast<unsigned char>(c)) || c == ' ' || c == '"' || c == '\'' || c == '%';
    });
    FailStyleValue(name, text, unit ? "a value takes no unit" : "that is not a number");
  }
  if (!std::isfinite(wide)) {
    refusal = "values are finite numbers";
    return Number(0);
  }
  if (!is_float) {
    if (error == std::errc() && std::trunc(wide) == wide && wide >= std::numeric_limits<int32_t>::min() &&
        wide <= std::numeric_limits<int32_t>::max()) {
      return Number(int32_t(wide));
    }
    refusal = "values are whole numbers from -2147483648 to 2147483647";
    return Number(0);
  }
  float value = 0;
  const auto [float_stop, float_error] = std::from_chars(begin, end, value);
  if (float_error == std::errc::result_out_of_range) {
    // Too small is as good as the nearest number; too large is none.
    if (error == std::errc() && std::fabs(wide) < 1) return Number(float(wide));
    refusal = "values are 32-bit floating-point numbers, up to 3.4e38";
  }
  return Number(value);
}

StyleValueFindings FindInValues(const StyleFile& file, const StyleDocument& edited) {
  StyleValueFindings findings;
  for (const Message& finding : CheckStyleValues(file, edited)) {
    findings.emplace(std::pair{finding.code, finding.where.value("parameter", std::string())}, finding.text);
  }
  return findings;
}

Refusal SetParameter(const StyleFile& file, StyleDocument& edited, size_t index, const std::string& text,
                     bool force, const StyleValueFindings& before) {
  const StyleParameter& parameter = edited.parameters[index];
  RecordValues& record = edited.parameters[index].record;
  Refusal refusal;
  const Number value = ParseStyleValue(parameter.name, text, record.value.is_float(), refusal.text);
  if (refusal.text.empty()) refusal = WhyFixed(edited, index);
  if (refusal.text.empty() && !force) refusal = WhyRefused(record, value);
  if (!refusal.text.empty()) return refusal;
  const RecordValues kept = record;
  record.value = value;
  if (record.allowed.size() == 1) record.allowed[0] = value;
  FollowSharedPlace(edited);
  for (const auto& [finding, what] : FindInValues(file, edited)) {
    const bool adds = before.count(finding) == 0 ||
                      (finding.first == Code::kStyleThickness && parameter.name == finding.second);
    if (adds && !force && refusal.text.empty()) {
      refusal = {
          fmt::format("{} would be found wrong: {} [{}]", value.Text(), what, RowOf(finding.first).text),
          kForceValue};
    }
  }
  if (!refusal.text.empty()) record = kept;
  return refusal;
}

StyleDocument UpgradeStyle(Observer& observer, const StyleFile& file, const std::string& units) {
  if (file.layout != StyleLayout::kLegacy && !units.empty()) {
    FailUsage("", "--from is for legacy files; this one records its units", "leave --from away");
  }
  if (file.layout == StyleLayout::k301) {
    observer.Note(Message(Code::kStyleLayouts, file.path, "has the 301 layout already"));
  }
  StyleDocument upgraded = AsRead(file);
  if (file.layout == StyleLayout::kLegacy) {
    if (!units.empty()) {
      upgraded.FindText("units")->text = units;
    } else {
      observer.Warn(Message(Code::kStyleUnits, file.path, "does not record its units; taken as inches")
                        .Hint("--from mm says otherwise"));
    }
  }
  for (const RewriteChanges::Entry& entry : ChangesByRewriting(file).lost) {
    observer.Warn(ChangeMessage(Code::kStyleLost, file.path, entry).At({{"byte", entry.offset}}));
  }
  return upgraded;
}

std::vector<Message> FindLost(const std::string& path, const StyleDocument& edited) {
  std::vector<Message> found;
  const bool old = edited.layout == StyleLayout::k206;
  for (const StyleDifference& lost : LostInFile(edited)) {
    const FieldDifference& field = lost.fields.front();
    found.push_back(
        Message(Code::kStyleRefused, path,
                fmt::format("{}: the {} layout cannot hold {} {}; it would be read as {}", lost.name,
                            StyleLayoutName(edited.layout), field.field, field.before, field.after))
            .At({{"parameter", lost.name}})
            .Hint(old ? fmt::format("'trqprep {} upgrade' first: the 301 layout holds it",
                                    StyleCommand(edited.kind))
                      : "choose a value that its field can hold"));
  }
  return found;
}

}  // namespace trqprep
