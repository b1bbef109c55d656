/// What a report shows of one mesh, of slice contours, or of a style.
#pragma once

#include <cstddef>
#include <memory>

#include "trq/core/slc.h"
#include "trqprep/contour_file.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"
#include "trqprep/report.h"
#include "trqprep/stored_style.h"

namespace trqprep {

// Each is checked: what the observer heard from message `said` on, and hears now, are the findings. The files
// of the subject are left to the caller.

/// A mesh, in the place that its coordinates say. The subject shares its arrays.
ReportSubject SubjectOfMesh(Observer& observer, const InputMesh& input, std::size_t said);
ReportSubject SubjectOfContours(Observer& observer, ContourFile file, std::size_t said);
ReportSubject SubjectOfStyle(Observer& observer, StyleFile file, std::size_t said);

}  // namespace trqprep
