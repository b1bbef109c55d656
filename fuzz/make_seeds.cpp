/// Writes small seed files of every format with the library's own writers: make_seeds FOLDER gives
/// FOLDER/<format>/<name>.
#include <cstring>
#include <filesystem>
#include <fstream>
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
}

void MakeContours(const Folder& root) {
  slc contours(nullptr);
  const std::string header = "-SLCVER 2.0 -UNIT MM";
  std::memcpy(contours.header_text, header.c_str(), header.size() + 1);
  contours.header_length = static_cast<int32_t>(header.size());
  contours.table_count = 1;
  contours.table.emplace_back();
  SlcLayer layer(0.1f);
  const float square[8] = {0, 0, 1, 0, 1, 1, 0, 1};
  std::memcpy(layer.AddBoundary(4, 0), square, sizeof square);
  contours.layers.push_back(layer);
  contours.layers.push_back(SlcLayer::Terminator(0.2f));
  contours.SaveSLCModel((FormatFolder(root, "slc") / "square.slc").string());
}

template <class Style>
void MakeStyles(const Folder& folder, const char* ending, int (Style::*save)(CString), Style style) {
  for (const float version : {3.01f, 4.0f, 2.06f}) {
    style.FileVersion = version;
    (style.*save)((folder / (std::to_string(static_cast<int>(version * 100)) + ending)).string());
  }
}

void MakeAllStyles(const Folder& root) {
  KVBUILDSTYLE build;
  build.LayerThickness.AddAndSetValue(0.1f);
  build.Dp.SetValue(0.15f);
  MakeStyles(FormatFolder(root, "build_style"), ".sty", &KVBUILDSTYLE::writeBuildStyle, build);
  KVRECOATSTYLE recoat;
  KVSWEEPS sweep;
  sweep.BladeGap.AddAndSetValue(100);
  recoat.AddToSweepList(sweep);
  recoat.AddToSecondarySweepList(sweep);
  recoat.NumSweeps.SetMaxRange(1);
  recoat.NumToolingSecondarySweeps.SetMaxRange(1);
  MakeStyles(FormatFolder(root, "recoat_style"), ".rcs", &KVRECOATSTYLE::writeRecoatStyle, recoat);
  RECOATSTYLE legacy("seed.rcs");
  const Folder folder = FormatFolder(root, "legacy_recoat_style");
  legacy.binaryWriteStyle((folder / "plain.rcs").string());
  legacy.NumSweeps = 2;
  legacy.SweepList = std::make_shared<std::vector<SWEEPS>>(2);
  legacy.binaryWriteStyle((folder / "sweeps.rcs").string());
  legacy.writeRecoatStyle((folder / "text.rcs").string());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const Folder root = argv[1];
  MakeMeshes(root);
  MakeContours(root);
  MakeAllStyles(root);
  WriteText(FormatFolder(root, "side_file") / "two.V_D",
            "1.0 2.0 3.0  0.0 0.0 1.0  0.5\n-1e3 +2 .5  nan inf -inf  1e-50\r\nno numbers\n");
  return 0;
}
