/// Calls every operation of the library that computes or writes floats, on inputs of its own, and prints a
/// digest of each: builds by different compilers, at different levels, have to print the same. Uses the
/// installed headers alone.
#include <algorithm>
#include <memory>

#include "tests/bits/bit_inputs.h"
#include "tests/view/picture_scenes.h"
#include "trq/placement.h"
#include "trq/setup.h"

namespace {

using namespace bits;

struct CloseFile {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File Open(const char* path, const char* mode) {
  File file(std::fopen(path, mode));
  if (!file) throw std::runtime_error(std::string("cannot open ") + path);
  return file;
}

void WriteText(const char* path, const std::string& text) {
  const File file = Open(path, "wb");
  std::fwrite(text.data(), 1, text.size(), file.get());
}

// ---- values, matrices, plane ----

void Values(Digest& digest, int) {
  Random random(1);
  for (int i = 0; i < 20000; ++i) {
    const PbVec2f a = random.PlanePoint(), b = random.PlanePoint();
    const PbVec3f c = random.Point(), d = random.Point();
    const float s = random.Float();
    PbVec2f plane[] = {a, a, a, a, a};
    plane[0] += b;
    plane[1] -= b;
    plane[2] *= b;
    plane[3] *= s;
    plane[4] /= s;
    for (const PbVec2f& v : plane) {
      digest.Float(v[0]);
      digest.Float(v[1]);
    }
    PbVec3f space[] = {c, c, c, c, c};
    space[0] += d;
    space[1] -= d;
    space[2] *= d;
    space[3] *= s;
    space[4] /= s;
    for (const PbVec3f& v : space) digest.Point(v);
  }
}

void Matrices(Digest& digest, int) {
  const MATRICES matrices;
  for (uint64_t seed = 0; seed < 3000; ++seed) {
    const Matrix a(2 * seed), b(2 * seed + 1);
    float product[4][4], inverse[4][4], block[3][3], out3[3][1], out4[4][1];
    matrices.matmult(product, a.m, b.m);
    digest.Floats(product[0], 16);
    matrices.TransMatInverse(inverse, product);
    digest.Floats(inverse[0], 16);
    matrices.ExtractRotationMatrix(block, product);
    const float v[4][1] = {{b.m[0][3]}, {b.m[1][3]}, {b.m[2][3]}, {1}};
    matrices.MatVecMult3x3(out3, block, v);
    digest.Floats(out3[0], 3);
    slc::MatVecMult(out4, a.m, v);
    digest.Floats(out4[0], 4);
  }
}

void Plane(Digest& digest, int) {
  Random random(2);
  const auto point = [&] { return random.PlanePoint(-3, 2); };
  for (int i = 0; i < 20000; ++i) {
    const PbVec2f a = point(), b = point(), c = point(), d = point();
    PbVec2f crossing;
    const float tolerance = random.Float(-6, -4);
    digest.Int(nonparallel_intersection(a, b, c, d, crossing, tolerance));
    digest.Float(crossing[0]);
    digest.Float(crossing[1]);
    digest.Int(touches(a, b, crossing, tolerance));
    digest.Int(crossing == c);
    digest.Float(dist_sq(a, b, c));
    digest.Float(angle_between(a, b, c));
    digest.Float(interpolate(a[0], a[1], b[0], b[1], c[0]));
    digest.Float(UTILITY::RoundFloat(a[0], i % 2));
    const PbVec3f p = random.Point(), q = random.Point(), r = random.Point();
    float n[3];
    UTILITY::get_normal(p.data(), q.data(), r.data(), n);
    digest.Floats(n, 3);
  }
}

// ---- meshes in memory ----

void Move(Digest& digest, int) {
  CTL mesh = Soup(3);
  AddBox(digest, mesh);
  mesh.translate(1.1f, -2.2f, 3.3f);
  AddBox(digest, mesh);
  AddMesh(digest, mesh);
  mesh.scale(1.7f, -0.3f, 25.4f);
  AddBox(digest, mesh);
  AddMesh(digest, mesh);
  mesh.convert_to_inch();
  mesh.recalculate_extents();
  AddBox(digest, mesh);
  AddMesh(digest, mesh);
}

void Rotate(Digest& digest, int axis) {
  CTL mesh = Soup(4, 500, 10);
  for (const float degrees : {0.0f, 33.3f, -90.0f, 181.0f, 3e4f}) {
    if (axis == 0) mesh.rotateX(degrees);
    if (axis == 1) mesh.rotateY(degrees);
    if (axis == 2) mesh.rotateZ(degrees);
    AddMesh(digest, mesh);
  }
  AddBox(digest, mesh);
}

void ApplyMatrix(Digest& digest, int) {
  CTL mesh = Soup(5);
  Matrix matrix(5);
  float* rows[4];
  for (int i = 0; i < 4; ++i) rows[i] = matrix.m[i];
  mesh.applyMatrix(rows);
  AddMesh(digest, mesh);
  AddBox(digest, mesh);
}

void Truncate(Digest& digest, int) {
  CTL mesh = Soup(6);
  mesh.truncateVertices();
  AddMesh(digest, mesh);
}

void Sort(Digest& digest, int descending) {
  CTL mesh = Soup(7);
  descending ? mesh.z_sort_descending() : mesh.z_sort_ascending();
  AddMesh(digest, mesh);
}

void Combine(Digest& digest, int) {
  CTL mesh = Soup(8), other = Soup(9), copy;
  mesh.combine(&other);
  mesh.eliminate_degenerates();
  mesh.copy(&copy);
  AddMesh(digest, copy);
  AddNormals(digest, copy);
}

void Approximate(Digest& digest, int) {
  CTL mesh = DentedBox(10, 12);
  digest.Int(mesh.approximate(600));
  AddMesh(digest, mesh);
}

void Measures(Digest& digest, int) {
  CTL mesh = Soup(11);
  digest.Int(mesh.Calculate_normals());
  AddNormals(digest, mesh);
  for (int i = 0; i < mesh.num_triangles(); ++i) digest.Float(mesh.areaX2sq(i));
  digest.Float(mesh.area());
  digest.Float(mesh.volume());
  AddBox(digest, mesh);
}

void Normals(Digest& digest, int) {
  CTL mesh;
  Random random(12);
  for (int i = 0; i < 30000; ++i) {
    VECTOR v[3];
    PbVec3f p[3];
    for (int k = 0; k < 3; ++k) {
      p[k] = random.Point();
      v[k] = VECTOR(p[k][0], p[k][1], p[k][2]);
    }
    digest.Vector(mesh.get_normal(v[0], v[1], v[2]));
    digest.Float(mesh.areaX2sq(p[0].data(), p[1].data(), p[2].data()));
  }
}

void Mirror(Digest& digest, int variant) {
  const int unit = variant % 2, axis = variant / 2;
  CTL mesh = Soup(13), mirrored;
  COMPONENT_INFO from = PlacedPart(13, mesh.num_triangles()), to;
  mesh.mirror(&mirrored, axis, unit, 1.25f, &from, &to);
  AddMesh(digest, mirrored);
  AddNormals(digest, mirrored);
  AddPlacement(digest, to);
}

void VentTriangles(Digest& digest, int) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    CTL mesh = Soup(seed, 100, 4000);
    mesh.Calculate_normals();
    Matrix matrix(seed);
    mesh.FindVDTriangles(matrix.m);
    for (const auto& list : {mesh.vents_and_drains.vent_triangles, mesh.vents_and_drains.drain_triangles}) {
      for (const trq::VentCandidate& candidate : list) digest.Int(candidate.triangle);
      digest.Int(-1);
    }
  }
}

