/// Job files: everything that a build is made of, in TOML. People write them by hand, and every build folder
/// holds the one that makes it again.
#pragma once

#include <string>

#include "trqprep/held_folder.h"
#include "trqprep/job.h"

namespace trqprep {

constexpr const char* kJobSchema = "trqprep.job/2";
/// Of files with `_` for `-` in their keys, which are read as well.
constexpr const char* kOldJobSchema = "trqprep.job/1";

/// True when the argument is to be read as a job file: its name ends in ".toml".
bool NamesJobFile(const std::string& path);
/// Reads a job; the files that it names are seen from its own folder. Whatever it cannot mean ends the
/// command with exit 3.
Job ReadJobFile(const std::string& path);
/// Reads the one that a folder holds itself and not through links.
Job ReadJobFile(const HeldFolder& folder, const std::string& name);
/// The job as a job file. Lengths are in the job's unit.
std::string JobFileText(const Job& job);

}  // namespace trqprep
