/// Repairs the surface of a mesh, on request only: what it means that a part is closed is left to nobody's
/// guess.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "trqprep/mesh_input.h"
#include "trqprep/mesh_topology.h"
#include "trqprep/observer.h"

namespace trqprep {

/// The most edges of a hole that may be filled: time grows as their cube, memory as their square.
constexpr int kMostHoleEdges = 1000;

struct RepairLimits {
  double tolerance = 0.05;  ///< how far a corner may be moved, in the unit of the mesh; 0: not at all
  int hole_edges = 100;     ///< holes with more edges stay, 0..kMostHoleEdges
};

/// An edge that is not used as often in each direction.
struct OpenEdge {
  int facet = 0;  ///< one of the facets at it, in the mesh as it is now
  Point from;
  Point to;
};

/// What was done.
struct MeshRepair {
  int64_t open_before = 0;   ///< edges that were not used as often in each direction
  int given_twice = 0;       ///< facets that went because there was another on the same three corners
  int equal_corners = 0;     ///< facets that went because two of their corners were one
  int kept_for_box = 0;      ///< such facets that stay: the box of the mesh ends there
  int turned_facets = 0;     ///< to fit the others of their shell
  int turned_shells = 0;     ///< whole shells, outward or inward
  int undecided_shells = 0;  ///< closed ones left as they face: they cross others or lie in what is open
  int stitched_edges = 0;    ///< pairs of open edges that became one
  int moved_corners = 0;     ///< vertices that were joined with another one elsewhere
  double largest_move = 0;   ///< of them
  int filled_holes = 0;
  int added_facets = 0;        ///< in them
  int64_t open_after = 0;      ///< edges that are still open
  std::vector<OpenEdge> left;  ///< the first kPlacesKept of them, in the order of the edges' vertices

  /// Whether anything was done to the mesh.
  bool any() const;
  /// After another repair of the same mesh.
  MeshRepair& operator+=(const MeshRepair& next);
};

/// Repairs the mesh in these steps, again and again until none finds anything to do:
/// - Vertices at one and the same place become one. Facets with equal corners go, unless the box ends there.
/// - Of facets on the same three corners one stays. Both stay where taking one away would open edges: the two
///   sides of a sheet without thickness.
/// - Open edges (used by an odd number of facets) whose ends lie together in pairs are stitched, nearest
///   first, within an eighth, a quarter, a half of the tolerance and all of it; never farther than half the
///   length of the shorter edge. So is a facet with two open edges
///   that lies that close to another one. The place with the most facets stays; no facet loses a corner, no
///   vertex moves farther than the tolerance.
/// - Facets that share an edge are turned alike, the fewer to fit the more. A surface with one side stays.
/// - Holes of at most `hole_edges` edges are filled with the triangles of least area. The rim of a sheet is
///   no hole: a border whose corners turn by more than 271 degrees in all, seen along the surface. (A flat or
///   bent sheet's rim turns by 360 degrees, that of a box without lid by 0, a hole in a plane by -360.)
/// - Closed shells are turned outward, or inward where they lie in an odd number of others.
///
/// All other vertices keep their bits, the box of the facets' corners stays the same, and facets keep their
/// order and attributes; new ones come last, with attribute 0. Vertices are numbered in the order of their
/// first use, those that no facet used come behind them. A second repair finds nothing to do, unless more
/// than about half a million edges were open: these are not stitched again and again for ever. The mesh gets
/// new normals and extents. Ends the command with exit 3 when a coordinate is not finite. Time grows as the
/// facets times their logarithm and the cube of `hole_edges`. The observer may cancel it, and the mesh is
/// empty then.
MeshRepair RepairMesh(Observer& observer, InputMesh& input, const RepairLimits& limits);

/// Corners may be moved so far where nobody says otherwise.
constexpr Length kRepairTolerance{0.05, Units::kMillimetre};

/// Repairs what a file of that format would hold, until the file reads back as it was repaired.
MeshRepair RepairForFile(Observer& observer, InputMesh& input, const RepairLimits& limits, MeshFormat format);

/// "open_edges" and "steps" of `repair --json`.
void DescribeRepair(Json& data, const MeshRepair& done);
/// REPAIR-LEFT: where edges of the repaired mesh are still open.
Message RepairLeft(const std::string& output, const MeshRepair& done);

}  // namespace trqprep
