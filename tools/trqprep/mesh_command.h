/// What the commands share that read a mesh and write one.
#pragma once

#include <string>

#include "cli/command.h"
#include "trqprep/mesh_writer.h"

namespace trqprep {

struct MeshOptions {
  std::string input;
  std::string output;
  std::string format;
};
/// IN and -o.
void AddMeshFiles(Command& command, MeshOptions& options, const std::string& input = "STL or CTL file");
/// --to, and what ReadsMeshes adds.
void AddMeshFormat(Command& command, MeshOptions& options);

struct MeshWork {
  MeshFormat format;  ///< of the output
  InputMesh input;
  /// Of the output. STL files cannot say their unit, so the tool writes what it would read: --units.
  Units units;

  /// The factor from the unit of the input to that of the output.
  double factor() const { return UnitsFactor(input.units, units); }
};
/// Reads the input and warns of its units.
MeshWork ReadForWork(Context& context, const MeshOptions& options);
/// States the files, and that lengths are in `units`.
void StateFiles(Context& context, const MeshOptions& options, Units units);
/// Writes the input as it is by now and states the files.
void WriteWork(Context& context, const MeshOptions& options, const MeshWork& work,
               std::optional<int64_t> stamp = std::nullopt);

}  // namespace trqprep
