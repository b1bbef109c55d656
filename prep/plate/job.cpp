#include "trqprep/job.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <set>
#include <stdexcept>
#include <type_traits>

#include "trqprep/message.h"
#include "trqprep/nesting.h"
#include "trqprep/paths.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

// One for each type of a field that the line knows by itself.
template <class Owner>
struct TextTaker {
  Owner& owner;
  const std::string& text;

  void operator()(const WholeMember<Owner>& whole) const {
    owner.*whole.member =
        whole.word && text == whole.word ? whole.lowest - 1 : ParseWhole(text, whole.lowest, whole.highest);
  }
  void operator()(double Owner::*member) const { owner.*member = ParseNumber(text); }
  void operator()(std::optional<double> Owner::*member) const { owner.*member = ParseNumber(text); }
  void operator()(std::optional<Length> Owner::*member) const { owner.*member = ParseLength(text); }
  void operator()(Turns Owner::*member) const { owner.*member = ParseTurns(text); }
  void operator()(std::vector<StyleRequest> Owner::*member) const {
    (owner.*member).push_back(ParseStyleRequest(text));
  }
  void operator()(std::optional<Units> Owner::*member) const {
    owner.*member = FileUnitsFromName(text);
    if (!(owner.*member)) throw std::invalid_argument("'" + text + "' is not mm, in, cm or m");
  }
  void operator()(std::optional<std::array<Length, 2>> Owner::*member) const {
    const std::vector<std::string> lengths = Split(text, ':');
    if (lengths.size() != 2) throw std::invalid_argument("'" + text + "' is not X:Y");
    owner.*member = {ParseLength(lengths[0]), ParseLength(lengths[1])};
    auto& [x, y] = *(owner.*member);
    if (!x.unit) x.unit = y.unit;
  }
  template <class Other>
  void operator()(Other Owner::*member) const {
    if constexpr (std::is_enum_v<Other> && !std::is_same_v<Other, Units>) {
      if (TakeWord(owner.*member, text)) return;
    }
    throw std::logic_error("no text says this field");
  }
};

}  // namespace

template <class Owner>
void StoreText(Owner& owner, const JobField<Owner>& field, const std::string& text) {
  std::visit(TextTaker<Owner>{owner, text}, field.member);
}
template void StoreText(Job&, const JobField<Job>&, const std::string&);
template void StoreText(PartRequest&, const JobField<PartRequest>&, const std::string&);

std::vector<double> Turns::All(int64_t otherwise) const {
  if (!degrees.empty()) return degrees;
  std::vector<double> all;
  const int64_t count = equal > 0 ? equal : otherwise;
  for (int64_t turn = 0; turn < count; ++turn) all.push_back(double(turn) * 360.0 / double(count));
  return all;
}

Turns ListedTurns(const std::vector<double>& degrees) {
  Turns turns;
  std::set<double> listed;
  for (const double asked : degrees) {
    double turn = std::fmod(asked, 360.0);
    if (turn < 0) turn += 360;
    if (!(turn < 360)) turn = 0;  // what was below 0 by next to nothing
    if (listed.insert(turn).second) turns.degrees.push_back(turn);
  }
  if (turns.degrees.empty() || turns.degrees.size() > size_t(kMostTurns)) {
    throw std::invalid_argument(fmt::format("{} are not 1 to {} turns", turns.degrees.size(), kMostTurns));
  }
  return turns;
}

Turns ParseTurns(const std::string& text) {
  if (text == "fixed") return ListedTurns({0});
  std::vector<double> degrees;
  for (const std::string& turn : Split(text, ':')) degrees.push_back(ParseNumber(turn));
  if (degrees.size() > 1) return ListedTurns(degrees);
  Turns turns;
  turns.equal = ParseWhole(text, 1, kMostTurns);
  return turns;
}

Code ParseCode(const std::string& text) {
  std::string name;
  for (const char c : text) name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (const MessageRow* row = FindRow(name)) return row->code;
  std::vector<std::string> codes;
  for (const MessageRow& row : MessageTable()) codes.push_back(row.text);
  FailUsage("", "there is no code '" + text + "'", DidYouMean(name, codes));
}

