/// The parts of a page about one subject, each a section of markup.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "prep/report/html.h"
#include "trqprep/report.h"

namespace trqprep {

/// What the viewer is given besides the markup.
struct PageScene {
  Json json;                   ///< goes into the page as data
  Html blocks;                 ///< meshes and contours, each an element of its own
  std::size_t facets = 0;      ///< that travel
  std::size_t all_facets = 0;  ///< of the parts
  std::size_t layer_step = 1;  ///< of the layers every so many-th travels
};
/// `id` of the subject begins the ids of its elements.
PageScene MakeScene(const ReportSubject& subject, const std::string& id, std::int64_t facets);

/// Where a finding is.
struct FindingPlace {
  std::vector<std::size_t> pieces;
  std::vector<Point> points;  ///< in the subject's units
};
std::vector<FindingPlace> PlacesOfFindings(const ReportSubject& subject);

void AddStage(Html& page, const ReportSubject& subject, const std::string& id, const PageScene& scene,
              const std::vector<FindingPlace>& places);
void AddPieces(Html& page, const ReportSubject& subject, const std::string& id);
void AddFindings(Html& page, const ReportSubject& subject, const std::string& id,
                 const std::vector<FindingPlace>& places);
void AddBands(Html& page, const ReportSubject& subject, const std::string& id);
void AddStyles(Html& page, const ReportSubject& subject, const std::string& id);
void AddLayers(Html& page, const ReportSubject& subject, const std::string& id, const PageScene& scene);
void AddEstimate(Html& page, const ReportSubject& subject, const std::string& id);
void AddRecord(Html& page, const ReportSubject& subject, const std::string& id);

/// PNG files of a part as it lies in its file, and of everything in its place. Empty for what cannot be drawn
/// or has so many facets that drawing it would take long.
std::string PictureOfPart(const ReportPart& part);
std::string PictureOfPlate(const ReportSubject& subject);

bool HasMeshes(const ReportSubject& subject);
bool HasLayers(const ReportSubject& subject);

}  // namespace trqprep
