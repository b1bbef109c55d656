#include "tests/support/meshes.h"

#include <cmath>

namespace test_support {

void FillMesh(CTL& mesh, const std::vector<Point>& vertices, const std::vector<Indices>& triangles,
              std::size_t spare_vertices) {
  mesh.vertices_ = trq::MeshArray<PbVec3f>(vertices.size() + spare_vertices);
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    mesh.vertices_[i] = PbVec3f(vertices[i][0], vertices[i][1], vertices[i][2]);
  }
  mesh.triangles_ = trq::MeshArray<R_INT4>(triangles.size());
  for (std::size_t i = 0; i < triangles.size(); ++i) {
    mesh.triangles_[i] = R_INT4(triangles[i][0], triangles[i][1], triangles[i][2]);
  }
  mesh.header.num_vertices = static_cast<int>(vertices.size());
  mesh.header.num_triangles = static_cast<int>(triangles.size());
  mesh.extents_valid = 0;
}

CTL MakeMesh(const std::vector<Point>& vertices, const std::vector<Indices>& triangles) {
  CTL mesh;
  FillMesh(mesh, vertices, triangles);
  return mesh;
}

CTL Tetrahedron(float size, Point corner) {
  const auto [x, y, z] = corner;
  return MakeMesh({{x, y, z}, {x + size, y, z}, {x, y + size, z}, {x, y, z + size}},
                  {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}});
}

const std::vector<Indices> kCubeTriangles = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6},
                                             {0, 1, 5}, {0, 5, 4}, {2, 6, 7}, {2, 7, 3},
                                             {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
const std::vector<Point> kCubeNormals = {{0, 0, -1}, {0, 0, -1}, {0, 0, 1}, {0, 0, 1},
                                         {0, -1, 0}, {0, -1, 0}, {0, 1, 0}, {0, 1, 0},
                                         {-1, 0, 0}, {-1, 0, 0}, {1, 0, 0}, {1, 0, 0}};

CTL Box(Point size, Point corner) {
  std::vector<Point> vertices;
  for (int i = 0; i < 8; ++i) {
    vertices.push_back({corner[0] + (i & 1 ? size[0] : 0), corner[1] + (i & 2 ? size[1] : 0),
                        corner[2] + (i & 4 ? size[2] : 0)});
  }
  return MakeMesh(vertices, kCubeTriangles);
}

CTL Cube(float size, Point corner) { return Box({size, size, size}, corner); }

void SetNormals(CTL& mesh, const std::vector<Point>& normals) {
  mesh.normals_ = trq::MeshArray<VECTOR>(normals.size());
  for (std::size_t i = 0; i < normals.size(); ++i) {
    mesh.normals_[i] = VECTOR(normals[i][0], normals[i][1], normals[i][2]);
  }
}

CTL Sphere(float radius, int slices, int stacks, Point centre) {
  const double pi = std::acos(-1.0);
  std::vector<Point> vertices;
  const auto add = [&](double x, double y, double z) {
    vertices.push_back({static_cast<float>(centre[0] + radius * x),
                        static_cast<float>(centre[1] + radius * y),
                        static_cast<float>(centre[2] + radius * z)});
  };
  add(0, 0, -1);
  for (int ring = 1; ring < stacks; ++ring) {
    const double latitude = pi * ring / stacks - pi / 2;
    for (int i = 0; i < slices; ++i) {
      const double longitude = 2 * pi * i / slices;
      add(std::cos(latitude) * std::cos(longitude), std::cos(latitude) * std::sin(longitude),
          std::sin(latitude));
    }
  }
  add(0, 0, 1);
  const int top = static_cast<int>(vertices.size()) - 1;
  std::vector<Indices> triangles;
  for (int i = 0; i < slices; ++i) {
    const int next = (i + 1) % slices;
    triangles.push_back({0, 1 + next, 1 + i});
    for (int ring = 0; ring + 2 < stacks; ++ring) {
      const int low = 1 + ring * slices;
      const int high = low + slices;
      triangles.push_back({low + i, low + next, high + next});
      triangles.push_back({low + i, high + next, high + i});
    }
    const int last = 1 + (stacks - 2) * slices;
    triangles.push_back({last + i, last + next, top});
  }
  return MakeMesh(vertices, triangles);
}

CTL Plate(float size, int n, float z) {
  std::vector<Point> vertices;
  for (int row = 0; row <= n; ++row) {
    for (int column = 0; column <= n; ++column) {
      vertices.push_back({static_cast<float>(static_cast<double>(size) * column / n),
                          static_cast<float>(static_cast<double>(size) * row / n), z});
    }
  }
  std::vector<Indices> triangles;
  for (int row = 0; row < n; ++row) {
    for (int column = 0; column < n; ++column) {
      const int a = row * (n + 1) + column;
      triangles.push_back({a, a + 1, a + n + 2});
      triangles.push_back({a, a + n + 2, a + n + 1});
    }
  }
  return MakeMesh(vertices, triangles);
}

std::vector<Point> VerticesOf(const CTL& mesh) {
  std::vector<Point> vertices;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    const PbVec3f& v = mesh.vertices()[i];
    vertices.push_back({v[0], v[1], v[2]});
  }
  return vertices;
}

std::vector<Indices> TrianglesOf(const CTL& mesh) {
  std::vector<Indices> triangles;
  for (int i = 0; i < mesh.num_triangles(); ++i) {
    const R_INT4& t = mesh.triangles()[i];
    triangles.push_back({t[0], t[1], t[2]});
  }
  return triangles;
}

std::vector<int> AttributesOf(const CTL& mesh) {
  std::vector<int> attributes;
  for (int i = 0; i < mesh.num_triangles(); ++i) attributes.push_back(mesh.triangles()[i][3]);
  return attributes;
}

}  // namespace test_support
