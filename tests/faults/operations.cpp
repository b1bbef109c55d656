#include "tests/faults/operations.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tests/support/temp_dir.h"
#include "trq/geometry.h"
#include "trq/recoat.h"
#include "trq/setup.h"
#include "trq/slice_contours.h"
#include "trq/styles.h"

namespace faults {
namespace {

using test_support::ReadFile;
using test_support::TempDir;

struct Matrix {
  Matrix() { set_unit_matrix(m); }
  float m[4][4];
};

template <class T>
void Append(std::string& bytes, const T* items, std::size_t count) {
  if (items) bytes.append(reinterpret_cast<const char*>(items), count * sizeof(T));
}

std::string BytesOf(const CTL& mesh) {
  const std::size_t triangles = static_cast<std::size_t>(std::max(mesh.num_triangles(), 0));
  std::string bytes = std::to_string(mesh.num_vertices()) + " " + std::to_string(triangles) + " ";
  Append(bytes, mesh.vertices_.get(),
         std::min(mesh.vertices_.size(), static_cast<std::size_t>(std::max(mesh.num_vertices(), 0))));
  Append(bytes, mesh.triangles_.get(), std::min(mesh.triangles_.size(), triangles));
  Append(bytes, mesh.normals_.get(), std::min(mesh.normals_.size(), triangles));
  return bytes;
}

int ReadStl(CTL& mesh, const std::string& path, bool partial) {
  struct Closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
  };
  const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
  if (!file) return -100;
  int accept_partial = partial ? 1 : 0;
  return mesh.LoadSTLFile(file.get(), trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
}

CTL MeshOf(const std::string& path) {
  CTL mesh;
  const bool stl = std::filesystem::path(path).extension() == ".stl";
  const int code = stl ? ReadStl(mesh, path, false) : mesh.file_read(path.c_str());
  if (code != 0) throw std::runtime_error("cannot read " + path);
  mesh.Calculate_normals();
  return mesh;
}

std::string BytesOf(slc& contours) {
  const TempDir folder;
  const std::string path = folder.File("a.slc");
  const int code = contours.SaveSLCModel(path);
  return std::to_string(code) + ReadFile(path);
}

std::string BytesOf(KVBUILDSTYLE& style) {
  const TempDir folder;
  const std::string path = folder.File("a.sty");
  const int code = style.writeBuildStyle(path);
  return std::to_string(code) + ReadFile(path);
}

std::string BytesOf(KVRECOATSTYLE& style) {
  const TempDir folder;
  const std::string path = folder.File("a.rcs");
  const int code = style.writeRecoatStyle(path);
  return std::to_string(code) + ReadFile(path);
}

std::string BytesOf(RECOATSTYLE& style) {
  const TempDir folder;
  const std::string path = folder.File("a.rcs");
  const int code = style.binaryWriteStyle(path);
  return std::to_string(code) + ReadFile(path);
}

Outcome ReadMesh(const std::string& path, const Plan& plan, bool partial) {
  CTL mesh;
  const bool stl = std::filesystem::path(path).extension() == ".stl";
  const auto read = [&] { return stl ? ReadStl(mesh, path, partial) : mesh.file_read(path.c_str()); };
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, read);
  if (outcome.code != 0) {
    mesh.clear();
    if (Injected(Plan(), nullptr, read) != 0) return outcome;
  }
  outcome.result = BytesOf(mesh);
  return outcome;
}

/// Reads with `read(object)`; an object that failed reads again.
template <class Object, class Read>
Outcome ReadObject(Object& object, const Plan& plan, Read read) {
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, read);
  if (outcome.code != 0 && Injected(Plan(), nullptr, read) != 0) return outcome;
  outcome.result = BytesOf(object);
  return outcome;
}

Outcome ReadContours(const std::string& path, const Plan& plan) {
  slc contours(path.c_str());
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, [&] { return contours.loadSlc(); });
  if (contours.file) throw std::logic_error("the file is closed in every case");
  if (outcome.code != 0) {  // what was read stays, and a second load appends
    contours.table.clear();
    contours.layers.clear();
    if (contours.loadSlc() != 0) return outcome;
  }
  outcome.result = BytesOf(contours);
  return outcome;
}

