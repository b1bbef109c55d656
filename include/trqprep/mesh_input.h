/// Reads any mesh file, STL or CTL, told apart by content, and says what is wrong with one that cannot be
/// read.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/context.h"
#include "trq/geometry.h"
#include "trqprep/matrix4.h"

namespace trqprep {

enum class MeshFormat { kBinaryStl, kAsciiStl, kCtl };
/// "binary STL", "ASCII STL", "CTL".
const char* MeshFormatName(MeshFormat format);

struct InputMesh {
  std::string path;  // as given
  MeshFormat format = MeshFormat::kBinaryStl;
  std::uint64_t file_size = 0;
  Units units = Units::kMillimetre;  ///< what the coordinates are in
  bool units_stated = false;         ///< by the file; otherwise they are --units
  int solids = 1;                    ///< binary solids one after the other
  std::unique_ptr<CTL> mesh;         ///< with normals and extents; its header carries `units`

  double volume() const;  ///< in cubic `units`, summed in double
  double area() const;
  Box box() const { return BoxOf(*mesh); }
};

/// What is known about a file before it is read: its first bytes and its size.
struct FileHead {
  std::string path;
  std::string head;  ///< up to 4096 bytes
  std::uint64_t size = 0;
  bool is_folder = false;
};

/// Opens, checks that it is a regular file (or a folder, when allowed) and reads the head. Exit 3 otherwise.
FileHead ReadFileHead(const std::string& path, bool folder_allowed = false);

bool LooksLikeCtl(const FileHead& file);
/// By name or by content.
bool LooksLikeStl(const FileHead& file);

/// Reads a mesh. Whatever keeps it from being one ends the command with exit 3. `may_be_empty`: a file
/// without facets is a warning only. Warns about unknown units, of parts so small that the unit is in doubt,
/// and of bytes that belong to no facet.
InputMesh ReadMesh(Context& context, const std::string& path, bool may_be_empty = false);

/// Fails with exit 3 when a coordinate is infinite: nothing can be computed from such a mesh.
void RequireFinite(const InputMesh& input);

/// UNITS-DOUBT when the largest side is below 2 mm or the part would fit the vat (in mm; null: no vat) 25.4
/// times larger.
std::optional<Message> UnitsDoubt(const InputMesh& input, const std::array<double, 3>* vat_mm);
/// Warns of it.
void WarnOfUnits(Context& context, const InputMesh& input, const std::array<double, 3>* vat_mm);

/// Scales the mesh to the wanted unit and labels it so.
void ConvertUnits(InputMesh& input, Units wanted);

}  // namespace trqprep
