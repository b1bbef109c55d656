/// Reads any mesh file, STL or CTL, told apart by content, and says what is wrong with one that cannot be
/// read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "trq/geometry.h"
#include "trqprep/input_file.h"
#include "trqprep/matrix4.h"
#include "trqprep/observer.h"

namespace trqprep {

enum class MeshFormat { kBinaryStl, kAsciiStl, kCtl };
/// "binary STL", "ASCII STL", "CTL".
const char* MeshFormatName(MeshFormat format);

struct InputMesh {
  std::string path;  // as given
  MeshFormat format = MeshFormat::kBinaryStl;
  std::uint64_t file_size = 0;
  std::string sha256;                ///< of the file, when it was asked for
  std::shared_ptr<InputFile> file;   ///< still open, when that was asked for
  Units units = Units::kMillimetre;  ///< what the coordinates are in
  bool units_stated = false;         ///< by the file; otherwise they are --units
  bool units_given = false;          ///< somebody said them
  int solids = 1;                    ///< binary solids one after the other
  std::shared_ptr<CTL> mesh;  ///< with normals and extents; its header carries `units`; copies share it

  /// In cubic and square `units`, summed in double; CTL::volume and CTL::area round to float on the way.
  double volume() const;
  double area() const;
  Box box() const { return BoxOf(*mesh); }
};

bool LooksLikeCtl(const FileHead& file);
/// By name or by content.
bool LooksLikeStl(const FileHead& file);

struct MeshReading {
  bool may_be_cut = false;             ///< a text that ends too early is a warning only
  bool hash = false;                   ///< also InputMesh::sha256, of the bytes as they are read
  bool keep_open = false;              ///< also InputMesh::file
  const HeldFolder* folder = nullptr;  ///< the path is a name in it, as InputFile takes it
};

/// Reads a mesh; the file is opened once, and read once but for a text that turns out to be none or is not in
/// the strict form. Whatever keeps it from being a mesh ends the command with exit 3. Warns of unknown units
/// and of bytes that belong to no facet, and tells what the application itself would not read.
InputMesh ReadMesh(Observer& observer, const ReadOptions& options, const std::string& path,
                   const MeshReading& how = {});
/// The same of a file that is open already, at its start; `how.folder` is not asked.
InputMesh ReadMesh(Observer& observer, const ReadOptions& options, const std::shared_ptr<InputFile>& opened,
                   const MeshReading& how = {});

/// Fails with exit 3 when a coordinate is infinite or not a number: nothing can be computed from such a mesh.
void RequireFinite(const InputMesh& input);

/// UNITS-DOUBT when nobody said what unit the file is in, and the largest side is below 3 mm, or the part was
/// read in inches and does not fit the vat (in mm; null: no vat) although it would if its numbers were
/// millimetres.
std::optional<Message> UnitsDoubt(const InputMesh& input, const std::array<double, 3>* vat_mm);
/// Warns of it. Of STL files whose numbers are there, but make no mesh, ReadMesh does so itself.
void WarnOfUnits(Observer& observer, const InputMesh& input, const std::array<double, 3>* vat_mm);

/// Warns of a file that does not say its unit.
void WarnOfUnknownUnits(Observer& observer, const std::string& path, Units taken);

/// Scales the mesh to the wanted unit and labels it so.
void ConvertUnits(InputMesh& input, Units wanted);

}  // namespace trqprep
