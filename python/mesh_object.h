/// The mesh as Python holds it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "binding.h"
#include "trqprep/mesh_input.h"

namespace trqprep::python {

/// Arrays of a mesh that Python looks at. Counted with the interpreter's lock held.
struct Looks {
  std::size_t views = 0;     ///< arrays, those for writing among them
  std::size_t writable = 0;  ///< arrays that may be written through, or slices of them
};

/// A mesh with one owner: no two share arrays. An array that Python looks at keeps the arrays alive by itself.
class Mesh {
 public:
  explicit Mesh(InputMesh mesh, Json what = Json::object())
      : input(std::move(mesh)), facts(std::move(what)), looks(std::make_shared<Looks>()) {}
  Mesh(Mesh&&) = default;
  Mesh& operator=(Mesh&&) = default;

  InputMesh input;
  Json facts;  ///< what the operation that made it found out
  std::shared_ptr<Looks> looks;
  bool edited = false;     ///< since indices and normals were looked at last
  std::size_t in_use = 0;  ///< by work that runs without the interpreter's lock

  /// What keeps an array alive.
  py::capsule Look(bool writable) const;
  /// After an edit: sees that indices name vertices and numbers are finite, and makes box and normals anew.
  void Settle();
  /// Sees that coordinates are finite; a failure speaks of no file.
  static void RequireNumbers(InputMesh mesh);
  /// A copy of everything, for work that changes it.
  InputMesh Copy() const;
  std::size_t vertex_count() const { return std::size_t(input.mesh->num_vertices()); }
  std::size_t facet_count() const { return std::size_t(input.mesh->num_triangles()); }
};

/// Settles a mesh and keeps it from being written to while work without the lock uses it.
class InUse {
 public:
  explicit InUse(Mesh& mesh) : mesh_(mesh) {
    mesh.Settle();
    ++mesh.in_use;
  }
  ~InUse() { --mesh_.in_use; }
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;

 private:
  Mesh& mesh_;
};

}  // namespace trqprep::python