// ---- mesh files ----

void SaveCtl(Digest& digest, int unit) {
  CTL mesh = Soup(20), read;
  Matrix matrix(20);
  digest.Int(mesh.SaveCTLModel("a.ctl", matrix.m, unit));
  digest.File("a.ctl");
  AddMesh(digest, mesh);
  digest.Int(read.file_read("a.ctl"));
  AddMesh(digest, read);
}

void SaveBinaryStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  Matrix matrix(21);
  digest.Int(mesh.SaveCTLasBinarySTL("a.stl", matrix.m, unit, 7));
  digest.File("a.stl", 80);
  digest.Int(mesh.crcSTLFile("a.stl"));
  digest.Int(mesh.crcValidateSTLFile("a.stl"));
  digest.File("a.stl", 80);
}

void SaveModifiedStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  Matrix matrix(21);
  {
    const File file = Open("a.stl", "wb");
    mesh.SaveSTLHeader(file.get(), mesh.num_triangles());
    digest.Int(mesh.SaveModifiedCTLDataAsSTL(file.get(), unit, matrix.m));
  }
  digest.File("a.stl", 84);
}

void SaveAsciiStl(Digest& digest, int unit) {
  CTL mesh = Soup(21);
  Matrix matrix(21);
  digest.Int(mesh.SaveCTLasAsciiSTL("a.stl", matrix.m, unit));
  digest.File("a.stl");
}