const std::vector<JobField<Job>>& JobFields() {
  using F = JobField<Job>;
  // clang-format off
  static const std::vector<F> fields = {
      {"units", nullptr, &Job::units, F::kReported},
      {"machine", "--machine", &Job::machine, F::kOfBuilds | F::kWhenSet, "NAME", "Machine type, or a profile of --machines"},
      {"vat", "--vat", &Job::vat, F::kReported},
      {"engine", "--engine", &Job::engine, F::kPlain, "grid|nest", "What searches places: the outlines of the parts (nest, the default) or a raster of 32 x 32 cells (grid)"},
      {"gap", "--gap", &Job::gap, F::kWhenSet, "LENGTH", "Least distance of two pieces seen from above (default 2 mm, with --engine grid 0)"},
      {"margin", "--margin", &Job::margin, F::kWhenSet, "LENGTH", "Least distance to the walls of the vat (default 5 mm, with --engine grid 0)"},
      {"tolerance", "--tolerance", &Job::tolerance, F::kWhenSet, "LENGTH", "How much larger than the parts the outlines of the search may be (default 0.05 mm)"},
      {"time", "--time", &Job::time, F::kWhenSet, "SECONDS", "What the search may take on a usual processor; counted in steps, never by the clock (default 10)"},
      {"steps", nullptr, WholeMember<Job>{&Job::steps, 0, int64_t(kMostSeconds * double(nesting::kStepsPerSecond))}, F::kWhenSet},
      {"order", "--order", &Job::order, F::kWhenSet, "size|given", "Which pieces get a place first: the largest (default), or in the order given"},
      {"no-holes", "--no-holes", &Job::no_holes, F::kWhenSet, "", "Put no piece into a hole of another, seen from above"},
      {"plates", "--plates", WholeMember<Job>{&Job::plates, 1, kMostCopies, "any"}, F::kOfBuilds | F::kWhenSet, "N", "Most plates: what finds no place goes to the next one; a number, or any (default 1). Other than 1, the folder of a build holds a build folder a plate"},
      {"rotations", "--rotations", WholeMember<Job>{&Job::rotations, 1, kMostTurns}, F::kReported, "N", "How many turns about Z are tried (1 to 24, default 24)"},
      {"seed", "--seed", WholeMember<Job>{&Job::seed, 0, 4294967295}, F::kReported, "N", "Seed of the search (default 1)"},
      {"drop", "--drop", &Job::drop, F::kReported, "", "Put the lowest point of every part at Z = 0"},
      {"floor", "--floor", &Job::floor, F::kWhenSet, "lift|keep", "What becomes of a part below Z = 0: moved up to it (default), or refused"},
      {"accept-partial", nullptr, &Job::accept_partial, F::kWhenSet},
      {"force-checks", "--force-checks", &Job::force_checks, F::kOfBuilds | F::kWhenSet, "", "Build although checks find errors"},
      {"machine-of-styles", nullptr, &Job::machine_of_styles, F::kOfBuilds | F::kWhenSet},
      {"slice", "--slice", &Job::slice, F::kOfBuilds | F::kWhenSet, "", "Write slice contours of every piece, in layers of its styles"},
      {"no-report", "--no-report", &Job::no_report, F::kOfBuilds | F::kWhenSet, "", "Leave report.html out of the folder"},
      {"report-facets", "--report-facets", WholeMember<Job>{&Job::report_facets, 1, 2147483647, "all"}, F::kOfBuilds | F::kWhenSet, "N", "Most facets that the meshes of the report have together; beyond it they are simplified (default 300000); a number, or all"},
      {"strict", "--strict", &Job::strict, F::kOfBuilds | F::kWhenSet, "", "Treat warnings as errors"},
      {"allow", "--allow", &Job::allow, F::kOfBuilds | F::kWhenSet, "CODE", "Leave warnings of this code what they are under --strict"},
      {"z-spacing", "--z-spacing", &Job::z_spacing, F::kOfBuilds | F::kWhenSet, "LENGTH", "Widest hatch spacing that counts in the Z correction (default: all hatches count)"},
      {"style", "--style", &Job::styles, F::kOfBuilds, "STYLE", "Build style of all parts: FILE, or FILE@FROM:TO for a band of Z"},
      {"recoat", "--recoat", &Job::recoats, F::kOfBuilds, "STYLE", "Recoat style of the build: FILE, or FILE@FROM:TO for a band of Z"},
      {"part", "--part", &Job::parts, F::kPlain, "PART", "A further part, written the same way"},
  };
  // clang-format on
  return fields;
}

