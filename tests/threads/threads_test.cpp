/// Threads with objects of their own do not disturb each other. The results are compared with those of one
/// thread alone; the preset `tsan` proves that nothing is shared.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "tests/support/meshes.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"
#include "trq/placement.h"
#include "trq/recoat.h"
#include "trq/setup.h"
#include "trq/slice_contours.h"
#include "trq/styles.h"

namespace {

using test_support::ReadFile;
using test_support::TempDir;

std::string BytesOf(const CTL& mesh) {
  std::string bytes;
  for (const auto& point : test_support::VerticesOf(mesh))
    bytes.append(reinterpret_cast<const char*>(point.data()), sizeof point);
  for (const auto& corners : test_support::TrianglesOf(mesh))
    bytes.append(reinterpret_cast<const char*>(corners.data()), sizeof corners);
  return bytes;
}

std::string Import(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  CTL mesh;
  int accept_partial = 0;
  const int code = mesh.LoadSTLFile(file, trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
  std::fclose(file);
  return std::to_string(code) + BytesOf(mesh);
}

/// Meshes: written and imported in every form, sorted both ways, measured, made hollow, simplified.
std::string Meshes(const TempDir& folder, int variant) {
  float unit[4][4];
  set_unit_matrix(unit);
  CTL mesh = test_support::Sphere(10.0f + static_cast<float>(variant), 24, 12);
  mesh.Calculate_normals();
  std::string result;
  result += std::to_string(mesh.SaveCTLasBinarySTL(folder.File("a.stl"), unit, 0, variant));
  result += std::to_string(mesh.SaveCTLasAsciiSTL(folder.File("b.stl"), unit, 1));
  result += std::to_string(mesh.SaveCTLModel(folder.File("c.ctl"), unit, 0));
  result += Import(folder.File("a.stl")) + Import(folder.File("b.stl"));
  CTL read;
  result += std::to_string(read.file_read(folder.File("c.ctl").c_str()));
  result += read.suffix();
  read.z_sort_ascending();
  result += BytesOf(read);
  read.z_sort_descending();
  result += BytesOf(read) + std::to_string(read.volume()) + std::to_string(read.area());
  read.Calculate_normals();
  read.offset_limit = 0.5f;
  read.validate_offsets = 1;
  read.offset_ctl();
  read.MergeShellAndCTLintoCTL();
  read.approximate(read.num_triangles() / 3);
  return result + BytesOf(read);
}

/// What goes wrong leaves its text with the thread that asked.
std::string Failures(const TempDir& folder, int variant) {
  std::string result;
  const std::string bad =
      folder.Write("bad.ctl", std::string(static_cast<std::size_t>(200 + variant * 100), 'x'));
  CTL mesh;
  try {
    mesh.file_read(bad.c_str());
  } catch (const char* text) {
    result += text;
  }
  const int code = variant % 2 == 0 ? 10061 : 126;
  result += CErrorObject::MsdStrerror(code);
  result += CErrorObject::GetRootDirectory();
  COMPONENT_INFO record;
  record.word(1000) = variant;  // outside, a place of the thread's own
  return result + std::to_string(record.word(1000));
}

std::string Styles(const TempDir& folder, int variant) {
  KVBUILDSTYLE build;
  build.LayerThickness.AddAndSetValue(0.1f + 0.01f * static_cast<float>(variant));
  KVRECOATSTYLE recoat;
  KVSWEEPS sweep;
  sweep.BladeGap.AddAndSetValue(100.0f + static_cast<float>(variant));
  recoat.AddToSweepList(sweep);
  recoat.NumSweeps.SetMaxRange(1);
  std::string result;
  for (const float version : {3.01f, 2.06f}) {
    build.FileVersion = recoat.FileVersion = version;
    result += std::to_string(build.writeBuildStyle(folder.File("a.sty")));
    result += std::to_string(recoat.writeRecoatStyle(folder.File("a.rcs")));
    KVBUILDSTYLE build_read;
    KVRECOATSTYLE recoat_read;
    result += std::to_string(build_read.readBuildStyle(folder.File("a.sty")));
    result += std::to_string(recoat_read.readRecoatStyle(folder.File("a.rcs")));
    build_read.writeAsciiBuildStyle(folder.File("a.txt"));
    recoat_read.writeAsciiRecoatStyle(folder.File("b.txt"));
    result +=
        std::to_string(build_read.LayerThickness.GetValue()) + std::to_string(recoat_read.GetSweepListSize());
  }
  RECOATSTYLE legacy(folder.File("l.rcs"));
  legacy.NumSweeps = variant;
  result += std::to_string(legacy.binaryWriteStyle(folder.File("l.rcs")));
  result += std::to_string(legacy.binaryReadStyle()) + std::to_string(legacy.NumSweeps);
  return result;
}

std::string Contours(const TempDir& folder, int variant) {
  slc contours(nullptr);
  contours.table_count = 1;
  contours.table.emplace_back();
  trq::SlcLayer layer(0.5f);
  const float triangle[6] = {0, 0, static_cast<float>(variant), 0, 0, 1};
  std::memcpy(layer.AddBoundary(3, 0), triangle, sizeof triangle);
  contours.layers.push_back(layer);
  contours.layers.push_back(trq::SlcLayer::Terminator(1));
  std::string result = std::to_string(contours.SaveSLCModel(folder.File("a.slc")));
  slc read(folder.File("a.slc").c_str());
  result += std::to_string(read.loadSlc());
  slc mirrored(nullptr);
  COMPONENT_INFO from, to;
  read.mirror(&mirrored, 2, 0, 1, &from, &to);
  result += std::to_string(mirrored.SaveSLCModel(folder.File("b.slc")));
  return result + ReadFile(folder.File("b.slc"));
}

/// Rasterising; the search itself draws from the C library's rand, which all threads share.
std::string Placement(const TempDir&, int variant) {
  CTL part = test_support::Box({5.0f + static_cast<float>(variant), 3, 2});
  GridEval eval(100, 100, 100, 4);
  eval.add(part, 2);
  return BytesOf(part) + std::to_string(eval.x_shift(0, 1));
}

std::string Everything(int variant) {
  // Questions go to the handler of the thread that asks.
  int asked = 0;
  trq::SetMessageBoxHandler(
      [](const char*, unsigned, void* user) -> int {
        ++*static_cast<int*>(user);
        return trq::message_box::kNo;
      },
      &asked);
  const TempDir folder;
  MODEL model;
  model.ComponentInfo.text = folder.File("part.stl");
  folder.Write("part.V_D", "1 2 3  0 0 1  0.5\n");
  std::string result = std::to_string(model.TranslateVDFile(static_cast<float>(variant), 0, 0));
  model.DeleteVDFile();
  result += folder.Read("part.V_D") + std::to_string(asked);
  result += Meshes(folder, variant) + Failures(folder, variant) + Styles(folder, variant);
  result += Contours(folder, variant) + Placement(folder, variant);
  trq::SetMessageBoxHandler(nullptr, nullptr);
  return result;
}

TEST(Threads, WithObjectsOfTheirOwnDoNotDisturbEachOther) {
  constexpr int kThreads = 3;
  constexpr int kRounds = 8;
  std::string alone[kThreads];
  for (int i = 0; i < kThreads; ++i) alone[i] = Everything(i + 1);
  ASSERT_NE(alone[0], alone[1]);
  std::atomic<int> waiting{kThreads};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (--waiting; waiting > 0;) std::this_thread::yield();  // all begin at once
      for (int round = 0; round < kRounds; ++round) wrong += Everything(i + 1) != alone[i];
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