/// What placing has to do with infinite coordinates and with numbers that overflow on the way.
void SaveInfinite(Digest& digest, int unit) {
  CTL mesh = Soup(22);
  Random random(22);
  const uint32_t odd[] = {0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC12345,
                          0x7F7FFFFF, 0xFF7FFFFF, 1,          0x80000000};
  for (int i = 0; i < mesh.num_vertices(); i += 3) {
    const int axis = random.Below(3);
    mesh.vertices()[i][axis] = FromBits(odd[random.Below(8)]);
    mesh.normals()[i].y = FromBits(odd[random.Below(8)]);
  }
  Matrix matrix(22);
  mesh.SaveCTLasBinarySTL("a.stl", matrix.m, unit, 7);
  digest.File("a.stl", 80);
  mesh.SaveCTLasAsciiSTL("a.stl", matrix.m, unit);
  digest.File("a.stl");
  {
    const File file = Open("a.stl", "wb");
    mesh.SaveModifiedCTLDataAsSTL(file.get(), unit, matrix.m);
  }
  digest.File("a.stl");
  mesh.SaveCTLModel("a.ctl", matrix.m, unit);
  digest.File("a.ctl");
  mesh.ShiftTrianglesInZForZComp(1.5f, 0);
  digest.File("ChikiChikiBumBum.stl");
  mesh.dumpctl();
  digest.File("ctldmp.txt");
}

void Reports(Digest& digest, int) {
  CTL mesh = Soup(23, 300, 600);
  digest.Int(mesh.dumpctl());
  digest.File("ctldmp.txt");
  {
    const File file = Open("a.txt", "wb");
    mesh.ascii_dump(file.get());
  }
  digest.File("a.txt");
}

void LoadBinaryStl(Digest& digest, int units) {
  CTL box = DentedBox(24, 10), mesh;
  box.Calculate_normals();
  Matrix matrix(24);
  box.SaveCTLasBinarySTL("a.stl", matrix.m, 0, 1);
  const File file = Open("a.stl", "rb");
  int accept_partial = 0;
  digest.Int(mesh.LoadSTLFile(file.get(), units, &accept_partial, 0, 0.0f, 0));
  AddMesh(digest, mesh);
  AddNormals(digest, mesh);
}

void LoadAsciiStl(Digest& digest, int) {
  WriteText("a.stl", AsciiStl());
  CTL mesh;
  const File file = Open("a.stl", "rb");
  digest.Int(mesh.LoadSTLFile(file.get(), 1, nullptr, 0, 0.0f, 0));
  AddMesh(digest, mesh);
  AddNormals(digest, mesh);
}

