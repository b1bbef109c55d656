/// The digests that the bit probe has to print, from literal forms: step by step as the interface describes
/// it, rounded where it says so. The library serves as a container and a writer of bytes only.
#include <cmath>
#include <cstddef>

#include "tests/bits/bit_inputs.h"
#include "tests/geometry/literal_mesh.h"
#include "tests/geometry/literal_shell.h"
#include "tests/geometry/literal_stl_import.h"
#include "tests/placement/literal_grid_eval.h"

namespace {

using namespace bits;

// ---- meshes in memory ----

void Rotate(Digest& digest, int axis) {
  CTL mesh = Soup(4, 500, 10);
  for (const float degrees : {0.0f, 33.3f, -90.0f, 181.0f, 3e4f}) {
    const double radians = degrees * 0.017453292;
    const float c = static_cast<float>(std::cos(radians));
    const float s = static_cast<float>(std::sin(radians));
    for (int i = 0; i < mesh.num_vertices(); ++i) {
      PbVec3f& v = mesh.vertices()[i];
      float& first = v[axis == 0 ? 1 : 0];
      float& second = v[axis == 2 ? 1 : 2];
      const double a = first, b = second;
      if (axis == 1) {
        first = static_cast<float>(a * c + b * s);
        second = static_cast<float>(a * s - b * c);
      } else {
        first = static_cast<float>(a * c - b * s);
        second = static_cast<float>(a * s + b * c);
      }
    }
    AddMesh(digest, mesh);
  }
  AddBox(digest, mesh);
}

void ApplyMatrix(Digest& digest, int) {
  CTL mesh = Soup(5);
  const Matrix matrix(5);
  const auto& m = matrix.m;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    PbVec3f& v = mesh.vertices()[i];
    for (int j = 0; j < 3; ++j) {
      double sum = static_cast<double>(m[0][j]) * v[0];
      sum = sum + static_cast<double>(m[1][j]) * v[1];
      sum = sum + static_cast<double>(m[2][j]) * v[2];
      sum = sum + m[3][j];
      v[j] = static_cast<float>(sum);
    }
  }
  AddMesh(digest, mesh);
  AddBox(digest, mesh);
}

void Truncate(Digest& digest, int) {
  CTL mesh = Soup(6);
  literal::Truncate(mesh);
  AddMesh(digest, mesh);
}

void Sort(Digest& digest, int descending) {
  CTL mesh = Soup(7);
  literal::SortByHeight(mesh, descending == 0);
  AddMesh(digest, mesh);
}

const float* CornerOf(const CTL& mesh, int i, int k) {
  return mesh.vertices()[mesh.triangles()[i][k]].data();
}

void SetLiteralNormals(CTL& mesh) {
  mesh.normals_.reset(static_cast<std::size_t>(mesh.num_triangles()));
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    mesh.normals()[i] = literal::Normal(CornerOf(mesh, i, 0), CornerOf(mesh, i, 1), CornerOf(mesh, i, 2));
  }
}

void Measures(Digest& digest, int) {
  CTL mesh = Soup(11);
  SetLiteralNormals(mesh);
  digest.Int(0);
  AddNormals(digest, mesh);
  float area = 0;
  double volume = 0;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const float *a = CornerOf(mesh, i, 0), *b = CornerOf(mesh, i, 1), *c = CornerOf(mesh, i, 2);
    const float squared = literal::AreaX2sq(a, b, c);
    digest.Float(squared);
    if (squared > 0) area = static_cast<float>(area + std::sqrt(static_cast<double>(squared)));
    volume += literal::VolumeTerm(a, b, c);
  }
  digest.Float(static_cast<float>(area * 0.5));
  digest.Float(static_cast<float>(volume * 0.16666667));
  AddBox(digest, mesh);
}

