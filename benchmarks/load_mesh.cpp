// load_mesh FILE TIMES: reads a mesh file as often as that and prints for each time the CPU seconds that the
// library takes (core), and those of reading with messages as tool and Python do (mesh), in JSON. A first
// reading is left out: it pays for memory that the others find.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "trq/core/stl.h"
#include "trqprep/mesh_input.h"

namespace {

double CpuSeconds() { return double(std::clock()) / CLOCKS_PER_SEC; }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: load_mesh FILE TIMES\n");
    return 2;
  }
  const std::string path = argv[1];
  const int times = std::atoi(argv[2]);
  for (int i = 0; i <= times; ++i) {
    const double begin = CpuSeconds();
    {
      const auto mesh = trq::core::ReadStlFile(path, {});
      if (!mesh) return 1;
    }
    const double middle = CpuSeconds();
    {
      trqprep::Observer observer;
      const trqprep::InputMesh mesh = trqprep::ReadMesh(observer, {}, path);
      if (mesh.mesh->num_triangles() == 0) return 1;
    }
    if (i == 0) continue;
    std::printf("{\"core\": %.6f, \"mesh\": %.6f}\n", middle - begin, CpuSeconds() - middle);
  }
  return 0;
}