void CreateMesh(Digest& digest, int) {
  const std::vector<PbVec3f> corners = NearlyMeeting();
  TriangleBAG bag;
  for (std::size_t i = 0; i < corners.size(); i += 3) {
    R_TRIANGLE triangle;
    for (std::size_t k = 0; k < 3; ++k) std::memcpy(&triangle.corner[k][0], corners[i + k].data(), 12);
    bag.append(triangle);
  }
  CTL mesh;
  digest.Int(mesh.create(bag, kMeeting, 1, 0));
  AddMesh(digest, mesh);
}

// ---- Z compensation, shell ----

void ZCompensation(Digest& digest, int) {
  CTL mesh = Soup(30);
  digest.Int(mesh.ShiftTrianglesInZForZComp(0.1234567f, 0));
  digest.File("ChikiChikiBumBum.stl");
  Random random(30);
  TheSegment segment;
  for (int i = 0; i < 20000; ++i) {
    const PbVec3f a = random.Point(-3, 0), b = random.Point(-3, 0);
    segment.SetPoint(1, random.Point(-3, 0).data());
    segment.SetPoint(2, random.Point(-3, 0).data());
    digest.Int(segment.match(a.data(), b.data(), random.Float(-3, 1)));
  }
}

void Shell(Digest& digest, int validated) {
  CTL mesh = ThinBox(31);
  mesh.validate_offsets = validated;
  digest.Int(mesh.offset_ctl());
  for (int i = 0; i < mesh.num_vertices(); ++i)
    digest.Point(mesh.shell_vertices_[static_cast<std::size_t>(i)]);
}

void ShellFiles(Digest& digest, int) {
  CTL mesh = DentedBox(32, 7);
  mesh.Calculate_normals();
  mesh.offset_limit = 0.7f;
  mesh.offset_ctl();
  mesh.SaveCTLandShellAsSTL();
  digest.File("shellstl.stl");
  mesh.SaveCTLasSTL();
  digest.File("shellstl.stl");
  mesh.dumpshell();
  digest.File("ctlshell.txt");
  mesh.MergeShellAndCTLintoCTL();
  AddMesh(digest, mesh);
}

void Intersections(Digest& digest, int) {
  CTL mesh;
  Random random(33);
  for (int i = 0; i < kAimed; ++i) {
    const Aimed aim(random);
    digest.Int(mesh.FindIntnsPoint(1000, aim.p, aim.q, aim.corners[0], aim.corners[1], aim.corners[2]));
  }
}

void PointsOnTriangles(Digest& digest, int) {
  CTL mesh;
  Random random(34);
  for (int i = 0; i < kAimed; ++i) {
    const Aimed aim(random);
    digest.Int(mesh.PointOnTriangle(aim.edge, aim.corners[0], aim.corners[1], aim.corners[2]));
    digest.Float(mesh.tetra_analysis(aim.p, aim.corners[0], aim.corners[1], aim.corners[2]));
  }
}

// ---- contours ----

void Contours(Digest& digest, int) {
  slc contours, copy, read("b.slc");
  FillContours(contours);
  contours.copy(&copy);
  digest.Int(copy.SaveSLCModel("b.slc"));
  digest.File("b.slc");
  digest.Int(read.loadSlc());
  digest.Int(read.SaveSLCModel("c.slc"));
  digest.File("c.slc");
}

void MirrorContours(Digest& digest, int variant) {
  const int unit = variant % 2, axis = variant / 2;
  slc contours, mirrored;
  FillContours(contours);
  COMPONENT_INFO from = PlacedPart(41, 0), to;
  contours.mirror(&mirrored, axis, unit, 1.25f, &from, &to);
  AddPlacement(digest, to);
  digest.Int(mirrored.SaveSLCModel("a.slc"));
  digest.File("a.slc");
}

// ---- models, side files ----

void VolumeAndArea(Digest& digest, int unit) {
  for (uint64_t seed = 50; seed < 60; ++seed) {
    MODEL model;
    CTL mesh = Soup(seed);
    mesh.copy(&model);
    model.ComponentInfo = PlacedPart(seed, mesh.num_triangles());
    model.CalculateCurrentVolumeAndArea(unit);
    AddPlacement(digest, model.ComponentInfo);
    for (int i = 0; i < model.num_triangles(); ++i) digest.Float(model.GetCTLArea(i));
  }
}

