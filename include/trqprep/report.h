/// The report: one page that shows a build, or meshes, slice contours and styles, in any browser and on paper
/// (docs/report.md). Made of values alone.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trq/core/slc.h"
#include "trq/geometry.h"
#include "trqprep/json_text.h"
#include "trqprep/matrix4.h"
#include "trqprep/message.h"
#include "trqprep/quantities.h"
#include "trqprep/stored_style.h"

namespace trqprep {

/// Facets that the meshes of a page have together unless somebody says otherwise.
constexpr std::int64_t kReportFacets = 300000;
/// In the place of a number of facets: all that there are.
constexpr std::int64_t kAllReportFacets = 0;

/// A style over a range of Z.
struct ReportBand {
  std::string file;
  double start = 0;
  double end = 0;
  double thickness = 0;  ///< of its layers
  std::int64_t z_correction = 0;
};

struct ReportPart {
  std::string name;
  std::string file;    ///< parts of one file share their mesh
  std::string sha256;  ///< of the file; empty: not known
  std::string unit;    ///< of the file's coordinates
  std::int64_t facets = 0;
  std::vector<ReportBand> styles;
  std::vector<std::pair<std::string, std::string>> facts;  ///< more, as words
  std::shared_ptr<CTL> mesh;                               ///< in the file's own unit; null: contours only
};

/// A part in its place. Lengths are in the subject's units.
struct ReportPiece {
  std::size_t part = 0;
  std::string name;
  double turn = 0;  ///< about Z in all, degrees
  Matrix4 matrix;   ///< takes the part's mesh to its place
  Box box;
  std::optional<double> area, volume;
  std::shared_ptr<const trq::core::Contours> layers;  ///< null: none
};

/// A file, with its sum.
struct ReportFile {
  std::string name;
  std::uint64_t size = 0;
  std::string sha256;
};

/// What is found, as MessageToJson says it.
struct ReportFinding {
  std::string code, severity, file, text, hint;
  Json where;
};

/// One thing that a page shows.
struct ReportSubject {
  enum class Kind { kBuild, kMesh, kContours, kStyle };
  Kind kind = Kind::kBuild;
  std::string title;
  Units units = Units::kMillimetre;
  std::optional<Point> vat;
  std::vector<std::pair<std::string, std::string>> facts;  ///< shown at the top
  std::vector<ReportPart> parts;
  std::vector<ReportPiece> pieces;
  std::vector<ReportBand> recoat;
  bool checked = true;  ///< so that no findings mean that all is well
  std::vector<ReportFinding> findings;
  std::string svg;  ///< the view from above
  std::vector<StyleFile> styles;
  Json estimate;    ///< of estimate.json; nothing: there is none
  std::string job;  ///< text of the job file
  std::vector<ReportFile> files;
};

struct ReportOptions {
  std::int64_t facets = kReportFacets;  ///< of the meshes of a subject together, or kAllReportFacets
};

/// The page: HTML in UTF-8, complete in itself. The same values give the same bytes with the same zlib,
/// libpng and meshoptimizer. Names are shown as names, whatever is in them.
std::string ReportPage(const std::vector<ReportSubject>& subjects, const ReportOptions& options);

}  // namespace trqprep
