#include "trqprep/job.h"

#include <fmt/format.h>

#include <cctype>
#include <set>
#include <stdexcept>

#include "trqprep/message.h"
#include "trqprep/paths.h"
#include "trqprep/suggestions.h"

namespace trqprep {
namespace {

// Stores what the command line says of a part.
void StoreText(PartRequest& part, const JobField<PartRequest>& field, const std::string& text) {
  if (const auto* whole = std::get_if<WholeMember<PartRequest>>(&field.member)) {
    part.*whole->member = ParseWhole(text, whole->lowest, whole->highest);
  } else if (const auto* number = std::get_if<double PartRequest::*>(&field.member)) {
    part.** number = ParseNumber(text);
  } else if (const auto* units = std::get_if<std::optional<Units> PartRequest::*>(&field.member)) {
    part.** units = FileUnitsFromName(text);
    if (!(part.**units)) throw std::invalid_argument("'" + text + "' is not mm, in, cm or m");
  } else if (const auto* styles = std::get_if<std::vector<StyleRequest> PartRequest::*>(&field.member)) {
    (part.**styles).push_back(ParseStyleRequest(text));
  } else {
    throw std::logic_error("a part has no such field on the command line");
  }
}

}  // namespace

const char* FloorName(Floor floor) { return floor == Floor::kKeep ? "keep" : "lift"; }

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
      {"rotations", "--rotations", WholeMember<Job>{&Job::rotations, 1, 24}, F::kReported, "N", "How many turns about Z are tried (1 to 24, default 24)"},
      {"seed", "--seed", WholeMember<Job>{&Job::seed, 0, 4294967295}, F::kReported, "N", "Seed of the search (default 1)"},
      {"drop", "--drop", &Job::drop, F::kReported, "", "Put the lowest point of every part at Z = 0"},
      {"floor", "--floor", &Job::floor, F::kWhenSet, "lift|keep", "What becomes of a part below Z = 0: moved up to it (default), or refused"},
      {"accept-partial", nullptr, &Job::accept_partial, F::kWhenSet},
      {"force-checks", "--force-checks", &Job::force_checks, F::kOfBuilds | F::kWhenSet, "", "Build although checks find errors"},
      {"machine-of-styles", nullptr, &Job::machine_of_styles, F::kOfBuilds | F::kWhenSet},
      {"slice", "--slice", &Job::slice, F::kOfBuilds | F::kWhenSet, "", "Write slice contours of every piece, in layers of its styles"},
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
  static const std::vector<JobField<PartRequest>> fields = {
      {"file", nullptr, &PartRequest::path},
      {"copies", "copies", WholeMember<PartRequest>{&PartRequest::copies, 1, 1000}},
      {"rotate-z", "rotate-z", &PartRequest::rotate_z},
      {"units", "units", &PartRequest::units},
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
                "for example PART.stl,copies=3,rotate-z=15,style=Fine.sty");
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

std::array<double, 3> Job::VatIn(Units wanted) const {
  return {vat[0].In(wanted, units), vat[1].In(wanted, units), vat[2].In(wanted, units)};
}

}  // namespace trqprep