/// A model with a move behind it that does not tilt the part, and with vents and drains in memory and on
/// file.
void PrepareVents(MODEL& model) {
  Random random(51);
  for (float* const m :
       {model.ComponentInfo.placement(), model.ComponentInfo.record.previous_matrix.data()}) {
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 2; ++j) m[4 * i + j] = random.Float(-3, -1);
    }
    for (int i = 0; i < 3; ++i) m[4 * i + 3] = random.Float(-2, 4);
  }
  std::string text;
  for (int i = 0; i < 500; ++i) {
    VentOrDrain item;
    for (float& c : item.point) c = random.Float();
    model.vents_and_drains.vents.push_back(item);
    model.vents_and_drains.drains.push_back(item);
    for (int k = 0; k < 7; ++k) {
      text += std::to_string(random.Below(90) - 45);
      text += "." + std::to_string(random.Next()) + " ";
    }
    text += "\n";
  }
  model.ComponentInfo.text = "part.stl";
  WriteText("part.V_D", text + "inf -inf -nan 0 0 1 nan\n");
}

void Vents(Digest& digest, int unit) {
  MODEL model;
  PrepareVents(model);
  const auto add = [&] {
    for (const auto& list : {model.vents_and_drains.vents, model.vents_and_drains.drains}) {
      for (const VentOrDrain& item : list) digest.Floats(item.point, 3);
    }
  };
  model.TranslateVD(1.1f, -2.2f, 3.3f);
  add();
  model.MoveVDLast(unit);
  add();
  model.InvMoveVDLast(unit);
  add();
}

void SideFiles(Digest& digest, int unit) {
  MODEL model, other;
  PrepareVents(model);
  other.ComponentInfo.text = "other.stl";
  digest.Int(model.TranslateVDFile(1.1f, -2.2f, 3.3f));
  digest.File("part.V_D");
  digest.Int(model.MoveVDFileLast(unit));
  digest.File("part.V_D");
  digest.Int(other.CopyVDFileFrom("part.stl", 0.1f, 0.2f, 0.3f));
  digest.File("other.V_D");
  digest.Int(model.InvMoveVDFileLast(unit));
  digest.File("part.V_D");
}

// ---- styles ----

/// Numbers in every record of a style: value, default, range and list.
template <class Style, class Rows>
void FillRecords(Style& style, const Rows& rows, Random& random) {
  for (const auto& row : rows) {
    const auto fill = [&](auto& record, auto number) {
      record.SetValue(number());
      record.SetDefaultValue(number());
      record.SetMinRange(number());
      record.SetMaxRange(number());
      for (int i = random.Below(4); i > 0; --i) record.AddElementToList(number());
    };
    if (auto* const record = row.member.FloatIn(style)) {
      fill(*record, [&] { return random.Float(-10, 10); });
    } else {
      fill(*row.member.IntIn(style), [&] { return random.Below(2000) - 1000; });
    }
  }
}

template <class Style, class Rows>
void AddRecords(Digest& digest, Style& style, const Rows& rows) {
  for (const auto& row : rows) {
    const auto add = [&](auto& record) {
      for (const auto v :
           {record.GetValue(), record.GetDefaultValue(), record.GetMinRange(), record.GetMaxRange()}) {
        digest.Value(v);
      }
      for (int i = 0; i < record.GetNumElementsInList(); ++i) {
        const auto v = record.GetAnElementFromList(i);
        digest.Value(v);
      }
    };
    if (auto* const record = row.member.FloatIn(style)) {
      add(*record);
    } else {
      add(*row.member.IntIn(style));
    }
  }
}

template <class Style>
void Convert(Style& style, int to_inch) {
  to_inch ? style.ConvertAllValuesToINCH() : style.ConvertAllValuesToMM();
}

const char kStyleFile[] = "a.sty";

