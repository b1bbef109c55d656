/// Writes small seed files of every format with the library's own writers: make_seeds FOLDER gives
/// FOLDER/<format>/<name>.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "trq/geometry.h"
#include "trq/recoat.h"
#include "trq/setup.h"
#include "trq/slice_contours.h"
#include "trq/styles.h"

namespace {

using Folder = std::filesystem::path;

Folder FormatFolder(const Folder& root, const char* format) {
  std::filesystem::create_directories(root / format);
  return root / format;
}

void WriteText(const Folder& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

/// Four corners of a tetrahedron of this size as an ASCII STL file; reading it makes the mesh.
std::string TetrahedronText(float size) {
  const float p[4][3] = {{0, 0, 0}, {size, 0, 0}, {0, size, 0}, {0, 0, size}};
  const int facets[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
  std::string text = "solid seed\n";
  char line[120];
  for (const auto& facet : facets) {
    text += " facet normal 0 0 0\n outer loop\n";
    for (const int corner : facet) {
      std::snprintf(line, sizeof line, "  vertex %g %g %g\n", p[corner][0], p[corner][1], p[corner][2]);
      text += line;
    }
    text += " endloop\n endfacet\n";
  }
  return text + "endsolid\n";
}

std::string ReadText(const Folder& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The CTL file as a machine of the other byte order wrote it: every word but those of the STL header
/// reversed.
std::string ForeignOrder(std::string bytes) {
  constexpr std::size_t kTextAt = 80, kTextEnd = 160;
  for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
    if (at < kTextAt || at >= kTextEnd) std::reverse(bytes.data() + at, bytes.data() + at + 4);
  }
  return bytes;
}

/// A wavy plate of n by n squares with every attribute, large enough for packed indices of several bits.
void MakePlate(const Folder& stl, const Folder& ctl, int n) {
  CTL mesh;
  const std::size_t side = static_cast<std::size_t>(n) + 1;
  mesh.vertices_.reset(side * side + 1);
  mesh.triangles_.reset(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
  for (int y = 0; y <= n; ++y) {
    for (int x = 0; x <= n; ++x) {
      mesh.vertices_[static_cast<std::size_t>(y) * side + static_cast<std::size_t>(x)] =
          PbVec3f(static_cast<float>(x), static_cast<float>(y), 0.25f * static_cast<float>((x * y) % 3));
    }
  }
  std::size_t count = 0;
  for (int y = 0; y < n; ++y) {
    for (int x = 0; x < n; ++x) {
      const int a = y * (n + 1) + x, b = a + 1, c = a + n + 1, d = c + 1;
      const int corners[2][3] = {{a, b, d}, {a, d, c}};
      for (const auto& corner : corners) {
        R_INT4& triangle = mesh.triangles_[count];
        for (int k = 0; k < 3; ++k) triangle[k] = corner[k];
        triangle[3] = static_cast<int>(count++ % 3);
      }
    }
  }
  mesh.header.num_vertices = static_cast<int32_t>(side * side);
  mesh.header.num_triangles = static_cast<int32_t>(count);
  mesh.header.units = trq::units::kMillimetre;
  set_unit_matrix(mesh.header.matrix);
  if (mesh.Calculate_normals() != 0) std::exit(1);
  float unit[4][4];
  set_unit_matrix(unit);
  const Folder little = ctl / "plate.ctl";
  mesh.SaveCTLModel(little.string(), unit, 0);
  WriteText(ctl / "plate_foreign.ctl", ForeignOrder(ReadText(little)));
  const Folder binary = stl / "plate.stl";
  mesh.SaveCTLasBinarySTL(binary.string(), unit, 0, 1);
  mesh.SaveCTLasAsciiSTL((stl / "plate_text.stl").string(), unit, 0);
  const std::string solid = ReadText(binary);
  WriteText(stl / "two_solids.stl", solid + solid);
  std::string shouted = TetrahedronText(3);
  for (char& c : shouted) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (std::size_t at = 0; (at = shouted.find('\n', at)) != std::string::npos; at += 2)
    shouted.insert(at, 1, '\r');
  WriteText(stl / "shouted.stl", shouted);
}

void MakeMeshes(const Folder& root) {
  const Folder stl = FormatFolder(root, "stl");
  const Folder ctl = FormatFolder(root, "ctl");
  for (const float size : {1.0f, 25.4f, 1e6f}) {
    const Folder text = stl / ("ascii_" + std::to_string(static_cast<int>(size)) + ".stl");
    WriteText(text, TetrahedronText(size));
    CTL mesh;
    int accept_partial = 0;
    std::FILE* f = std::fopen(text.c_str(), "rb");
    if (!f || mesh.LoadSTLFile(f, 1, &accept_partial, 0, 1e-4f, 0) != 0) std::exit(1);
    std::fclose(f);
    float unit[4][4];
    set_unit_matrix(unit);
    const std::string number = std::to_string(static_cast<int>(size));
    mesh.SaveCTLModel((ctl / ("little_" + number + ".ctl")).string(), unit, 0);
    CTL twice;
    mesh.copy(&twice);
    twice.combine(&mesh);
    twice.Calculate_normals();
    const std::string binary = (stl / ("binary_" + number + ".stl")).string();
    twice.SaveCTLasBinarySTL(binary, unit, 0, 7);
    twice.crcSTLFile(binary.c_str());
  }
  MakePlate(stl, ctl, 4);
}

void AddSquare(trq::SlcLayer& layer, float side, uint32_t gaps) {
  const float square[10] = {0, 0, side, 0, side, side, 0, side, 0, 0};
  std::memcpy(layer.AddBoundary(5, gaps), square, sizeof square);
}

void MakeContours(const Folder& root) {
  const Folder folder = FormatFolder(root, "slc");
  struct Recipe {
    const char* name;
    const char* header;
    int tables, layers, boundaries;
    bool empty_boundary;
  };
  const Recipe recipes[] = {
      {"square.slc", "-SLCVER 2.0 -UNIT MM", 1, 1, 1, false},
      {"no_header.slc", "", 1, 2, 1, false},
      {"tables.slc", "-SLCVER 2.0 -UNIT INCH -TYPE PART -PACKAGE SEEDS\r\n", 5, 3, 2, false},
      {"empty_layers.slc", "-SLCVER 2.0 -UNIT MM", 2, 4, 0, false},
      {"tower.slc", "-SLCVER 2.0 -UNIT MM -EXTENTS 0,1 0,1 0,1", 1, 20, 3, true}};
  for (const Recipe& recipe : recipes) {
    slc contours(nullptr);
    std::memcpy(contours.header_text, recipe.header, std::strlen(recipe.header) + 1);
    contours.header_length = static_cast<int32_t>(std::strlen(recipe.header));
    contours.table_count = static_cast<uint8_t>(recipe.tables);
    contours.table.resize(static_cast<std::size_t>(recipe.tables));
    for (int i = 0; i < recipe.layers; ++i) {
      trq::SlcLayer layer(0.1f * static_cast<float>(i));
      for (int k = 0; k < recipe.boundaries; ++k)
        AddSquare(layer, static_cast<float>(k + 1), static_cast<uint32_t>(k));
      if (recipe.empty_boundary) layer.AddBoundary(0, 1);
      contours.layers.push_back(layer);
    }
    contours.layers.push_back(trq::SlcLayer::Terminator(0.1f * static_cast<float>(recipe.layers)));
    if (contours.SaveSLCModel((folder / recipe.name).string()) != 0) std::exit(1);
  }
}

template <class Style>
void MakeStyles(const Folder& folder, const char* kind, const char* ending, int (Style::*save)(CString),
                Style style) {
  for (const float version : {3.01f, 4.0f, 2.06f}) {
    style.FileVersion = version;
    (style.*save)((folder / (kind + std::to_string(static_cast<int>(version * 100)) + ending)).string());
  }
}

void MakeAllStyles(const Folder& root) {
  const Folder builds = FormatFolder(root, "build_style");
  KVBUILDSTYLE build;
  MakeStyles(builds, "plain_", ".sty", &KVBUILDSTYLE::writeBuildStyle, build);
  build.LayerThickness.AddAndSetValue(0.1f);
  build.LayerThickness.AddAndSetValue(0.15f);
  build.Dp.SetValue(0.15f);
  build.StyleName = "filled";
  MakeStyles(builds, "filled_", ".sty", &KVBUILDSTYLE::writeBuildStyle, build);

  const Folder recoats = FormatFolder(root, "recoat_style");
  KVRECOATSTYLE recoat;
  MakeStyles(recoats, "plain_", ".rcs", &KVRECOATSTYLE::writeRecoatStyle, recoat);
  KVSWEEPS sweep;
  sweep.BladeGap.AddAndSetValue(100);
  recoat.AddToSweepList(sweep);
  recoat.AddToSecondarySweepList(sweep);
  recoat.NumSweeps.SetMaxRange(1);
  recoat.NumToolingSecondarySweeps.SetMaxRange(1);
  MakeStyles(recoats, "sweeps_", ".rcs", &KVRECOATSTYLE::writeRecoatStyle, recoat);

  RECOATSTYLE legacy("seed.rcs");
  const Folder folder = FormatFolder(root, "legacy_recoat_style");
  legacy.binaryWriteStyle((folder / "plain.rcs").string());
  legacy.writeRecoatStyle((folder / "text.rcs").string());
  for (const int count : {1, 2, 9}) {
    const auto sweeps = std::make_shared<std::vector<SWEEPS>>(static_cast<std::size_t>(count));
    legacy.NumSweeps = count;
    legacy.SweepList = sweeps;
    if (count == 9) {
      legacy.NumToolingPrimarySweeps = legacy.NumToolingSecondarySweeps = count;
      legacy.PrimarySweepList = legacy.SecondarySweepList = sweeps;
    }
    legacy.binaryWriteStyle((folder / ("sweeps_" + std::to_string(count) + ".rcs")).string());
  }
}

void MakeSideFiles(const Folder& root) {
  const Folder folder = FormatFolder(root, "side_file");
  WriteText(folder / "two.V_D",
            "1.0 2.0 3.0  0.0 0.0 1.0  0.5\n-1e3 +2 .5  nan inf -inf  1e-50\r\nno numbers\n");
  WriteText(folder / "no_end.V_D", "1 2 3 0 0 1 .5");
  WriteText(folder / "long_line.V_D", "1 2 3 0 0 1 .5" + std::string(600, ' ') + "4 5 6 0 0 -1 2\n");
  WriteText(folder / "blank.V_D", "\n\n \t\n");
  std::string many;
  for (int i = 0; i < 40; ++i)
    many += std::to_string(i) + ".25 -1 0.125  0 0 " + (i % 2 ? "1" : "-1") + "  0.5\n";
  WriteText(folder / "many.V_D", many);
}

// As fuzz_slices reads them: flags, counts, corners and planes of a byte each, then corners of facets by
// number.
void MakeSlices(const Folder& root) {
  const std::string corners{0, 0, 0, 4, 0, 0, 0, 4, 0, 0, 0, 4, 4, 4, 4};
  const std::string tetrahedron{0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3};
  for (const int flags : {1, 5, 17, 33, 65, 129}) {
    const std::string head{char(flags), 5, 4};
    WriteText(FormatFolder(root, "slices") / ("flags_" + std::to_string(flags)),
              head + corners + std::string{0, 1, 2, 4} + tetrahedron + std::string{1, 4, 2, 3, 4, 1});
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const Folder root = argv[1];
  MakeMeshes(root);
  MakeContours(root);
  MakeAllStyles(root);
  MakeSideFiles(root);
  MakeSlices(root);
  return 0;
}
