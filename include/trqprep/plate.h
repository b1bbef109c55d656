/// The plate: parts as read, pieces as placed, and whether the result is right.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "trqprep/job.h"
#include "trqprep/matrix4.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"
#include "trqprep/overlap.h"

namespace trqprep {

struct PlatePart {
  PartRequest
      request;       ///< once placed with the copies that there are, also where as many as fit were asked for
  std::string name;  ///< the file's stem, numbered where two are equal
  std::string file_name;                 ///< of its file in a build folder: its own name, or another part's
  bool shares_file = false;              ///< with a part before it that differs in its place alone
  InputMesh input;                       ///< untouched, in the file's own unit
  std::optional<std::string> side_file;  ///< text of its vents-and-drains side file
  std::vector<Message> remarks;          ///< what was said while it was read
  Matrix4 prepare;                       ///< unit, asked-for turn, to minimum X = Y = 0, Z kept or dropped
};

struct Piece {
  std::size_t part = 0;  ///< index of the PlatePart
  int copy = 1;          ///< from 1
  double x = 0;          ///< where the lower corner of the turned part stands
  double y = 0;
  double rotation = 0;  ///< degrees, as the placement chose
  int rotation_index = 0;
  std::size_t plate = 0;          ///< of several, from 0
  Matrix4 matrix;                 ///< takes the untouched mesh to its place
  std::vector<PbVec3f> vertices;  ///< of the placed mesh
  Box box;
};

struct Plate {
  Job job;
  std::array<double, 3> vat{};   ///< in job.units, like everything below
  std::array<double, 2> cell{};  ///< of the grid, where that is the engine
  std::vector<PlatePart> parts;
  std::vector<Piece> pieces;
  Box extent;                       ///< of all pieces
  std::optional<Nearness> closest;  ///< the pieces that are nearest to each other seen from above
};

/// Reads one part in the unit that the job or the part says; exit 2 where the file states another.
InputMesh ReadPart(Observer& observer, const Job& job, const PartRequest& part, const MeshReading& how = {});

/// NO-PLACEMENT when a job has more than can be placed together, whatever it is: parts with the engine grid
/// (those of more than 100 copies count once a hundred), pieces with nest.
std::optional<Message> TooManyParts(const Job& job);

/// Reads the parts of a job, a file that several name once. Exit 3 for one that cannot be read, exit 5 for
/// TooManyParts before any is.
/// Files that `known` has read are not read again, and what was said of them is not repeated.
Plate LoadPlate(Observer& observer, const Job& job, const Plate* known = nullptr);

/// Searches the placement and applies it to the untouched meshes. False, after a message with the reason,
/// when there is none: the command then ends with exit 5. The plate's job then has the steps that the search
/// took in the place of a time.
bool PlacePieces(Observer& observer, Plate& plate);

/// Checks on the placed meshes that every vertex lies inside the vat and that no two pieces overlap seen from
/// above or are nearer to each other or to a wall than they may: OUTSIDE-VAT, OVERLAP and GAP-SMALL, all
/// errors. Finds the closest pair.
std::vector<Message> CheckPieces(Observer& observer, Plate& plate);

/// True for a part that is moved up to Z = 0: its lowest point (in `units`) is below it by more than a
/// contact.
bool IsLifted(double lowest, Units units, Floor floor);
/// FLOOR-LIFTED or FLOATING of a part with that lowest point, in `units`; nothing of one that is dropped.
std::optional<Message> FloorFinding(const std::string& file, double lowest, const Job& job);

/// The least distance that a piece of a part wants to every other piece, in the plate's unit; of two pieces
/// the larger counts.
double GapOf(const Plate& plate, std::size_t part);

/// What a piece was turned by in all, in degrees from 0 to below 360: its part's own turn and the
/// placement's.
double TurnOf(const Plate& plate, const Piece& piece);

/// "gear-2"
std::string PieceName(const Plate& plate, const Piece& piece);
/// The last part of a path without its ending, as PortableName.
std::string Stem(const std::string& path);
/// Names that are given once.
class FreshNames {
 public:
  /// The name made of the two, or `stem`-2, -3, ... and the ending when that is taken; it is taken now. Names
  /// that differ in upper and lower case only are one name: they would be one file on many systems.
  std::string Of(const std::string& stem, const std::string& ending = "");

 private:
  std::set<std::string> taken_;
  std::map<std::string, int> next_;  // numbers before it are taken
};
/// Placed pieces, and how far from each other and from the walls they are to be; all in `units`.
struct Neighbours {
  Units units = Units::kMillimetre;
  double contact = 0;   ///< how far they may reach into each other, and be nearer than asked for
  double rounding = 0;  ///< what they may be nearer besides
  Point vat{};
  double margin = 0;  ///< to the walls of the vat along X and Y; 0: none
  std::vector<PlacedShape> shapes;
  std::vector<Box> boxes;  ///< of the shapes, like what follows
  std::vector<std::string> names;
  std::vector<double> gaps;         ///< to every other piece; of two the larger counts; 0: none
  std::int64_t threads = 1;         ///< that compare them
  std::optional<Nearness> closest;  ///< set by FindNeighbours
};
/// OVERLAP of every two that overlap seen from above, and GAP-SMALL of every two that are nearer than the gap
/// and of each that is nearer to a wall than the margin; names are preceded by `what`.
std::vector<Message> FindNeighbours(Observer& observer, Neighbours& pieces, const std::string& file,
                                    const std::string& what);

/// How far pieces may reach into each other or out of the vat: a contact, in `units`.
double ContactIn(Units units);

/// The vertices of a mesh that `matrix` takes to its place, each rounded once.
std::vector<PbVec3f> PlacedVertices(const CTL& mesh, const Matrix4& matrix);
/// The placed mesh of a piece, without normals; the plate keeps its arrays.
trq::core::MeshView PieceView(const Plate& plate, const Piece& piece);
/// Of all pieces.
std::int64_t FacetCount(const Plate& plate);

/// What the plate holds, as build.json and `place --json` say it; nothing about outputs.
Json DescribePlate(const Plate& plate);

}  // namespace trqprep