void BuildStyle(Digest& digest, int to_inch) {
  const auto rows = trq::BuildStyleParameters();
  for (const float version : {4.0f, 3.01f, 2.06f}) {
    KVBUILDSTYLE style, read;
    Random random(60);
    FillRecords(style, rows, random);
    Convert(style, to_inch);
    AddRecords(digest, style, rows);
    style.FileVersion = version;
    digest.Int(style.writeBuildStyle(kStyleFile));
    digest.File(kStyleFile);
    digest.Int(read.readBuildStyle(kStyleFile));
    AddRecords(digest, read, rows);
    read.ConvertTo205Version(0);
    read.ConvertBuildStylesTo301();
    read.EquatelAllDefaultsToCurrentValue();
    for (const bool commas : {false, true}) {
      read.CommaSeparated = commas;
      digest.Int(read.writeAsciiBuildStyle("a.txt"));
      digest.File("a.txt");
    }
  }
}

void BuildStyleFromStructure(Digest& digest, int) {
  auto structure = std::make_unique<trq::BuildStyleStructure>();
  std::memset(static_cast<void*>(structure.get()), 0, sizeof *structure);
  Random random(61);
  // Integers among them come out as large ones.
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(structure.get());
  for (std::size_t at = offsetof(trq::BuildStyleStructure, StartZ); at + 4 <= sizeof *structure; at += 4) {
    const float v = random.Float();
    std::memcpy(bytes + at, &v, sizeof v);
  }
  KVBUILDSTYLE style(structure.get(), TRQ_A1), other;
  AddRecords(digest, style, trq::BuildStyleParameters());
  other.resetKVBuildStyle(structure.get());
  AddRecords(digest, other, trq::BuildStyleParameters());
  BuildStyleParameterRecordFloat reals;
  BuildStyleParameterRecordInt integers;
  reals.ConvertIntRecordIntoFloatRecord(&style.SmallLayerNumHatches);
  integers.ConvertFloatRecordIntoIntRecord(&style.StartZ);
  digest.Float(reals.GetValue());
  digest.Int(integers.GetValue());
}

void RecoatStyle(Digest& digest, int to_inch) {
  const auto rows = trq::RecoatStyleParameters();
  for (const float version : {3.01f, 2.06f}) {
    KVRECOATSTYLE style, read;
    Random random(62);
    FillRecords(style, rows, random);
    for (int i = 0; i < 9; ++i) {
      KVSWEEPS sweep;
      sweep.BladeGap.SetValue(random.Float());
      sweep.BladeVelocity.SetValue(random.Float());
      if (i % 3 == 0) style.AddToSweepList(sweep);
      if (i % 3 == 1) style.AddToPrimarySweepList(sweep);
      if (i % 3 == 2) style.AddToSecondarySweepList(sweep);
    }
    for (auto* const count :
         {&style.NumSweeps, &style.NumToolingPrimarySweeps, &style.NumToolingSecondarySweeps}) {
      count->SetMaxRange(3);
    }
    Convert(style, to_inch);
    style.FileVersion = version;
    digest.Int(style.writeRecoatStyle(kStyleFile));
    digest.File(kStyleFile);
    digest.Int(read.readRecoatStyle(kStyleFile));
    AddRecords(digest, read, rows);
    digest.Int(read.GetSweepListSize());
    for (int i = 0; i < 100; ++i) digest.Float(read.computedPreferredBladeGap(random.Float()));
    read.EquatelAllDefaultsToCurrentValue();
    for (const bool commas : {false, true}) {
      read.CommaSeparated = commas;
      digest.Int(read.writeAsciiRecoatStyle("a.txt"));
      digest.File("a.txt");
    }
  }
}

