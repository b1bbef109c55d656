/// make_mesh FACETS FILE: writes a sphere as a binary STL file, for measuring whole programs.
#include <cstdlib>

#include "benchmarks/stl_meshes.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: make_mesh FACETS FILE\n", stderr);
    return 2;
  }
  const std::string bytes = bench::BinaryBytes(bench::Sphere(std::atoi(argv[1])));
  std::FILE* const f = std::fopen(argv[2], "wb");
  const bool written = f && std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return written && std::fclose(f) == 0 ? 0 : 1;
}
