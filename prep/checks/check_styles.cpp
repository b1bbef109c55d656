#include "trqprep/check_styles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "trq/core/style_stack.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

// Between the layer thicknesses of styles in inches and of styles in millimetres.
constexpr double kThicknessBetweenUnits = 0.02;
constexpr double kSameThickness = 1e-6;

// "mm" or "in" however it is written; the text itself when it is neither.
std::string UnitsOfText(const std::string& text) {
  std::string plain;
  for (const char c : Lower(text)) {
    if (!std::isspace(static_cast<unsigned char>(c))) plain += c;
  }
  return plain;
}

// The rules of one style file that is complete.
class StyleRules {
 public:
  StyleRules(const StyleFile& file, std::vector<Message>& findings)
      : StyleRules(file, AsRead(file), findings) {}
  StyleRules(const StyleFile& file, StyleDocument style, std::vector<Message>& findings)
      : file_(file), style_(std::move(style)), findings_(findings) {}

  void CheckRanges() {
    for (const StyleParameter& parameter : style_.parameters) CheckRecord(parameter.name, parameter.record);
    for (size_t list = 0; list < kSweepLists; ++list) {
      int i = 0;
      for (const SweepValues& sweep : style_.sweeps[list]) {
        const std::string name = fmt::format("{}[{}].", SweepListName(list), i++);
        CheckRecord(name + "gap", sweep.gap);
        CheckRecord(name + "velocity", sweep.velocity);
      }
    }
  }

  void CheckThickness() {
    const StyleParameter* thickness = style_.Find("Layer Thickness");
    if (file_.kind != StyleKind::kBuild || !thickness || thickness->record.value.Value() > 0) return;
    Found(Code::kStyleThickness,
          fmt::format("the layer thickness is {}, not above 0", thickness->record.value.Text()))
        .At({{"parameter", "Layer Thickness"}, {"value", thickness->record.value}})
        .Hint("set it: trqprep style set FILE 'Layer Thickness=0.1'");
  }

  void CheckUnits(Units units, Severity severity) {
    const std::string wanted = UnitsName(units);
    const std::string& text = style_.FindText("units")->text;
    if (file_.kind == StyleKind::kRecoat && file_.layout != StyleLayout::kLegacy &&
        UnitsOfText(text) != wanted) {
      Found(Code::kStyleUnitsMix, fmt::format("is in \"{}\", the build is in {}", OneLine(text), wanted))
          .At({{"parameter", "units"}})
          .As(severity)
          .Hint(fmt::format("'trqprep recoat units' converts it to {}", wanted));
    }
    const StyleParameter* thickness = style_.Find("Layer Thickness");
    if (!thickness) return;
    const double value = thickness->record.value.Value();
    const bool mixed =
        units == Units::kInch ? value > kThicknessBetweenUnits : value < kThicknessBetweenUnits && value > 0;
    if (!mixed) return;
    Found(Code::kStyleUnitsMix,
          fmt::format("a layer thickness of {} is hardly one in {}", thickness->record.value.Text(), wanted))
        .At({{"parameter", "Layer Thickness"}})
        .As(severity)
        .Hint(fmt::format("'trqprep style units' converts it to {}", wanted));
  }

  void CheckMachine(const std::optional<int>& machine) {
    if (!machine || !StatesMachine(file_)) return;
    const int32_t type = style_.FindWord("machine_type")->number.AsInt();
    if (type == *machine) return;
    Found(Code::kMachineMismatch, fmt::format("is for {} ({}), the build is for {} ({})", MachineName(type),
                                              type, MachineName(*machine), *machine))
        .At({{"machine_type", type}})
        .Hint("choose the machine's own style, or another --machine");
  }

  void CheckSweepCounts() {
    if (file_.kind != StyleKind::kRecoat) return;
    for (size_t list = 0; list < kSweepLists; ++list) {
      const std::string name = SweepCountName(list);
      const RecordValues& count = style_.Find(name)->record;
      const double value = count.value.Value();
      // A record without range counts nothing.
      const double maximum = count.maximum.Value();
      const auto length = double(style_.sweeps[list].size());
      if (!(value > 0 || maximum > 0) || (value == length && maximum == length)) continue;
      Found(Code::kSweepCount, fmt::format("{}: value {}, maximum {}, but {} in the list", name,
                                           count.value.Text(), count.maximum.Text(), length))
          .At({{"parameter", name}, {"list", SweepListName(list)}})
          .Hint("'trqprep recoat sweeps' makes them true");
    }
  }

 private:
  Message& Found(Code code, const std::string& text) {
    return findings_.emplace_back(Finding(code, file_.path, text));
  }