void LegacyRecoatStyle(Digest& digest, int) {
  auto structure = std::make_unique<_rc_style>();
  std::memset(static_cast<void*>(structure.get()), 0, sizeof *structure);
  Random random(63);
  for (float* const v :
       {&structure->start_z, &structure->end_z, &structure->z_dip_distance, &structure->z_velocity,
        &structure->z_acceleration, &structure->z_post_dip_delay, &structure->z_pre_dip_delay,
        &structure->primary.velocity, &structure->primary.acceleration, &structure->primary.dip_distance,
        &structure->z_wait}) {
    *v = random.Float();
  }
  structure->number_of_sweeps = 7;
  for (_rc_style::Sweep& sweep : structure->sweeps) sweep = {random.Float(), random.Float()};
  KVRECOATSTYLE style(structure.get(), 0);
  AddRecords(digest, style, trq::RecoatStyleParameters());
  RECOATSTYLE legacy(structure.get(), 0), read("a.rcs");
  digest.Int(legacy.writeRecoatStyle("a.txt"));
  digest.File("a.txt");
  digest.Int(legacy.binaryWriteStyle("a.rcs"));
  digest.File("a.rcs");
  digest.Int(read.binaryReadStyle());
  digest.Int(read.writeRecoatStyle("b.txt"));
  digest.File("b.txt");
}

/// Stacks by height on a model and on a platform, and what is calculated from them.
void Stacks(Digest& digest, int units) {
  PLATFORM platform;
  platform.Units = units;
  MODEL model;
  Random random(64);
  platform.MaxX = random.Float(4, 8);
  digest.Float(platform.getMaxPlatformExtent());
  for (int i = 0; i < 200; ++i) {
    const float a = random.Float(-2, 4), b = random.Float(-2, 4);
    digest.Int(model.KVAddBuildStyle(&platform, nullptr, "", std::min(a, b), std::max(a, b), false));
    digest.Int(
        platform.KVaddRecoatStyle(std::min(a, b), std::max(a, b), "", random.Below(2), i % 2 == 0, false));
    if (i % 16 == 15) {
      const float bottom = random.Float(-2, 0), top = random.Float(1, 4);
      model.KVrecalculateBuildStyle(bottom, top);
      platform.KVUpdateRecoatStyles(bottom, top, i / 16 % 2);
      digest.Int(platform.KVremoveRecoatStyleByZ(a));
    }
    for (const auto& style : model.BuildStyles) {
      digest.Float(style->StartZ.GetValue());
      digest.Float(style->EndZ.GetValue());
    }
    for (const auto& style : platform.RecoatStyles) {
      digest.Float(style->StartZ.GetValue());
      digest.Float(style->EndZ.GetValue());
    }
    digest.Float(platform.KVGetMaxZRecoatStyles());
    digest.Float(platform.KVGetMinZRecoatStyles());
    if (i % 50 == 49) {
      model.KVdeleteBuildStyles();
      platform.KVdeleteRecoatStyles();
    }
  }
}

void ZCorrection(Digest& digest, int) {
  MODEL model;
  Random random(65);
  for (int i = 0; i < 300; ++i) {
    const auto style = std::make_shared<KVBUILDSTYLE>();
    FillRecords(*style, trq::BuildStyleParameters(), random);
    for (auto* const record : {&style->LayerThickness, &style->Dp, &style->Ec}) {
      record->SetValue(FromBits(BitsOf(random.Float(-5, 3)) & 0x7FFFFFFF));
    }
    model.BuildStyles = {style};
    digest.Int(model.KVcalc_zcorrection(i % 2 ? TRQ_A1 : TRQ_E7, style.get(), random.Float(0, 10)));
    digest.Float(model.KVGetZLayerComp());
    digest.Float(model.KVgetDp());
    digest.Float(model.KVgetEc());
    digest.Float(model.KVGetFirstBuildStyleThickness());
  }
}

// ---- placement ----