void Normals(Digest& digest, int) {
  Random random(12);
  for (int i = 0; i < 30000; ++i) {
    PbVec3f p[3];
    for (PbVec3f& point : p) point = random.Point();
    digest.Vector(literal::Normal(p[0].data(), p[1].data(), p[2].data()));
    digest.Float(literal::AreaX2sq(p[0].data(), p[1].data(), p[2].data()));
  }
}

/// What a mirroring does to the record of the part: points and plane. Axis 0 mirrors z.
struct Mirroring {
  Mirroring(const COMPONENT_INFO& from, int axis, float offset) : coordinate(2 - axis) {
    for (int i = 16; i < 30; ++i) to.placement()[i] = from.placement()[i];
    if (axis > 2) return;
    const double shift = static_cast<double>(offset) + from.placement()[25 + coordinate];
    plane = 2.0 * from.placement()[22 + coordinate] + shift;
    for (int first = 16; first <= 22; first += 3) {
      float& c = to.placement()[first + coordinate];
      c = static_cast<float>(shift + c);
    }
  }
  void Apply(const COMPONENT_INFO& from, int unit, const float in[3], float out[3]) const {
    float matrix[4][4];
    std::memcpy(matrix, from.placement(), sizeof matrix);
    literal::Place(matrix, unit, in, 1, out);
    out[coordinate] = static_cast<float>(plane - out[coordinate]);
  }
  int coordinate;
  double plane = 0;
  COMPONENT_INFO to;
};

void Mirror(Digest& digest, int variant) {
  const int unit = variant % 2, axis = variant / 2;
  CTL mesh = Soup(13);
  const COMPONENT_INFO from = PlacedPart(13, mesh.num_triangles());
  const Mirroring mirroring(from, axis, 1.25f);
  for (int i = 0; i < mesh.num_vertices() && axis <= 2; ++i) {
    float* const p = mesh.vertices()[i].data();
    mirroring.Apply(from, unit, p, p);
  }
  for (int i = 0; i < mesh.num_triangles(); ++i) std::swap(mesh.nth(i)[0], mesh.nth(i)[1]);
  SetLiteralNormals(mesh);
  AddMesh(digest, mesh);
  AddNormals(digest, mesh);
  AddPlacement(digest, mirroring.to);
}

// ---- mesh files ----

void SaveCtl(Digest& digest, int unit) {
  CTL mesh = Soup(20);
  const Matrix matrix(20);
  const int triangle_count = mesh.num_triangles();
  CTL placed = Soup(20);
  for (int i = 0; i < placed.num_vertices(); ++i) {
    float* const p = placed.vertices()[i].data();
    literal::Place(matrix.m, unit, p, 1, p);
  }
  std::vector<int> packed(4 * static_cast<std::size_t>(triangle_count) + 1);
  std::memcpy(packed.data(), mesh.triangles(), 16 * static_cast<std::size_t>(triangle_count));
  BYTE_PACKER packer(packed.data(), mesh.num_vertices());
  packer.pack(4 * triangle_count);
  const std::size_t words = static_cast<std::size_t>(packer.compressed_size(4 * triangle_count));
  packed[words - 1] = 0;  // 12 bits an integer fill the words before it
  digest.Int(0);
  const CTL_HEADER& header = mesh.header;
  digest.Words(&header, offsetof(CTL_HEADER, stl_header) / 4);
  digest.Bytes(header.stl_header, sizeof header.stl_header);
  digest.Words(&header.magic, (offsetof(CTL_HEADER, reserved_bytes) - offsetof(CTL_HEADER, magic)) / 4);
  digest.Bytes(header.reserved_bytes, sizeof header.reserved_bytes);
  digest.Words(placed.vertices(), 3 * static_cast<std::size_t>(placed.num_vertices()));
  digest.Words(packed.data(), words);
  literal::Truncate(mesh);
  AddMesh(digest, mesh);
  digest.Int(0);
  AddMesh(digest, placed);
}

void SaveBinaryStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  const Matrix matrix(21);
  const int count = mesh.num_triangles();
  std::string bytes = test_support::ByteBuilder().I32(count).bytes();
  for (int i = 0; i < count; ++i) bytes += literal::StlRecord(mesh, i, matrix.m, unit);
  digest.Int(0);
  digest.Bytes(bytes.data(), bytes.size());
  digest.Int(0);
  digest.Int(1);
  digest.Bytes(bytes.data(), bytes.size());
}

void SaveModifiedStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  const Matrix matrix(21);
  digest.Int(1);
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const std::string record = literal::StlRecord(mesh, i, matrix.m, unit);
    digest.Words(&mesh.normals()[i], 3);
    digest.Bytes(record.data() + 12, record.size() - 12);
  }
}

void SaveAsciiStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  const Matrix matrix(21);
  std::string text = "solid Kestrabin STL\n";
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const std::string record = literal::StlRecord(mesh, i, matrix.m, unit);
    for (int k = 0; k < 4; ++k) {
      text += k == 0 ? "  facet normal" : "      vertex  ";
      for (int j = 0; j < 3; ++j) {
        uint32_t bits = 0;
        for (int byte = 3; byte >= 0; --byte) {
          bits = bits << 8 | static_cast<unsigned char>(record[std::size_t(12 * k + 4 * j + byte)]);
        }
        float v;
        std::memcpy(&v, &bits, 4);
        char number[40];
        std::snprintf(number, sizeof number, " %e", static_cast<double>(v));
        text += number;
      }
      text += k == 0 ? "\n    outer loop\n" : "\n";
    }
    text += "    endloop\n  endfacet\n";
  }
  text += "endsolid\n";
  digest.Int(0);
  digest.Bytes(text.data(), text.size());
}

/// The mesh that an import makes of facets.
CTL Imported(const std::vector<PbVec3f>& corners, float tolerance) {
  const int count = static_cast<int>(corners.size() / 3);
  const literal::Merged merged = literal::Merge(corners, tolerance, count);
  std::vector<R_INT4> triangles;
  for (std::size_t i = 0; i < corners.size(); i += 3) {
    triangles.emplace_back(merged.index[i], merged.index[i + 1], merged.index[i + 2]);
  }
  return MeshOf(merged.vertices, triangles);
}

void LoadAsciiStl(Digest& digest, int) {
  const std::string text = AsciiStl();
  std::FILE* const file = std::tmpfile();
  std::fwrite(text.data(), 1, text.size(), file);
  std::rewind(file);
  const literal::AsciiFacets ascii = literal::ReadAscii(file);
  std::fclose(file);
  std::vector<PbVec3f> corners;
  for (const auto& facet : ascii.facets) {
    for (std::size_t k = 0; k < 9; k += 3) corners.emplace_back(facet.data() + k);
  }
  CTL mesh = Imported(corners, 1e-4f);
  SetLiteralNormals(mesh);
  digest.Int(0);
  AddMesh(digest, mesh);
  AddNormals(digest, mesh);
}

void CreateMesh(Digest& digest, int) {
  digest.Int(0);
  AddMesh(digest, Imported(NearlyMeeting(), kMeeting));
}

// ---- shell ----

void Shell(Digest& digest, int validated) {
  CTL mesh = ThinBox(31);
  SetLiteralNormals(mesh);
  mesh.validate_offsets = validated;
  digest.Int(0);
  int shortened = 0;
  for (const auto& p : literal::Shell(mesh).Make(shortened)) digest.Floats(p.data(), 3);
}

void Intersections(Digest& digest, int) {
  Random random(33);
  for (int i = 0; i < kAimed; ++i) {
    const Aimed aim(random);
    using literal::Shell;
    digest.Int(Shell::Crosses(1000, aim.p, aim.q, Shell::Wide(aim.corners[0]), Shell::Wide(aim.corners[1]),
                              Shell::Wide(aim.corners[2])));
  }
}

// ---- contours ----