Outcome ReadBuildStyle(const std::string& path, const Plan& plan) {
  KVBUILDSTYLE style;
  return ReadObject(style, plan, [&] { return style.readBuildStyle(path); });
}

Outcome ReadRecoatStyle(const std::string& path, const Plan& plan) {
  KVRECOATSTYLE style;
  return ReadObject(style, plan, [&] { return style.readRecoatStyle(path); });
}

Outcome ReadLegacyStyle(const std::string& path, const Plan& plan) {
  RECOATSTYLE style(path);
  return ReadObject(style, plan, [&] { return style.binaryReadStyle(); });
}

/// Copying is how a side file is read without being changed. Its answer is 1 whatever happens; the copy
/// tells.
Outcome ReadSideFile(const std::string& path, const Plan& plan) {
  const TempDir folder;
  MODEL model;
  model.ComponentInfo.text = folder.File("copy.stl");
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, [&] { return model.CopyVDFileFrom(path, 1, 2, 3) - 1; });
  if (outcome.code == 0 && !folder.Has("copy.V_D")) outcome.code = -1;
  if (outcome.code != 0) model.CopyVDFileFrom(path, 1, 2, 3);
  if (folder.Has("copy.V_D")) outcome.result = folder.Read("copy.V_D");
  return outcome;
}

/// Writes an object with `write(path)`; after a failure it is written again.
template <class Write>
Outcome WriteObject(const Plan& plan, Write write) {
  const TempDir folder;
  const std::string path = folder.File("written_file");
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, [&] { return write(path); });
  if (outcome.code != 0) write(path);
  outcome.result = ReadFile(path);
  return outcome;
}

/// The code of a mesh writer, or else what the mesh has on record.
template <class Write>
Outcome WriteMesh(const std::string& path, const Plan& plan, Write write) {
  CTL mesh = MeshOf(path);
  Matrix unit;
  return WriteObject(plan, [&](const std::string& to) {
    mesh.ClearError();
    const int code = write(mesh, to, unit.m);
    return code != 0 ? code : mesh.GetErrorCode();
  });
}

Operation MeshWriter(const char* format, const char* name,
                     int (*write)(CTL&, const std::string&, float (*)[4])) {
  return {format, name,
          [write](const std::string& path, const Plan& plan) { return WriteMesh(path, plan, write); }};
}

/// Writers under fixed names in the current folder, which answer the same whatever happens.
Operation FixedNameWriter(const char* name, const char* file, void (*write)(CTL&)) {
  return {"stl", name, [file, write](const std::string& path, const Plan& plan) {
            CTL mesh = MeshOf(path);
            mesh.offset_limit = 0.1f;
            mesh.offset_ctl();
            const TempDir folder;
            const test_support::WorkingDirectory here(folder.path());
            const auto run = [&] {
              mesh.ClearError();
              write(mesh);
              return mesh.GetErrorCode();
            };
            Outcome outcome;
            outcome.code = Injected(plan, &outcome.hit, run);
            if (outcome.code != 0) run();
            outcome.result = folder.Read(file);
            return outcome;
          }};
}

/// Not every style that is written can be read as one.
constexpr int kNoStyle = -200;

template <class Style>
Operation StyleWriter(const char* format, const char* name, int (Style::*load)(CString),
                      int (Style::*save)(CString)) {
  return {format, name, [load, save](const std::string& path, const Plan& plan) {
            Style style;
            if ((style.*load)(path) != 0) return Outcome{kNoStyle, false, {}};
            return WriteObject(plan, [&](const std::string& to) { return (style.*save)(to); });
          }};
}

Operation LegacyWriter(const char* name, int (RECOATSTYLE::*save)(CString)) {
  return {"legacy_recoat_style", name, [save](const std::string& path, const Plan& plan) {
            RECOATSTYLE style(path);
            style.binaryReadStyle();
            return WriteObject(plan, [&](const std::string& to) { return (style.*save)(to); });
          }};
}