const std::vector<JobField<PartRequest>>& PartFields() {
  constexpr auto kWhenSet = JobField<PartRequest>::kWhenSet;
  static const std::vector<JobField<PartRequest>> fields = {
      {"file", nullptr, &PartRequest::path},
      {"copies", "copies", WholeMember<PartRequest>{&PartRequest::copies, 1, kMostCopies, "fill"}},
      {"rotate-z", "rotate-z", &PartRequest::rotate_z},
      {"units", "units", &PartRequest::units},
      {"rotations", "rotations", &PartRequest::rotations, kWhenSet},
      {"at", "at", &PartRequest::at, kWhenSet},
      {"gap", "gap", &PartRequest::gap, kWhenSet},
      {"plate", "plate", WholeMember<PartRequest>{&PartRequest::plate, 1, kMostCopies}, kWhenSet},
      {"style", "style", &PartRequest::styles},
  };
  return fields;
}

StyleRequest ParseStyleRequest(const std::string& text) {
  StyleRequest request;
  request.path = text;
  const size_t at = text.rfind('@');
  if (Exists(text) || at == std::string::npos) return request;
  request.path = text.substr(0, at);
  request.banded = true;
  try {
    const std::vector<std::string> ends = Split(text.substr(at + 1), ':');
    if (ends.size() != 2) throw std::invalid_argument("'" + text.substr(at + 1) + "' is not a band");
    request.from = ParseLength(ends[0]);
    request.to = ParseLength(ends[1]);
  } catch (const std::invalid_argument& error) {
    FailUsage(request.path, error.what(), "write FILE@FROM:TO, such as Fine.sty@0:10mm");
  }
  if (!request.from.unit) request.from.unit = request.to.unit;
  return request;
}

PartRequest ParsePart(const std::string& text) {
  PartRequest part;
  part.path = text;
  if (Exists(text)) return part;
  size_t end = text.find(',');
  if (end == std::string::npos) return part;
  for (size_t comma = text.rfind(','); comma != std::string::npos && comma > 0;
       comma = text.rfind(',', comma - 1)) {
    if (Exists(text.substr(0, comma))) {
      end = comma;
      break;
    }
  }
  part.path = text.substr(0, end);
  std::set<std::string> given;
  for (const std::string& setting : Split(text.substr(end + 1), ',')) {
    const size_t equals = setting.find('=');
    const std::string name = setting.substr(0, equals);
    const JobField<PartRequest>* found = nullptr;
    for (const JobField<PartRequest>& field : PartFields()) {
      if (field.option && name == field.option) found = &field;
    }
    if (!found || equals == std::string::npos) {
      FailUsage(
          part.path, fmt::format("'{}' is not a setting of a part", setting),
          found ? fmt::format("write {}=VALUE", name) : DidYouMean(name, FieldKeys(PartFields(), true)));
    }
    const bool many = std::holds_alternative<std::vector<StyleRequest> PartRequest::*>(found->member);
    if (!given.insert(name).second && !many) {
      FailUsage(part.path, fmt::format("'{}' is given twice", name), "leave one of them away");
    }
    try {
      StoreText(part, *found, setting.substr(equals + 1));
    } catch (const std::invalid_argument& error) {
      FailUsage(part.path, fmt::format("{}: {}", name, error.what()),
                "for example PART.stl,copies=3,rotate-z=15,rotations=0:90:180,at=10mm:20mm,style=Fine.sty");
    }
  }
  return part;
}