  void CheckRecord(const std::string& name, const RecordValues& record) {
    std::string allowed;
    if (record.allowed.size() >= 2 &&
        std::find(record.allowed.begin(), record.allowed.end(), record.value) == record.allowed.end()) {
      allowed = AllowedText(record);
    } else if (record.HasRange() && !(record.value.Value() >= record.minimum.Value() &&
                                      record.value.Value() <= record.maximum.Value())) {
      allowed = RangeText(record);
    } else {
      return;
    }
    Found(Code::kStyleRange, fmt::format("{}: {} is not in {}", name, record.value.Text(), allowed))
        .At({{"parameter", name}, {"value", record.value}})
        .Hint(fmt::format("'trqprep {} set' changes the value", StyleCommand(file_.kind)));
  }

  const StyleFile& file_;
  const StyleDocument style_;
  std::vector<Message>& findings_;
};

}  // namespace

Message StyleDamage(const std::string& file, const std::string& text) {
  return Finding(kStyleDamage, file, text)
      .Hint("copy the file again from where it came; it was damaged or edited by hand");
}

std::vector<Message> CheckStyleValues(const StyleFile& file, const StyleDocument& style) {
  std::vector<Message> findings;
  StyleRules rules(file, style, findings);
  rules.CheckRanges();
  rules.CheckThickness();
  return findings;
}

std::vector<Message> CheckStyle(const StyleFile& file, const StyleSurroundings& surroundings) {
  std::vector<Message> findings;
  if (!file.complete || !file.ends_right || !file.crc_valid()) {
    findings.push_back(
        StyleDamage(file.path, file.complete && file.ends_right
                                   ? StyleIsDamaged(file).text
                                   : fmt::format("holds {} bytes, which is not what its {} layout takes",
                                                 file.bytes.size(), StyleLayoutName(file.layout))));
    if (!file.complete) return findings;
  }
  StyleRules rules(file, findings);
  rules.CheckRanges();
  rules.CheckThickness();
  rules.CheckUnits(surroundings.units, surroundings.of_build ? Severity::kError : Severity::kWarning);
  rules.CheckMachine(surroundings.machine);
  rules.CheckSweepCounts();
  return findings;
}

double StackTolerance(Units units) { return trq::core::StackTolerance(units == Units::kMillimetre); }

std::vector<Message> CheckStack(const std::vector<StyleBand>& stack, double bottom, double top, Units units,
                                const std::string& file, const std::string& subject) {
  std::vector<Message> findings;
  if (stack.empty()) {
    findings.push_back(Finding(Code::kNoStyle, file, subject + " has no build style")
                           .Hint("name one with --style FILE, or with PART,style=FILE"));
    return findings;
  }
  const double t = StackTolerance(units);
  const auto found = [&](Code code, const char* what, double from, double to, const char* hint) {
    findings.push_back(Finding(code, file,
                               fmt::format("{} has {} from Z {} to {} {}", subject, what, Plain(from, 4),
                                           Plain(to, 4), UnitsName(units)))
                           .At({{"start", NumberToJson(from)}, {"end", NumberToJson(to)}})
                           .Hint(hint));
  };
  const auto gap = [&](double from, double to) {
    found(Code::kZGap, "no style", from, to, "name a style without a band, which covers everything");
  };
  std::vector<StyleBand> bands = stack;
  std::stable_sort(bands.begin(), bands.end(),
                   [](const StyleBand& a, const StyleBand& b) { return a.start < b.start; });
  double reached = bottom;
  for (const StyleBand& band : bands) {
    if (band.start - reached > t) gap(reached, band.start);
    const double doubled = std::min(reached, band.end);
    if (&band != &bands.front() && doubled - band.start > t) {
      found(Code::kZOverlap, "two styles", band.start, doubled, "make the bands meet");
    }
    reached = std::max(reached, band.end);
  }
  if (top - reached > t) gap(reached, top);
  return findings;
}

std::vector<Message> CheckThickness(const std::vector<StyleBand>& build, const std::vector<StyleBand>& recoat,
                                    Units units, const std::string& file, const std::string& subject) {
  std::vector<Message> findings;
  const double t = StackTolerance(units);
  for (const StyleBand& lower : build) {
    for (const StyleBand& other : recoat) {
      const double from = std::max(lower.start, other.start);
      const double to = std::min(lower.end, other.end);
      if (to - from <= t || lower.thickness == 0 || other.thickness == 0) continue;
      if (std::abs(lower.thickness - other.thickness) <= kSameThickness) continue;
      findings.push_back(
          Finding(Code::kLayerMismatch, file,
                  fmt::format("{}: from Z {} to {} {} the layers are {} by {} and {} by {}", subject,
                              Plain(from, 4), Plain(to, 4), UnitsName(units), Plain(lower.thickness, 6),
                              lower.file, Plain(other.thickness, 6), other.file))
              .At({{"start", NumberToJson(from)}, {"end", NumberToJson(to)}})
              .Hint("choose a recoat style made for the same layers"));
    }
  }
  return findings;
}

}  // namespace trqprep
