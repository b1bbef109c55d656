/// Meshes for tests, made through the public interface.
#pragma once

#include <array>
#include <vector>

#include "trq/geometry.h"

namespace test_support {

using Point = std::array<float, 3>;
using Indices = std::array<int, 3>;

/// Fills a mesh with these vertices and triangles (attributes 0) and makes its extents stale.
/// `spare_vertices` is the zeroed room beyond the vertices in use.
void FillMesh(CTL& mesh, const std::vector<Point>& vertices, const std::vector<Indices>& triangles,
              std::size_t spare_vertices = 1);
CTL MakeMesh(const std::vector<Point>& vertices, const std::vector<Indices>& triangles);

/// Four vertices, four facets, outward: the corner at `corner` and one step of `size` along each axis.
CTL Tetrahedron(float size = 1, Point corner = {0, 0, 0});
/// Eight vertices, twelve facets, outward, lower corner at `corner`.
CTL Box(Point size, Point corner = {0, 0, 0});
CTL Cube(float size = 1, Point corner = {0, 0, 0});
/// The facets of boxes and cubes: corner i lies at the lower or upper end of x, y, z by bits 0, 1, 2 of i;
/// and their outward normals.
extern const std::vector<Indices> kCubeTriangles;
extern const std::vector<Point> kCubeNormals;
/// A closed sphere about `centre` with 2 * slices * (stacks - 1) facets, outward. slices >= 3, stacks >= 2.
CTL Sphere(float radius, int slices, int stacks, Point centre = {0, 0, 0});
/// Gives the mesh these normals, one a triangle.
void SetNormals(CTL& mesh, const std::vector<Point>& normals);
/// An open plate of n by n squares in the plane z = `z`, 2 * n * n facets facing up.
CTL Plate(float size, int n, float z = 0);

/// The vertices in use and the index triples in use, for comparing.
std::vector<Point> VerticesOf(const CTL& mesh);
std::vector<Indices> TrianglesOf(const CTL& mesh);
std::vector<int> AttributesOf(const CTL& mesh);

}  // namespace test_support
