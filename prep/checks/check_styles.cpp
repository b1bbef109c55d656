#include "trqprep/check_styles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

namespace trqprep {
namespace {

// Between the layer thicknesses of styles in inches and of styles in millimetres.
constexpr double kThicknessBetweenUnits = 0.02;
constexpr double kSameThickness = 1e-6;

void CheckRecord(const StyleFile& file, const std::string& name, const RecordValues& record,
                 std::vector<Message>& findings) {
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
  findings.push_back(Finding(Code::kStyleRange, file.path,
                             fmt::format("{}: {} is not in {}", name, record.value.Text(), allowed))
                         .At({{"parameter", name}, {"value", record.value.ToJson()}})
                         .Hint(fmt::format("'trqprep {} set' changes the value", StyleCommand(file.kind))));
}

void CheckRanges(const StyleFile& file, const StyleDocument& style, std::vector<Message>& findings) {
  for (const StyleParameter& parameter : style.parameters) {
    CheckRecord(file, parameter.name, parameter.record, findings);
  }
  for (int list = 0; list < kSweepLists; ++list) {
    const std::vector<SweepValues>& sweeps = style.sweeps[static_cast<std::size_t>(list)];
    for (std::size_t i = 0; i < sweeps.size(); ++i) {
      CheckRecord(file, fmt::format("{}[{}].gap", SweepListName(list), i), sweeps[i].gap, findings);
      CheckRecord(file, fmt::format("{}[{}].velocity", SweepListName(list), i), sweeps[i].velocity, findings);
    }
  }
}

// "mm" or "in" however it is written; the text itself when it is neither.
std::string UnitsOfText(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    if (!std::isspace(static_cast<unsigned char>(c))) {
      plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return plain;
}

void CheckUnits(const StyleFile& file, const StyleDocument& style, Units units,
                std::vector<Message>& findings) {
  const std::string wanted = UnitsName(units);
  if (file.kind == StyleKind::kRecoat && file.layout != StyleLayout::kLegacy) {
    const StyleText* text = style.FindText("units");
    if (text && UnitsOfText(text->text) != wanted) {
      findings.push_back(Finding(Code::kStyleUnitsMix, file.path,
                                 fmt::format("is in \"{}\", the build is in {}", OneLine(text->text), wanted))
                             .At({{"text", "units"}})
                             .Hint(fmt::format("'trqprep recoat units' converts it to {}", wanted)));
    }
  }
  const StyleParameter* thickness = style.Find("Layer Thickness");
  if (!thickness) return;
  const double value = thickness->record.value.Value();
  const bool mixed =
      units == Units::kInch ? value > kThicknessBetweenUnits : value < kThicknessBetweenUnits && value != 0;
  if (!mixed) return;
  findings.push_back(Finding(Code::kStyleUnitsMix, file.path,
                             fmt::format("a layer thickness of {} is hardly one in {}",
                                         thickness->record.value.Text(), wanted))
                         .At({{"parameter", "Layer Thickness"}})
                         .Hint(fmt::format("'trqprep style units' converts it to {}", wanted)));
}

void CheckMachine(const StyleFile& file, const StyleDocument& style, const std::optional<int>& machine,
                  std::vector<Message>& findings) {
  if (!machine || !StatesMachine(file)) return;
  const std::int32_t type = style.FindWord("machine_type")->number.AsInt();
  if (type == *machine) return;
  findings.push_back(Finding(Code::kMachineMismatch, file.path,
                             fmt::format("is for {} ({}), the build is for {} ({})", MachineName(type), type,
                                         MachineName(*machine), *machine))
                         .At({{"machine_type", type}})
                         .Hint("choose the machine's own style, or another --machine"));
}

void CheckSweepCounts(const StyleFile& file, const StyleDocument& style, std::vector<Message>& findings) {
  if (file.kind != StyleKind::kRecoat) return;
  for (int list = 0; list < kSweepLists; ++list) {
    const StyleParameter* count = style.Find(SweepCountName(list));
    if (!count) continue;
    const double value = count->record.value.Value();
    // A record without range counts nothing.
    const double maximum = count->record.maximum.Value();
    const auto length = static_cast<double>(style.sweeps[static_cast<std::size_t>(list)].size());
    if (!(value > 0 || maximum > 0) || (value == length && maximum == length)) continue;
    findings.push_back(Finding(Code::kSweepCount, file.path,
                               fmt::format("{}: value {}, maximum {}, but {} in the list", count->name,
                                           count->record.value.Text(), count->record.maximum.Text(), length))
                           .At({{"parameter", count->name}, {"list", SweepListName(list)}})
                           .Hint("'trqprep recoat sweeps' makes them true"));
  }
}

}  // namespace

bool StatesMachine(const StyleFile& file) {
  return file.layout != StyleLayout::kLegacy &&
         (file.kind == StyleKind::kRecoat || file.layout == StyleLayout::k301);
}

Message StyleDamage(const std::string& file, const std::string& text) {
  return Finding(kStyleDamage, file, text)
      .Hint("copy the file again from where it came; it was damaged or edited by hand");
}

std::vector<Message> CheckStyle(const StyleFile& file, const StyleSurroundings& surroundings) {
  std::vector<Message> findings;
  if (!file.complete || !file.ends_right || !file.crc_valid()) {
    const std::string text = file.complete && file.ends_right
                                 ? fmt::format("the checksum {:08x} does not match the content ({:08x})",
                                               file.stored_crc, file.computed_crc)
                                 : fmt::format("holds {} bytes, which is not what its {} layout takes",
                                               file.bytes.size(), StyleLayoutName(file.layout));
    findings.push_back(StyleDamage(file.path, text));
    if (!file.complete) return findings;
  }
  const StyleDocument style = AsRead(file);
  CheckRanges(file, style, findings);
  CheckUnits(file, style, surroundings.units, findings);
  CheckMachine(file, style, surroundings.machine, findings);
  CheckSweepCounts(file, style, findings);
  return findings;
}

double StackTolerance(Units units) {
  return static_cast<double>(0.00005f) * (units == Units::kMillimetre ? kMillimetresPerInch : 1);
}

std::vector<Message> CheckStack(const std::vector<StyleBand>& stack, double bottom, double top, Units units,
                                const std::string& file, const std::string& subject) {
  std::vector<Message> findings;
  const char* unit = UnitsName(units);
  if (stack.empty()) {
    findings.push_back(Finding(Code::kNoStyle, file, subject + " has no build style")
                           .Hint("name one with --style FILE, or with PART,style=FILE"));
    return findings;
  }
  const double t = StackTolerance(units);
  const auto at = [](double from, double to) {
    return Json{{"from", NumberToJson(from)}, {"to", NumberToJson(to)}};
  };
  const auto gap = [&](double from, double to) {
    findings.push_back(Finding(Code::kZGap, file,
                               fmt::format("{} has no style from Z {} to {} {}", subject, Plain(from, 4),
                                           Plain(to, 4), unit))
                           .At(at(from, to))
                           .Hint("name a style without a band, which covers everything"));
  };
  std::vector<StyleBand> bands = stack;
  std::stable_sort(bands.begin(), bands.end(),
                   [](const StyleBand& a, const StyleBand& b) { return a.start < b.start; });
  double reached = bottom;
  for (const StyleBand& band : bands) {
    if (band.start - reached > t) gap(reached, band.start);
    const double doubled = std::min(reached, band.end);
    if (&band != &bands.front() && doubled - band.start > t) {
      findings.push_back(Finding(Code::kZOverlap, file,
                                 fmt::format("{} has two styles from Z {} to {} {}", subject,
                                             Plain(band.start, 4), Plain(doubled, 4), unit))
                             .At(at(band.start, doubled))
                             .Hint("make the bands meet"));
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
              .At({{"from", NumberToJson(from)}, {"to", NumberToJson(to)}})
              .Hint("choose a recoat style made for the same layers"));
    }
  }
  return findings;
}

}  // namespace trqprep