/// Rewrites a side file in place; whatever fails, its content is still there under one of its names.
Outcome RewriteSideFile(const std::string& path, const Plan& plan) {
  const TempDir folder;
  const std::string content = ReadFile(path);
  folder.Write("part.V_D", content);
  MODEL model;
  model.ComponentInfo.text = folder.File("part.stl");
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, [&] { return model.TranslateVDFile(1, 2, 3) - 1; });
  if (outcome.code != 0) {
    const bool kept = (folder.Has("part.V_D.bak") && folder.Read("part.V_D.bak") == content) ||
                      (folder.Has("part.V_D") && folder.Read("part.V_D") == content);
    if (!kept) throw std::logic_error("the side file's content is lost");
    folder.Write("part.V_D", content);
    model.TranslateVDFile(1, 2, 3);
  }
  outcome.result = folder.Read("part.V_D");
  return outcome;
}

/// Works on a mesh. After a failure the mesh may be changed, but can be cleared and read again.
Operation MeshWorker(const char* name, void (*work)(CTL&)) {
  return {"stl", name, [work](const std::string& path, const Plan& plan) {
            CTL mesh = MeshOf(path);
            Outcome outcome;
            outcome.code = Injected(plan, &outcome.hit, [&] {
              work(mesh);
              return 0;
            });
            if (outcome.code != 0) {
              mesh.clear();
              mesh.header.sort_state = 0;
              if (ReadStl(mesh, path, false) != 0) return outcome;
              mesh.Calculate_normals();
              work(mesh);
            }
            outcome.result = BytesOf(mesh);
            return outcome;
          }};
}

template <class Style>
Operation StyleWorker(const char* format, int (Style::*load)(CString)) {
  return {format, "copy and change", [load](const std::string& path, const Plan& plan) {
            Style style, copy;
            if ((style.*load)(path) != 0) return Outcome{kNoStyle, false, {}};
            const auto work = [&] {
              copy = style;
              copy.ConvertAllValuesToMM();
              copy.EquatelAllDefaultsToCurrentValue();
              copy.ConvertTo205Version(0);
              return 0;
            };
            return ReadObject(copy, plan, work);
          }};
}

Outcome CopyContours(const std::string& path, const Plan& plan) {
  slc contours(path.c_str());
  contours.loadSlc();
  slc copy(nullptr);
  COMPONENT_INFO from, to;
  const auto work = [&] {
    contours.mirror(&copy, 1, 0, 0.5f, &from, &to);
    return 0;
  };
  Outcome outcome;
  outcome.code = Injected(plan, &outcome.hit, work);
  if (outcome.code != 0) {
    copy.table.clear();
    copy.layers.clear();
    work();
  }
  outcome.result = BytesOf(copy);
  return outcome;
}

}  // namespace

const std::vector<Operation>& Readers() {
  static const std::vector<Operation> readers = {
      {"stl", "read", [](const std::string& path, const Plan& plan) { return ReadMesh(path, plan, false); }},
      {"stl", "read partial",
       [](const std::string& path, const Plan& plan) { return ReadMesh(path, plan, true); }},
      {"ctl", "read", [](const std::string& path, const Plan& plan) { return ReadMesh(path, plan, false); }},
      {"slc", "read", ReadContours},
      {"build_style", "read", ReadBuildStyle},
      {"recoat_style", "read", ReadRecoatStyle},
      {"legacy_recoat_style", "read", ReadLegacyStyle},
      {"side_file", "read", ReadSideFile},
  };
  return readers;
}

