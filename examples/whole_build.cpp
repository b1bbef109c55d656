// An application's whole build with the library's own classes: reads STL parts, places copies of them on the
// vat, gives every piece its build styles by Z and the platform its recoat style, works out Z correction,
// volume and area, carries vents-and-drains side files along, and writes every piece as CTL and all of them
// as plate.stl. Lengths are millimetres.
//
//   whole_build FOLDER VAT SEED STYLE UPPER-STYLE UPPER-Z RECOAT-STYLE PART COPIES [PART COPIES]...
//   whole_build out 250 1 Fine.sty Coarse.sty 20 Sweeps.rcs bracket.stl 2 ring.stl 3
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <stdexcept>
#include <string>

#include "trq/placement.h"
#include "trq/setup.h"

namespace {

struct Part {
  std::string path;
  int copies = 0;
  CTL mesh;
  double low[3] = {};  // its lowest X, Y and Z
  double high_z = 0;
};

struct Styles {
  CString lower, upper, recoat;
  float upper_from = 0;  // Z from the floor of the vat
};

void Check(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what);
}

void Load(Part& part) {
  std::FILE* file = std::fopen(part.path.c_str(), "rb");
  Check(file != nullptr, part.path + " cannot be opened");
  int accept_partial = 0;
  const int result = part.mesh.LoadSTLFile(file, trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
  std::fclose(file);
  Check(result == trq::stl_import::kOk, part.path + " cannot be read");
  part.mesh.SetUnits(trq::units::kMillimetre);  // an STL file says nothing about it
  double high[3];
  part.mesh.get_min(&part.low[0], &part.low[1], &part.low[2]);
  part.mesh.get_max(&high[0], &high[1], &high[2]);
  part.high_z = high[2];
}

// Moves in double, so that every coordinate is rounded once.
void Move(CTL& mesh, double x, double y) {
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    PbVec3f& vertex = mesh.vertices()[i];
    vertex = PbVec3f(static_cast<float>(vertex[0] + x), static_cast<float>(vertex[1] + y), vertex[2]);
  }
  mesh.recalculate_extents();
  mesh.extents_valid = 1;
  Check(mesh.Calculate_normals() == trq::mesh_io::kDone, "a part holds coordinates that are no numbers");
}

// The grid takes every part at X = Y = 0 and draws random numbers, here the same ones on every system.
void Place(std::deque<Part>& parts, GridEval& grid, unsigned seed) {
  for (Part& part : parts) {
    CTL copy;
    part.mesh.copy(&copy);
    Move(copy, -part.low[0], -part.low[1]);
    grid.add(copy, part.copies);
  }
  trq::SeededRandom random(seed);
  trq::SetRandomSource(trq::SeededRandom::Draw, &random);
  const bool placed = grid.find_placement() == 1;
  trq::SetRandomSource(nullptr, nullptr);
  Check(placed, "the pieces find no place in the vat");
}

// One build style from the bottom to the top; from `upper_from` on another takes its place.
void StackStyles(MODEL& piece, PLATFORM& platform, const Part& part, const Styles& styles) {
  const float bottom = static_cast<float>(part.low[2]);
  const float top = static_cast<float>(part.high_z);
  Check(piece.KVAddBuildStyle(&platform, nullptr, styles.lower, bottom, top, true) == 0,
        styles.lower.str() + " cannot be read");
  if (styles.upper_from >= top) return;
  const float from = std::max(bottom, styles.upper_from);
  Check(piece.KVAddBuildStyle(&platform, nullptr, styles.upper, from, top, true) == 0,
        styles.upper.str() + " cannot be read");
}

void PrintStyles(const MODEL& piece, const PLATFORM& platform) {
  for (const auto& style : piece.BuildStyles) {
    // Hatches wider than the spacing are left out: the widest keeps them all.
    const float spacing =
        std::max({style->SmallDownHatchSpacing1.GetValue(), style->SmallDownHatchSpacing2.GetValue(),
                  style->SmallDownHatchSpacing3.GetValue(), style->SmallDownHatchSpacing4.GetValue()});
    std::printf("  Z %g to %g: %s, layers of %g, Z correction %d layers\n",
                static_cast<double>(style->StartZ.GetValue()), static_cast<double>(style->EndZ.GetValue()),
                style->StyleName.str().c_str(), static_cast<double>(style->LayerThickness.GetValue()),
                piece.KVcalc_zcorrection(platform.MachineType, style.get(), spacing));
  }
}

