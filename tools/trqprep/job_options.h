/// The options of a job on the command line, and where their values go.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/command.h"
#include "trqprep/job.h"

namespace trqprep {

class JobOptions {
 public:
  /// Adds the arguments and options to a command; those of builds too when `whole`, and then the argument may
  /// be a job file.
  JobOptions(Command& command, bool whole);
  /// The job as given; parts and styles in command-line order.
  Job Get(const Context& context) const;

 private:
  void TakeCodes(Job& job) const;

  CLI::App& app_;
  bool whole_;
  CLI::Option* arguments_ = nullptr;
  CLI::Option* part_options_ = nullptr;
  CLI::Option* vat_option_ = nullptr;
  std::vector<std::string> argument_values_;
  std::map<std::string, std::vector<std::string>> lists_;  ///< parts and styles as typed, by key
  std::string machine_;
  std::string machines_file_;
  std::map<std::string, std::string> choices_;  ///< as typed, by key
  Job job_;
};

/// Takes from the job what the options of the line would say of units and reading: a job file says it itself.
void ApplyJob(Context& context, const Job& job);

}  // namespace trqprep
