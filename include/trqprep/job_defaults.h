/// What a new job gets where nothing is said.
#pragma once

#include <string>

#include "trqprep/job.h"

namespace trqprep {

/// Gap and margin of a job that is to be nested and says none. Exit 2 for a job that drops parts and keeps
/// their floor.
void TakeUsualDistances(Job& job);

/// Takes from what --machine names what a job has of it: a profile of --machines, or a machine type.
void ChooseMachine(const std::string& name, const std::string& profiles_file, bool vat_given, Job& job);

}  // namespace trqprep
