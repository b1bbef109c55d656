/// The build folder: what it holds and how it is written.
#pragma once

#include <optional>
#include <string>

#include "trq/core/slc.h"
#include "trqprep/atomic_output.h"
#include "trqprep/build_setup.h"
#include "trqprep/plate.h"

namespace trqprep {

/// Names inside a build folder.
constexpr const char* kPlateStl = "plate.stl";
constexpr const char* kPlateSvg = "plate.svg";
constexpr const char* kBuildJson = "build.json";
constexpr const char* kBuildToml = "build.toml";
constexpr const char* kChecksJson = "checks.json";
/// Written with slices where styles and machine say all that it needs.
constexpr const char* kEstimateJson = "estimate.json";
constexpr const char* kReportHtml = "report.html";
constexpr const char* kMeshFolder = "meshes";
constexpr const char* kPartFolder = "parts";
constexpr const char* kSliceFolder = "slices";
constexpr const char* kStyleFolder = "styles";
constexpr const char* kBuildSchema = "trqprep.build-folder/2";
/// Of folders whose files have a "size" for a "file_size", which are read as well.
constexpr const char* kOldBuildSchema = "trqprep.build-folder/1";
constexpr const char* kChecksSchema = "trqprep.checks/2";

/// "meshes/gear-2.ctl"
std::string MeshName(const Plate& plate, const Piece& piece);
/// "slices/gear-2.slc"
std::string SlicesName(const Plate& plate, const Piece& piece);

/// build.json without the list of files: the plate with its styles. Nothing in it hangs on where the folder
/// stands or where its inputs came from.
Json BuildDocument(const Plate& plate, const BuildSetup& setup);

/// The job that makes a build folder again from its own files.
Job FolderJob(const Plate& plate, const BuildSetup& setup);

/// Fills the folder, or one below it when `below` names that, with '/' at its end; the caller commits it.
/// `findings` go to checks.json, `slices` are those of each piece or none, `estimate` goes to estimate.json
/// unless it is nothing, the list of files and the sum into `document`, which becomes build.json.
void WriteBuildFolder(Observer& observer, const Plate& plate, const BuildSetup& setup,
                      const std::vector<BuildFinding>& findings,
                      const std::vector<trq::core::Contours>& slices, const Json& estimate, Json& document,
                      OutputFolder& folder, const std::string& below = "");

/// The matrix in single precision.
void Narrow(const Matrix4& matrix, float (&narrow)[4][4]);

/// The sum over build.json that stands in it as "sum", of the document without it.
std::string SumOf(const Json& document);

/// Parses a JSON file of a folder. Throws JsonMistake; exit 3 for a file that cannot be read.
Json ReadFolderJson(const HeldFolder& folder, const char* name);
/// What build.json of a folder lists, with itself; nothing when the folder is no build.
std::optional<FolderList> FilesOfBuild(const HeldFolder& folder);
/// build.json of a folder. Exit 3 when it is none.
Json ReadBuildDocument(const HeldFolder& folder);

}  // namespace trqprep
