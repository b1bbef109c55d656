#include "job.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "suggestions.h"

namespace trqprep {
namespace {

bool NamesFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

struct PartKey {
  const char* name;
  void (*set)(PartRequest& part, const std::string& value);
};

constexpr PartKey kPartKeys[] = {
    {"copies", [](PartRequest& part, const std::string& value) { part.copies = ParseWhole(value, 1, 1000); }},
    {"rotate-z", [](PartRequest& part, const std::string& value) { part.rotate_z = ParseNumber(value); }},
};

}  // namespace

PartRequest ParsePart(const std::string& text) {
  PartRequest part;
  part.path = text;
  if (NamesFile(text)) return part;
  std::size_t end = text.find(',');
  if (end == std::string::npos) return part;
  for (std::size_t comma = text.rfind(','); comma != std::string::npos && comma > 0;
       comma = text.rfind(',', comma - 1)) {
    if (NamesFile(text.substr(0, comma))) {
      end = comma;
      break;
    }
  }
  part.path = text.substr(0, end);
  std::vector<std::string> names;
  for (const PartKey& key : kPartKeys) names.push_back(key.name);
  for (const std::string& setting : Split(text.substr(end + 1), ',')) {
    const std::size_t equals = setting.find('=');
    const std::string name = setting.substr(0, equals);
    const PartKey* found = nullptr;
    for (const PartKey& key : kPartKeys) {
      if (name == key.name) found = &key;
    }
    if (!found || equals == std::string::npos) {
      Fail(ExitCode::kUsage,
           Message("USAGE", part.path, fmt::format("'{}' is no setting of a part", setting))
               .Hint(found ? fmt::format("write {}=VALUE", name) : DidYouMean(name, names)));
    }
    try {
      found->set(part, setting.substr(equals + 1));
    } catch (const std::invalid_argument& error) {
      Fail(ExitCode::kUsage, Message("USAGE", part.path, fmt::format("{}: {}", name, error.what())));
    }
  }
  return part;
}

std::array<double, 3> Job::VatIn(Units wanted) const {
  return {vat[0].In(wanted, units), vat[1].In(wanted, units), vat[2].In(wanted, units)};
}

JobOptions::JobOptions(Command& command) : app_(command.app) {
  arguments_ = command.Arguments("PART", argument_values_,
                                 "STL or CTL file, or FILE,copies=N,rotate-z=DEGREES", false);
  part_options_ =
      command.RepeatedOption("--part", part_values_, "PART", "A further part, written the same way");
  command.VatOption(job_.vat);
  command.WholeOption("--rotations", job_.rotations, 1, 24,
                      "How many turns about Z are tried (1 to 24, default 24)");
  command.WholeOption("--seed", job_.seed, 0, 4294967295, "Seed of the search (default 1)");
  command.Flag("--drop", job_.drop, "Put the lowest point of every part at Z = 0");
  command.ReadsMeshes();
}

Job JobOptions::Get(const Context& context) const {
  Job job = job_;
  job.units = context.units();
  std::size_t next_argument = 0;
  std::size_t next_part = 0;
  for (const CLI::Option* given : app_.parse_order()) {
    if (given == arguments_) job.parts.push_back(ParsePart(argument_values_.at(next_argument++)));
    if (given == part_options_) job.parts.push_back(ParsePart(part_values_.at(next_part++)));
  }
  if (job.parts.empty()) {
    Fail(ExitCode::kUsage, Message("USAGE", "", "no part was given").Hint("name STL or CTL files"));
  }
  return job;
}

}  // namespace trqprep