void MirrorContours(Digest& digest, int variant) {
  const int unit = variant % 2, axis = variant / 2;
  slc contours;
  FillContours(contours);
  const COMPONENT_INFO from = PlacedPart(41, 0);
  const Mirroring mirroring(from, axis, 1.25f);
  for (trq::SlcLayer& layer : contours.layers) {
    if (axis > 2) break;
    const float height = layer.z;
    const float axis_point[3] = {0, 0, height};
    float out[3];
    mirroring.Apply(from, unit, axis_point, out);
    bool first = true;
    for (const trq::SlcBoundary& boundary : layer.boundaries()) {
      for (std::size_t i = 0; i < boundary.vertex_count; ++i) {
        const float in[3] = {boundary.points[2 * i], boundary.points[2 * i + 1], height};
        float moved[3];
        mirroring.Apply(from, unit, in, moved);
        boundary.points[2 * i] = moved[0];
        boundary.points[2 * i + 1] = moved[1];
        if (first) out[2] = moved[2];
        first = false;
      }
    }
    layer.z = out[2];
  }
  AddPlacement(digest, mirroring.to);
  digest.Int(contours.SaveSLCModel("a.slc"));
  digest.File("a.slc");
}

// ---- models ----

void VolumeAndArea(Digest& digest, int unit) {
  for (uint64_t seed = 50; seed < 60; ++seed) {
    CTL mesh = Soup(seed);
    COMPONENT_INFO info = PlacedPart(seed, mesh.num_triangles());
    const Matrix matrix(seed);
    double area = 0, volume = 0;
    for (int i = 0; i < mesh.num_triangles(); ++i) {
      float p[3][3];
      for (int k = 0; k < 3; ++k) literal::Place(matrix.m, unit, CornerOf(mesh, i, k), 1, p[k]);
      const double squared = literal::AreaX2sq(p[0], p[1], p[2]);
      if (squared > 0) area += std::sqrt(squared);
      volume += literal::VolumeTerm(p[0], p[1], p[2]);
    }
    info.placement()[28] = static_cast<float>(area * 0.5);
    info.placement()[29] = static_cast<float>(volume * 0.16666667);
    AddPlacement(digest, info);
    for (int i = 0; i < mesh.num_triangles(); ++i) {
      digest.Float(literal::AreaX2sq(CornerOf(mesh, i, 0), CornerOf(mesh, i, 1), CornerOf(mesh, i, 2)));
    }
  }
}

// ---- placement ----

/// The literal placement with the interface's way to ask for places.
struct LiteralPlaces : LiteralGridEval {
  using LiteralGridEval::LiteralGridEval;
  float x_shift(int part, int copy) const { return x_coordf(answer.at(part, copy).x); }
  float y_shift(int part, int copy) const { return y_coordf(answer.at(part, copy).y); }
  float z_rot(int part, int copy) const {
    return static_cast<float>(answer.at(part, copy).rotation * 360.0 / rotations);
  }
};

void Placement(Digest& digest, int variant) {
  LiteralPlaces grid(101.5f, 87.25f, 50, variant == 0 ? 1 : 8);
  Place(digest, grid);
}

constexpr Operation kOperations[] = {
    {"rotate", 3, Rotate},
    {"apply_matrix", 1, ApplyMatrix},
    {"truncate", 1, Truncate},
    {"z_sort", 2, Sort},
    {"measures", 1, Measures},
    {"normals", 1, Normals},
    {"mirror", 8, Mirror},
    {"save_ctl", 3, SaveCtl},
    {"save_binary_stl", 3, SaveBinaryStl},
    {"save_modified_stl", 3, SaveModifiedStl},
    {"save_ascii_stl", 3, SaveAsciiStl},
    {"load_ascii_stl", 1, LoadAsciiStl},
    {"create_mesh", 1, CreateMesh},
    {"shell", 2, Shell},
    {"intersections", 1, Intersections},
    {"mirror_contours", 8, MirrorContours},
    {"volume_and_area", 2, VolumeAndArea},
    {"placement", 2, Placement},
};

}  // namespace

int main() { return PrintInScratchFolder(kOperations); }