const std::vector<Operation>& Writers() {
  static const std::vector<Operation> writers = {
      MeshWriter("ctl", "write",
                 [](CTL& mesh, const std::string& to, float m[4][4]) { return mesh.SaveCTLModel(to, m, 0); }),
      MeshWriter("stl", "write binary",
                 [](CTL& mesh, const std::string& to, float m[4][4]) {
                   return mesh.SaveCTLasBinarySTL(to, m, 0, 1);
                 }),
      MeshWriter(
          "stl", "write text",
          [](CTL& mesh, const std::string& to, float m[4][4]) { return mesh.SaveCTLasAsciiSTL(to, m, 0); }),
      MeshWriter("stl", "write and stamp",
                 [](CTL& mesh, const std::string& to, float m[4][4]) {
                   const int code = mesh.SaveCTLasBinarySTL(to, m, 0, 1);
                   if (code == 0 && mesh.GetErrorCode() == 0) mesh.crcSTLFile(to.c_str());
                   return code == 0 && mesh.GetErrorCode() == 0 && !mesh.crcValidateSTLFile(to.c_str())
                              ? -1
                              : code;
                 }),
      FixedNameWriter("dump", "ctldmp.txt", [](CTL& mesh) { mesh.dumpctl(); }),
      FixedNameWriter("dump shell", "ctlshell.txt", [](CTL& mesh) { mesh.dumpshell(); }),
      FixedNameWriter("write shell", "shellstl.stl", [](CTL& mesh) { mesh.SaveCTLandShellAsSTL(); }),
      FixedNameWriter("write alone", "shellstl.stl", [](CTL& mesh) { mesh.SaveCTLasSTL(); }),
      FixedNameWriter("z compensation", "ChikiChikiBumBum.stl",
                      [](CTL& mesh) { mesh.ShiftTrianglesInZForZComp(1, 0); }),
      {"slc", "write",
       [](const std::string& path, const Plan& plan) {
         slc contours(path.c_str());
         contours.loadSlc();
         return WriteObject(plan, [&](const std::string& to) { return contours.SaveSLCModel(to); });
       }},
      StyleWriter("build_style", "write", &KVBUILDSTYLE::readBuildStyle, &KVBUILDSTYLE::writeBuildStyle),
      StyleWriter("build_style", "export", &KVBUILDSTYLE::readBuildStyle,
                  &KVBUILDSTYLE::writeAsciiBuildStyle),
      StyleWriter("recoat_style", "write", &KVRECOATSTYLE::readRecoatStyle, &KVRECOATSTYLE::writeRecoatStyle),
      StyleWriter("recoat_style", "export", &KVRECOATSTYLE::readRecoatStyle,
                  &KVRECOATSTYLE::writeAsciiRecoatStyle),
      LegacyWriter("write", &RECOATSTYLE::binaryWriteStyle),
      LegacyWriter("export", &RECOATSTYLE::writeRecoatStyle),
      {"side_file", "rewrite", RewriteSideFile},
  };
  return writers;
}

const std::vector<Operation>& Workers() {
  static const std::vector<Operation> workers = {
      MeshWorker("measure and sort",
                 [](CTL& mesh) {
                   // No memory: no normals, which the answer tells.
                   if (mesh.Calculate_normals() != 0) throw std::bad_alloc();
                   mesh.volume();
                   mesh.area();
                   mesh.z_sort_ascending();
                   mesh.z_sort_descending();
                 }),
      MeshWorker("copy and combine",
                 [](CTL& mesh) {
                   CTL copy;
                   mesh.copy(&copy);
                   copy.combine(&mesh);
                   mesh.combine(&copy);
                   mesh.eliminate_degenerates();
                 }),
      MeshWorker("offset",
                 [](CTL& mesh) {
                   mesh.offset_limit = 0.1f;
                   mesh.validate_offsets = 1;
                   mesh.offset_ctl();
                   mesh.MergeShellAndCTLintoCTL();
                 }),
      MeshWorker("simplify", [](CTL& mesh) { mesh.approximate(mesh.num_triangles() / 2); }),
      MeshWorker("mirror and find vents",
                 [](CTL& mesh) {
                   COMPONENT_INFO from, to;
                   Matrix unit;
                   mesh.mirror(&mesh, 0, 0, 1, &from, &to);
                   mesh.FindVDTriangles(unit.m);
                 }),
      {"slc", "copy and mirror", CopyContours},
      StyleWorker("build_style", &KVBUILDSTYLE::readBuildStyle),
      StyleWorker("recoat_style", &KVRECOATSTYLE::readRecoatStyle),
  };
  return workers;
}

std::vector<std::string> SeedsOf(const char* format) {
  const char* const folder = std::getenv("TRQ_SEEDS");
  if (!folder) throw std::runtime_error("TRQ_SEEDS names the folder that make_seeds made");
  std::vector<std::string> seeds;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(folder) / format))
    seeds.push_back(entry.path().string());
  std::sort(seeds.begin(), seeds.end());
  if (seeds.size() < 5) throw std::runtime_error("fewer than five seeds");
  return seeds;
}

}  // namespace faults
