// Prints facet count and volume of an STL file.
#include <cstdio>

#include "trq/geometry.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: print_volume FILE.stl\n");
    return 2;
  }
  std::FILE* file = std::fopen(argv[1], "rb");
  if (file == nullptr) {
    std::perror(argv[1]);
    return 3;
  }
  CTL mesh;
  int accept_partial = 0;
  const int result = mesh.LoadSTLFile(file, trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
  std::fclose(file);
  if (result != 0) {
    std::fprintf(stderr, "%s: result %d\n", argv[1], result);
    return 3;
  }
  std::printf("%d %.9g\n", mesh.num_triangles(), static_cast<double>(mesh.volume()));
  return 0;
}
