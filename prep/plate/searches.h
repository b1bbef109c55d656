/// The two engines that find places, and what they share.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "trqprep/plate.h"

namespace trqprep {

// Each fills the plate's pieces, or says why it cannot and returns false.
bool SearchOnGrid(Observer& observer, Plate& plate);
bool SearchNest(Observer& observer, Plate& plate);

constexpr std::int64_t kMostGridComponents = 101;  // what the grid's tables take
constexpr std::int64_t kMostNestedPieces = 10'000;
/// What the grid's tables have to take.
std::int64_t GridComponents(const Job& job);
/// Of a part that is to fill the plate one counts.
std::int64_t PieceCount(const Job& job);

/// How many of the job's threads may work on meshes of so many facets side by side: what they need meanwhile
/// is to add no more than a quarter to what the build takes on one thread, or little.
std::int64_t ThreadsForMeshes(const Job& job, std::vector<std::int64_t> facets);

/// The matrix, and then a move that takes the lower corner of the mesh to (x, y), with `drop` to Z = 0 too.
Matrix4 ToCorner(const CTL& mesh, const Matrix4& matrix, double x, double y, bool drop);
/// A gap as the engines plan it: a little more than asked for, since placed vertices are floats, and not
/// beyond what the vat can hold. 0 stays 0.
double PlannedGap(const Plate& plate, double gap);
/// Of the outlines, in the plate's unit.
double ToleranceOf(const Job& job);
/// The room for pieces along X and Y: the vat within the margins. May be below 0.
std::array<double, 2> RoomOf(const Plate& plate);
/// TOO-BIG-FOR-VAT of every part that does not fit in any of its turns, alone. False when all do.
bool SayTooLarge(Observer& observer, const Plate& plate);
/// Gives the plate its pieces, of which everything but matrix, vertices and box is known; `place` says the
/// matrix of one, from what it shares with no other.
void AddPieces(Observer& observer, Plate& plate, std::vector<Piece> pieces,
               const std::function<void(Piece&)>& place);

}  // namespace trqprep
