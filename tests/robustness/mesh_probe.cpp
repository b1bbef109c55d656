/// A host program of the library for the robustness figures: mesh_probe [--locale NAME] [--partial] [--out
/// FOLDER] FILE... imports each STL file and prints one line of JSON a file. With --out it writes the mesh as
/// <n>.ctl, <n>.stl and <n>.txt and says what came back when these were read again. Numbers are printed as
/// bits, so that lines of different builds and locales can be compared.
#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "trq/geometry.h"

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// What a round trip has to bring back.
struct Shape {
  std::vector<float> coordinates;  // three a vertex; -0 is 0
  std::vector<int> indices;
  std::vector<int> attributes;
};

std::uint32_t BitsOf(float value) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

Shape ShapeOf(const CTL& mesh) {
  Shape shape;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    for (int k = 0; k < 3; ++k) shape.coordinates.push_back(mesh.vertices()[i][k]);
  }
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    for (int k = 0; k < 3; ++k) shape.indices.push_back(mesh.triangles()[i][k]);
    const int attribute = mesh.triangles()[i][3];
    shape.attributes.push_back(attribute >= 0 && attribute <= 2 ? attribute : 0);  // as CTL files hold them
  }
  return shape;
}

bool Same(const Shape& a, const Shape& b, bool attributes) {
  return a.coordinates == b.coordinates && a.indices == b.indices &&
         (!attributes || a.attributes == b.attributes);
}

/// The largest difference of two corners, relative to the largest coordinate; -1 when the facets do not pair
/// up.
double LargestDifference(const CTL& a, const CTL& b) {
  if (a.num_triangles() != b.num_triangles()) return -1;
  double largest = 0, size = 0;
  for (int i = 0; i < a.num_triangles(); ++i) {
    for (int corner = 0; corner < 3; ++corner) {
      for (int k = 0; k < 3; ++k) {
        const double p = a.vertices()[a.triangles()[i][corner]][k];
        const double q = b.vertices()[b.triangles()[i][corner]][k];
        size = std::max(size, std::fabs(p));
        largest = std::max(largest, std::fabs(p - q));
      }
    }
  }
  return size > 0 ? largest / size : largest;
}

int Import(CTL& mesh, const std::string& path, int partial) {
  const File file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return 100;
  return mesh.LoadSTLFile(file.get(), trq::units::kMillimetre, &partial, 0, 1e-4f, 0);
}

/// "good", or in a word what did not come back.
const char* CtlTurn(CTL& mesh, const std::string& path) {
  const Shape before = ShapeOf(mesh);
  float unit[4][4];
  set_unit_matrix(unit);
  CTL copy;
  mesh.copy(&copy);
  if (copy.SaveCTLModel(path, unit, 0) != trq::mesh_io::kDone) return "unwritten";
  const File file(std::fopen(path.c_str(), "rb"), std::fclose);
  CTL again;
  try {
    again.fp_read(file.get());
  } catch (const char*) {
    return "unread";
  } catch (char*) {
    return "unread";
  }
  return Same(before, ShapeOf(again), true) ? "good" : "changed";
}

const char* BinaryTurn(CTL& mesh, const std::string& path) {
  float unit[4][4];
  set_unit_matrix(unit);
  if (mesh.SaveCTLasBinarySTL(path, unit, 0, 1) != trq::mesh_io::kDone) return "unwritten";
  CTL again;
  if (Import(again, path, 0) != 0) return "unread";
  if (Same(ShapeOf(mesh), ShapeOf(again), false)) return "good";
  return LargestDifference(mesh, again) == 0 ? "renumbered" : "changed";
}

void TextTurn(CTL& mesh, const std::string& path) {
  float unit[4][4];
  set_unit_matrix(unit);
  const bool written = mesh.SaveCTLasAsciiSTL(path, unit, 0) == trq::mesh_io::kDone;
  CTL again;
  const double difference = written && Import(again, path, 0) == 0 ? LargestDifference(mesh, again) : -1;
  // Parts per billion, so that no locale has a say in how it is printed.
  std::printf(", \"text_ppb\": %lld",
              difference < 0 ? -1LL : static_cast<long long>(std::ceil(difference * 1e9)));
}

void Probe(const std::string& path, int partial, const std::string& out, int number) {
  CTL mesh;
  const int code = Import(mesh, path, partial);
  const bool loaded =
      code == 0 || code == trq::mesh_io::kFailed;  // kFailed: loaded, but a facet has no normal
  std::printf("{\"code\": %d", code);
  if (loaded) {
    float low[3] = {}, high[3] = {};
    mesh.get_min(&low[0], &low[1], &low[2]);
    mesh.get_max(&high[0], &high[1], &high[2]);
    std::printf(
        ", \"facets\": %d, \"vertices\": %d, \"box\": [%u, %u, %u, %u, %u, %u], \"volume\": %u, \"area\": %u",
        mesh.num_triangles(), mesh.num_vertices(), BitsOf(low[0]), BitsOf(low[1]), BitsOf(low[2]),
        BitsOf(high[0]), BitsOf(high[1]), BitsOf(high[2]), BitsOf(mesh.volume()), BitsOf(mesh.area()));
    if (!out.empty() && mesh.num_triangles() > 0 && mesh.num_vertices() >= 3) {
      const std::string base = out + "/" + std::to_string(number);
      std::printf(", \"binary\": \"%s\"", BinaryTurn(mesh, base + ".stl"));
      TextTurn(mesh, base + ".txt");
      std::printf(", \"ctl\": \"%s\"", CtlTurn(mesh, base + ".ctl"));
    }
  }
  std::printf("}\n");
}

}  // namespace

int main(int argc, char** argv) {
  trq::SetMessageBoxHandler([](const char*, unsigned, void*) -> int { return trq::message_box::kOk; },
                            nullptr);
  int partial = 0, number = 0;
  std::string out;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--partial") {
      partial = 1;
    } else if (argument == "--out" && i + 1 < argc) {
      out = argv[++i];
    } else if (argument == "--locale" && i + 1 < argc) {
      // A host that asked for a decimal comma has to have got it, or the run would prove nothing.
      if (!std::setlocale(LC_ALL, argv[++i]) || std::strcmp(std::localeconv()->decimal_point, ",") != 0) {
        std::fprintf(stderr, "no locale %s with a decimal comma\n", argv[i]);
        return 2;
      }
    } else {
      Probe(argument, partial, out, number++);
    }
  }
  return 0;
}