std::string PieceName(const std::string& folder, const Part& part, int copy) {
  std::string name = part.path.substr(part.path.rfind('/') + 1);
  name.resize(std::min(name.size(), name.rfind('.')));
  return folder + "/" + name + "-" + std::to_string(copy + 1) + ".ctl";
}

// Styles, side file, measures and mesh of one piece that is moved by (x, y).
void MakePiece(const Part& part, const std::string& name, double x, double y, PLATFORM& platform,
               const Styles& styles, MODEL& piece) {
  piece.ComponentInfo.text = name;
  StackStyles(piece, platform, part, styles);

  // The mesh still lies where the file has it: the current matrix says where it goes, the one before is unit.
  float* const matrix = piece.ComponentInfo.placement();
  matrix[3] = static_cast<float>(x);
  matrix[7] = static_cast<float>(y);
  piece.CalculateCurrentVolumeAndArea(0);
  std::printf("%s: at X %g Y %g, area %g, volume %g\n", name.c_str(), part.low[0] + x, part.low[1] + y,
              static_cast<double>(matrix[28]), static_cast<double>(matrix[29]));
  PrintStyles(piece, platform);
  // The copy lies beside the piece, under its name, and makes the move that the matrices state.
  if (piece.CopyVDFileFrom(part.path, 0, 0, 0) == 1)
    Check(piece.MoveVDFileLast(0) == 1, "the side file of " + name + " cannot be moved");
  Move(piece, x, y);
}

void Build(const std::string& folder, float vat, unsigned seed, const Styles& styles,
           std::deque<Part>& parts) {
  PLATFORM platform;
  platform.MachineType = TRQ_E7;
  platform.Units = 1;
  platform.MinX = platform.MinY = platform.MinZ = 0;
  platform.MaxX = platform.MaxY = platform.MaxZ = vat;

  float top = 0;
  int facets = 0;
  for (Part& part : parts) {
    Load(part);
    top = std::max(top, static_cast<float>(part.high_z));
    facets += part.copies * part.mesh.num_triangles();
  }
  GridEval grid(vat, vat, vat, 1);
  Place(parts, grid, seed);
  Check(platform.KVaddRecoatStyle(0, top, styles.recoat, 0, false, true) == 0,
        styles.recoat.str() + " cannot be read");

  const std::string plate_name = folder + "/plate.stl";
  std::FILE* plate = std::fopen(plate_name.c_str(), "wb");
  Check(plate != nullptr, plate_name + " cannot be created");
  float unit[4][4];
  set_unit_matrix(unit);
  CTL().SaveSTLHeader(plate, facets);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    Part& part = parts[i];
    for (int copy = 0; copy < part.copies; ++copy) {
      const int component = static_cast<int>(i);
      const std::string name = PieceName(folder, part, copy);
      MODEL piece;
      part.mesh.copy(&piece);
      MakePiece(part, name, grid.x_shift(component, copy) - part.low[0],
                grid.y_shift(component, copy) - part.low[1], platform, styles, piece);
      piece.SaveModifiedCTLDataAsSTL(plate, 0, unit);
      // Last, for it snaps the vertices; what fails stays on record in the piece.
      Check(piece.SaveCTLModel(name, unit, 0) == trq::mesh_io::kDone, name + " cannot be written");
    }
  }
  const bool written = std::ferror(plate) == 0;
  Check(std::fclose(plate) == 0 && written, plate_name + " cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 10 || argc % 2 != 0) {
    std::fprintf(stderr,
                 "usage: whole_build FOLDER VAT SEED STYLE UPPER-STYLE UPPER-Z RECOAT-STYLE PART COPIES "
                 "[PART COPIES]...\n");
    return 2;
  }
  try {
    const Styles styles{argv[4], argv[5], argv[7], std::strtof(argv[6], nullptr)};
    std::deque<Part> parts;
    for (int i = 8; i < argc; i += 2) {
      Part& part = parts.emplace_back();
      part.path = argv[i];
      part.copies = std::clamp(std::atoi(argv[i + 1]), 1, int{GridEval::MAX_COPIES});
    }
    Build(argv[1], std::strtof(argv[2], nullptr), static_cast<unsigned>(std::atol(argv[3])), styles, parts);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "whole_build: %s\n", failure.what());
    return 1;
  }
  return 0;
}
