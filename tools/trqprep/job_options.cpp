#include "job_options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "trqprep/job_defaults.h"
#include "trqprep/job_file.h"

namespace trqprep {
namespace {

// The order of help, with the options of meshes between; --machines names a file and is no field of a job.
constexpr const char* kOnEveryLine[] = {"part",      "vat",    "engine", "gap",  "margin",
                                        "rotations", "order",  "seed",   "time", "no-holes",
                                        "tolerance", "plates", "drop",   "floor"};
constexpr const char* kOnBuildLines[] = {"style",        "recoat", "machine",   "machines",
                                         "z-spacing",    "slice",  "no-report", "report-facets",
                                         "force-checks", "strict", "allow"};

const JobField<Job>& FieldOf(const std::string& key) {
  for (const JobField<Job>& field : JobFields()) {
    if (key == field.key) return field;
  }
  throw std::logic_error("a job has no field " + key);
}

void RefuseMistake(const Job& job) {
  if (const auto mistake = FindMistake(job)) FailUsage("", mistake->text, mistake->hint);
}

}  // namespace

JobOptions::JobOptions(Command& command, bool whole) : app_(command.app), whole_(whole) {
  arguments_ =
      command
          .Arguments(
              "PART", argument_values_,
              whole
                  ? "STL or CTL file, or FILE,copies=N,rotate-z=DEGREES,at=X:Y,style=STYLE,...; or one job file"
                  : "STL or CTL file, or FILE,copies=N,rotate-z=DEGREES,at=X:Y,...",
              false)
          .option;
  const auto add = [&](const std::string& key) {
    if (key == "machines") {
      command.TextOption("--machines", machines_file_, "FILE",
                         "Profiles of machines with their vats and style folders (TOML)");
      return;
    }
    const JobField<Job>& field = FieldOf(key);
    const auto* whole_number = std::get_if<WholeMember<Job>>(&field.member);
    if (whole_number && !whole_number->word) {
      command.WholeOption(field.option, job_.*whole_number->member, whole_number->lowest,
                          whole_number->highest, field.help);
    } else if (const auto* flag = std::get_if<bool Job::*>(&field.member)) {
      command.Flag(field.option, job_.**flag, field.help);
    } else if (const auto* length = std::get_if<std::optional<Length> Job::*>(&field.member)) {
      command.LengthOption(field.option, job_.**length, field.help);
    } else if (std::holds_alternative<std::array<Length, 3> Job::*>(field.member)) {
      vat_option_ = command.VatOption(job_.vat).option;
    } else if (std::holds_alternative<std::optional<int> Job::*>(field.member)) {
      command.TextOption(field.option, machine_, field.type, field.help);
    } else if (const auto* number = std::get_if<std::optional<double> Job::*>(&field.member)) {
      command.NumberOption(field.option, job_.**number, field.help).Type(field.type);
    } else if (whole_number || std::string(field.type).find('|') != std::string::npos) {
      command.TextOption(field.option, choices_[key], field.type, field.help);
    } else {
      const Option option = command.RepeatedOption(field.option, lists_[key], field.type, field.help);
      if (key == "part") part_options_ = option.option;
    }
  };
  for (const char* key : kOnEveryLine) add(key);
  command.WholeOption("--threads", job_.threads, 1, 1024,
                      "Threads of the search (default: one a processor); the result does not depend on them");
  command
      .NumberOption("--wall-limit", job_.wall_limit,
                    "End the search so long after it began, with the best that it has")
      .Type("SECONDS");
  command.ReadsMeshes();
  command.FollowLinksFlag();
  command.AllFlag();
  if (!whole) return;
  for (const char* key : kOnBuildLines) add(key);
}

Job JobOptions::Get(const Context& context) const {
  if (whole_ && argument_values_.size() == 1 && NamesJobFile(argument_values_[0])) {
    for (const CLI::Option* given : app_.parse_order()) {
      const std::string name = given->get_single_name();
      if (given == arguments_ || name == "output" || name == "force" || name == "force-checks" ||
          name == "strict" || name == "allow" || name == "all" || name == "json" || name == "yes" ||
          name == "follow-links" || name == "threads" || name == "wall-limit") {
        continue;
      }
      FailUsage(argument_values_[0],
                fmt::format("--{} does not go with a job file, which holds all settings", name),
                "change it in the job file");
    }
    Job job = ReadJobFile(argument_values_[0]);
    job.force_checks = job.force_checks || job_.force_checks;
    job.strict = job.strict || job_.strict;
    job.follow_links = context.options.follow_links;
    job.threads = job_.threads;
    job.wall_limit = job_.wall_limit;
    TakeCodes(job);
    RefuseMistake(job);
    return job;
  }
  Job job = job_;
  job.units = context.units();
  job.units_given = context.options.units_given;
  job.accept_partial = context.options.accept_partial;
  job.follow_links = context.options.follow_links;
  size_t next_argument = 0;
  size_t next_part = 0;
  for (const CLI::Option* given : app_.parse_order()) {
    if (given == arguments_) job.parts.push_back(ParsePart(argument_values_.at(next_argument++)));
    if (given == part_options_) job.parts.push_back(ParsePart(lists_.at("part").at(next_part++)));
  }
  if (job.parts.empty()) {
    FailUsage("", "no part was given", "name STL or CTL files");
  }
  for (const JobField<Job>& field : JobFields()) {
    const auto* styles = std::get_if<std::vector<StyleRequest> Job::*>(&field.member);
    const auto texts = lists_.find(field.key);
    if (!styles || texts == lists_.end()) continue;
    for (const std::string& text : texts->second) (job.**styles).push_back(ParseStyleRequest(text));
  }
  ChooseMachine(machine_, machines_file_, vat_option_->count() > 0, job);
  job.machine_of_styles = whole_ && !job.machine;
  job.engine = Engine::kNest;
  for (const auto& [key, word] : choices_) {
    try {
      if (!word.empty()) StoreText(job, FieldOf(key), word);
    } catch (const std::invalid_argument& error) {
      FailUsage("", fmt::format("--{}: {}", key, error.what()),
                key == "plates" ? "give a number, or any" : "give a number, or all");
    }
  }
  TakeUsualDistances(job);
  TakeCodes(job);
  RefuseMistake(job);
  return job;
}

void JobOptions::TakeCodes(Job& job) const {
  const auto texts = lists_.find("allow");
  if (texts == lists_.end()) return;
  for (const std::string& text : texts->second) job.allow.push_back(ParseCode(text));
  if (!job.strict && !texts->second.empty()) {
    FailUsage("", "--allow says what --strict leaves a warning", "add --strict");
  }
}

void ApplyJob(Context& context, const Job& job) {
  context.options.units = UnitsName(job.units);
  context.options.accept_partial = job.accept_partial;
}

}  // namespace trqprep