void Grid(Digest& digest, int) {
  Random random(70);
  for (int i = 0; i < 2000; ++i) {
    GRID_INDEX2 grid;
    const float x = random.Float(-2, 2), y = random.Float(-2, 2);
    if (i % 2) {
      grid.setup(FromBits(BitsOf(random.Float(-3, 0)) & 0x7FFFFFFF), 0.37f, x, y, x + 20, y + 20);
    } else {
      grid.setup2(1 + random.Below(40), 33, x, y, x + 20, y + 20);
    }
    digest.Int(grid.x_num);
    digest.Int(grid.y_num);
    for (const float v : {grid.x_size, grid.y_size, grid.x_offset, grid.y_offset}) digest.Float(v);
    for (int k = -1; k < 4; ++k) {
      digest.Float(grid.x_coordf(k));
      digest.Float(grid.y_coordf(k));
      digest.Int(grid.x_mid_coord(k));
      digest.Int(grid.y_coord(k));
    }
    DynArray<MyPair<int, int>> cells;
    const PbVec2f from = random.PlanePoint(-1, 3), to = random.PlanePoint(-1, 3);
    digest.Int(grid.boxes_between(from[0], from[1], to[0], to[1], cells));
    for (int k = 0; k < cells.count; ++k) {
      digest.Int(cells[k].first);
      digest.Int(cells[k].second);
    }
  }
}

void Placement(Digest& digest, int variant) {
  GridEval grid(101.5f, 87.25f, 50, variant == 0 ? 1 : 8);
  Place(digest, grid);
}

// ---- pictures ----

/// Of twenty scenes, with another number of threads in every other one.
void Pictures(Digest& digest, int variant) {
  auto examples = picture_scenes::All();
  int number = 0;
  for (picture_scenes::Example& example : examples) {
    trqprep::RenderOptions& options = example.options;
    options.threads = 1 + number++ % 3;
    options.smooth = options.smooth || variant == 1;
    const trqprep::ViewFrame frame = trqprep::FrameScene(example.scene, options);
    const trqprep::SampleBuffer samples = trqprep::Rasterise(example.scene, frame, options.threads);
    for (const std::uint64_t sample : samples.samples) digest.Value(sample);
    const trqprep::ColourImage image = trqprep::Shade(example.scene, frame, samples, options);
    digest.Bytes(image.pixels.data(), image.pixels.size());
  }
}

constexpr Operation kOperations[] = {
    {"values", 1, Values},
    {"matrices", 1, Matrices},
    {"plane_geometry", 1, Plane},
    {"move_and_scale", 1, Move},
    {"rotate", 3, Rotate},
    {"apply_matrix", 1, ApplyMatrix},
    {"truncate", 1, Truncate},
    {"z_sort", 2, Sort},
    {"combine_and_copy", 1, Combine},
    {"approximate", 1, Approximate},
    {"measures", 1, Measures},
    {"normals", 1, Normals},
    {"mirror", 8, Mirror},
    {"vent_triangles", 1, VentTriangles},
    {"save_ctl", 3, SaveCtl},
    {"save_binary_stl", 3, SaveBinaryStl},
    {"save_modified_stl", 3, SaveModifiedStl},
    {"save_ascii_stl", 3, SaveAsciiStl},
    {"save_infinite", 2, SaveInfinite},
    {"reports", 1, Reports},
    {"load_binary_stl", 2, LoadBinaryStl},
    {"load_ascii_stl", 1, LoadAsciiStl},
    {"create_mesh", 1, CreateMesh},
    {"z_compensation", 1, ZCompensation},
    {"shell", 2, Shell},
    {"shell_files", 1, ShellFiles},
    {"intersections", 1, Intersections},
    {"points_on_triangles", 1, PointsOnTriangles},
    {"contours", 1, Contours},
    {"mirror_contours", 8, MirrorContours},
    {"volume_and_area", 2, VolumeAndArea},
    {"vents", 2, Vents},
    {"side_files", 2, SideFiles},
    {"build_style", 2, BuildStyle},
    {"build_style_from_structure", 1, BuildStyleFromStructure},
    {"recoat_style", 2, RecoatStyle},
    {"legacy_recoat_style", 1, LegacyRecoatStyle},
    {"stacks", 2, Stacks},
    {"z_correction", 1, ZCorrection},
    {"grid", 1, Grid},
    {"placement", 2, Placement},
    {"pictures", 2, Pictures},
};

}  // namespace

int main() { return PrintInScratchFolder(kOperations); }
