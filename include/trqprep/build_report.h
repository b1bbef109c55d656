/// The report of a build: what its folder holds, as one page.
#pragma once

#include <string>
#include <vector>

#include "trqprep/build_folder.h"
#include "trqprep/held_folder.h"
#include "trqprep/observer.h"
#include "trqprep/report.h"

namespace trqprep {

/// What a report shows of a build that is at hand: `document` is build.json with the files that were written
/// so far, `texts` are those of plate.svg, build.toml, checks.json and estimate.json (empty: there is none).
/// The subject borrows the slices.
struct BuildTexts {
  std::string svg, job, checks, estimate;
};
ReportSubject SubjectOfBuild(const Plate& plate, const BuildSetup& setup,
                             const std::vector<trq::core::Contours>& slices, const Json& document,
                             const BuildTexts& texts);

/// The same of a build folder, or of each plate of a folder over several; every file is read from the folder
/// itself. A page made of it has the bytes of report.html in it. Exit 3 for a folder that is no build, and
/// for a file that it lacks or that cannot be read.
std::vector<ReportSubject> SubjectsOfFolder(Observer& observer, const HeldFolder& folder);

}  // namespace trqprep
