/// make_mesh FACETS FILE: writes a sphere as a binary STL file, for measuring whole programs.
/// make_mesh gyroid FACETS FILE: a gyroid, facing out. make_mesh refine IN FILE: four facets for each of a
/// binary STL file.
#include <cstdlib>

#include "benchmarks/stl_meshes.h"

int main(int argc, char** argv) {
  const std::string kind = argc == 4 ? argv[1] : argc == 3 ? "sphere" : "";
  bench::Corners corners;
  if (kind == "sphere") {
    corners = bench::Sphere(std::atoi(argv[1]));
  } else if (kind == "gyroid") {
    corners = bench::FacingOut(bench::Gyroid(std::atoi(argv[2])));
  } else if (kind == "refine") {
    corners = bench::Refined(bench::CornersOfBinary(argv[2]));
  } else {
    std::fputs("usage: make_mesh FACETS FILE, make_mesh gyroid FACETS FILE, make_mesh refine IN FILE\n",
               stderr);
    return 2;
  }
  const std::string bytes = bench::BinaryBytes(corners);
  std::FILE* const f = std::fopen(argv[argc - 1], "wb");
  const bool written = f && std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return written && std::fclose(f) == 0 ? 0 : 1;
}