void TellFolder(const Job& job, Message& message) {
  if (job.file.empty() || message.code != Code::kInputMissing) return;
  const size_t slash = job.file.rfind('/');
  message.Hint(fmt::format("{} names it; names there are seen from the folder of the job file, {}", job.file,
                           slash == std::string::npos ? "." : job.file.substr(0, slash + 1)));
}

std::optional<JobMistake> FindMistake(const Job& job) {
  const auto millimetres = [&](const Length& length) { return length.In(Units::kMillimetre, job.units); };
  const auto beyond = [&](const std::optional<Length>& length) {
    return length && !(length->value >= 0 && millimetres(*length) <= kLongestMillimetres);
  };
  const char* const span = "from 0 to a kilometre, such as 2mm";
  if (beyond(job.gap)) return JobMistake{"the gap is below 0 or longer than a kilometre", span, true};
  if (beyond(job.margin)) return JobMistake{"the margin is below 0 or longer than a kilometre", span, true};
  if (beyond(job.tolerance)) {
    return JobMistake{"the tolerance is below 0 or longer than a kilometre", span, true};
  }
  if (job.time && !(*job.time >= 0 && *job.time <= kMostSeconds)) {
    return JobMistake{"the time is out of range",
                      fmt::format("give seconds from 0 to {}", int64_t(kMostSeconds)), true};
  }
  if (job.wall_limit && !(*job.wall_limit > 0)) {
    return JobMistake{"the limit by the clock is not above 0", "give seconds, such as 30"};
  }
  if (job.time && job.steps >= 0) {
    return JobMistake{"time and steps both say how long to search", "leave one of them away"};
  }
  const bool nest = job.engine == Engine::kNest;
  const auto of_nest = [](const std::string& what) {
    return JobMistake{what + " is not for the engine 'grid'",
                      "--engine nest searches with it; in a job file engine = \"nest\""};
  };
  if (!nest && (job.time || job.steps >= 0)) return of_nest("a time");
  if (!nest && job.wall_limit) return of_nest("a limit by the clock");
  if (!nest && job.tolerance && !job.gap) return of_nest("a tolerance without a gap");
  if (!nest && job.order != Order::kSize) return of_nest("an order");
  if (!nest && job.no_holes) return of_nest("'no-holes'");
  if (!nest && job.plates != 1) return of_nest("a number of plates");
  int64_t fills = 0;
  for (const PartRequest& part : job.parts) {
    const auto mistake = [&](const std::string& text, const std::string& hint) {
      return JobMistake{part.path + ": " + text, hint};
    };
    if (beyond(part.gap)) {
      return JobMistake{part.path + ": the gap is below 0 or longer than a kilometre", span, true};
    }
    if (part.at && std::max(std::abs(millimetres((*part.at)[0])), std::abs(millimetres((*part.at)[1]))) >
                       kLongestMillimetres) {
      return JobMistake{part.path + ": 'at' is farther away than a kilometre", "is its unit right?", true};
    }
    if (!nest && part.rotations.given()) return of_nest(part.path + ": 'rotations' of a part");
    if (!nest && part.at) return of_nest(part.path + ": 'at'");
    if (!nest && part.copies == kFill) return of_nest(part.path + ": 'copies=fill'");
    if (part.at && part.copies != 1) {
      return mistake("'at' is the place of one piece", "name the part once for each place, without copies");
    }
    if (part.at && part.rotations.given()) {
      return mistake("'at' and 'rotations' exclude each other",
                     "'rotate-z' turns a piece that has its place");
    }
    if (job.plates != kAnyPlates && part.plate > job.plates) {
      return mistake(fmt::format("there is no plate {}", part.plate),
                     fmt::format("--plates {} allows as many", part.plate));
    }
    if (part.copies == kFill && job.plates == kAnyPlates) {
      return mistake("to fill any number of plates has no end", "give it a number of copies, or plates");
    }
    if (part.copies == kFill && ++fills == 2) {
      return mistake("a second part is to fill the plate", "give one of them a number of copies");
    }
  }
  return std::nullopt;
}

std::array<double, 3> Job::VatIn(Units wanted) const {
  return {vat[0].In(wanted, units), vat[1].In(wanted, units), vat[2].In(wanted, units)};
}

}  // namespace trqprep
