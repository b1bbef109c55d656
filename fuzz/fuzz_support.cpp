#include "fuzz/fuzz_support.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace fuzz {

MemoryFile::MemoryFile() : descriptor_(::memfd_create("fuzz", 0)) {
  if (descriptor_ < 0) std::exit(77);
  path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

MemoryFile::MemoryFile(const void* data, std::size_t size) : MemoryFile() {
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = ::write(descriptor_, static_cast<const char*>(data) + done, size - done);
    if (written <= 0) std::exit(77);
    done += static_cast<std::size_t>(written);
  }
}

MemoryFile::~MemoryFile() { ::close(descriptor_); }

std::string MemoryFile::Bytes() const {
  std::string bytes;
  char buffer[1 << 16];
  off_t at = 0;
  for (ssize_t got; (got = ::pread(descriptor_, buffer, sizeof buffer, at)) > 0; at += got) {
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return bytes;
}

ScratchFolder::ScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "trq-fuzz-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) std::exit(77);
  path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

Stream StreamOf(const uint8_t* data, std::size_t size, bool known_length) {
  if (known_length || size == 0) {
    const MemoryFile file(data, size);
    return Stream(std::fopen(file.path(), "rb"));
  }
  return Stream(::fmemopen(const_cast<uint8_t*>(data), size, "rb"));
}

void Silence() {
  trq::SetMessageBoxHandler(
      [](const char*, unsigned buttons, void*) -> int {
        return buttons == trq::message_box::kYesNoButtons ? trq::message_box::kNo : trq::message_box::kOk;
      },
      nullptr);
}

namespace {

/// The reports and files that the mesh writes under fixed names in the current folder.
void WriteFixedNames(CTL& mesh) {
  static const ScratchFolder scratch;
  static const int home = ::open(".", O_RDONLY | O_DIRECTORY);
  if (home < 0 || ::chdir(scratch.path().c_str()) != 0) std::exit(77);
  mesh.dumpctl();
  mesh.dumpshell();
  mesh.SaveCTLandShellAsSTL();
  mesh.ShiftTrianglesInZForZComp(0.5f, 0);
  if (::fchdir(home) != 0) std::exit(77);
}

}  // namespace

bool Settles(const CTL& mesh) {
  if (mesh.num_vertices() < 3) return false;
  for (int i = 0; i < mesh.num_vertices(); ++i) {
    for (int k = 0; k < 3; ++k) {
      if (!std::isfinite(mesh.vertices()[i][k])) return false;
    }
  }
  return true;
}

void UseMesh(CTL& mesh) {
  constexpr int kSmall = 300;
  mesh.Calculate_normals();
  volatile float sink = mesh.volume();
  sink = mesh.area();
  float x, y, z;
  mesh.get_min(&x, &y, &z);
  mesh.get_max(&x, &y, &z);
  float unit[4][4];
  set_unit_matrix(unit);
  mesh.FindVDTriangles(unit);
  const Stream null(std::fopen("/dev/null", "w"));
  if (null) mesh.ascii_dump(null.get());
  CTL copy;
  mesh.copy(&copy);
  copy.z_sort_ascending();
  copy.z_sort_descending();
  copy.rotateX(30);
  copy.rotateY(30);
  copy.rotateZ(30);
  copy.scale(2, -1, 0.5f);
  copy.translate(1, 2, 3);
  copy.convert_to_inch();
  copy.combine(&mesh);
  copy.eliminate_degenerates();
  copy.truncateVertices();
  copy.approximate(copy.num_triangles() / 2);
  if (mesh.num_triangles() <= kSmall && mesh.num_vertices() <= kSmall) {
    CTL shell;
    mesh.copy(&shell);
    shell.Calculate_normals();
    shell.offset_limit = 1;
    shell.validate_offsets = 1;
    shell.offset_ctl();
    WriteFixedNames(shell);
    shell.MergeShellAndCTLintoCTL();
    shell.Calculate_normals();
  }
  (void)sink;
}

namespace {

/// By the rule of the import, which numbers of a binary file can happen to meet: the second line, lines being
/// cut at 1023 bytes, begins with "facet".
bool LooksLikeText(const std::string& bytes) {
  std::size_t second = std::min<std::size_t>(bytes.find('\n'), 1022) + 1;
  while (second < bytes.size() && bytes[second] == ' ') ++second;
  return ::strncasecmp(bytes.c_str() + std::min(second, bytes.size()), "facet", 5) == 0;
}

/// Writes the mesh, reads that, writes it again, and once more; demands that the last two files are equal.
/// `read` returns false for a mesh that need not settle.
void DemandSettles(
    CTL& mesh, const std::function<int(CTL& from, const char* path)>& write,
    const std::function<bool(CTL& into, std::FILE* f, int turn, const std::string& bytes)>& read) {
  if (!Settles(mesh)) return;
  std::string files[3];
  CTL meshes[2];
  CTL* from = &mesh;
  for (int turn = 0; turn < 3; ++turn) {
    const MemoryFile file;
    Demand(write(*from, file.path()) == 0, "a mesh that was read cannot be written");
    files[turn] = file.Bytes();
    if (turn == 2) break;
    const Stream stream(std::fopen(file.path(), "rb"));
    if (!read(meshes[turn], stream.get(), turn, files[turn])) return;
    from = &meshes[turn];
  }
  Demand(files[1] == files[2], "files differ after the first turn");
}

}  // namespace

void DemandCtlSettles(CTL& mesh) {
  float unit[4][4];
  set_unit_matrix(unit);
  DemandSettles(
      mesh, [&](CTL& from, const char* path) { return from.SaveCTLModel(path, unit, 0); },
      [](CTL& into, std::FILE* f, int, const std::string&) {
        try {
          into.fp_read(f);
        } catch (const char*) {
          Report("a CTL file just written cannot be read");
        }
        return true;
      });
}

void DemandStlSettles(CTL& mesh, bool binary) {
  float unit[4][4];
  set_unit_matrix(unit);
  DemandSettles(
      mesh,
      [&](CTL& from, const char* path) {
        return binary ? from.SaveCTLasBinarySTL(path, unit, 0, 1) : from.SaveCTLasAsciiSTL(path, unit, 0);
      },
      [&](CTL& into, std::FILE* f, int turn, const std::string& bytes) {
        if (binary && LooksLikeText(bytes)) return false;
        int accept_partial = 0;
        const int code = into.LoadSTLFile(f, trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
        if (turn == 0 && code == trq::stl_import::kNotBuilt) return false;
        Demand(code == 0, "a written STL file cannot be read");
        return true;
      });
}

}  // namespace fuzz
