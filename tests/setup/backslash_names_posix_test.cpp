// Every operation that is given a name finds the file that backslashes lead to.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/meshes.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/temp_dir.h"
#include "trq/recoat.h"
#include "trq/setup.h"
#include "trq/slice_contours.h"
#include "trq/styles.h"

namespace {

class BackslashNames : public testing::Test {
 protected:
  BackslashNames() { std::filesystem::create_directory(dir.path() / "in"); }

  /// The name, as "...\in\NAME".
  std::string Named(const std::string& name) const { return dir.path().string() + "\\in\\" + name; }
  /// Whether the file lies in the folder, and none whose own name holds a backslash beside it.
  bool LiesInFolder(const std::string& name) const {
    return dir.Has("in/" + name) && !std::filesystem::exists(Named(name)) && !dir.Has("in\\" + name);
  }

  test_support::TempDir dir;
  test_support::MessageBoxRecorder boxes;
  float unmoved[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

}  // namespace

TEST_F(BackslashNames, Meshes) {
  CTL mesh = test_support::Tetrahedron();
  EXPECT_EQ(mesh.SaveCTLModel(Named("a.ctl"), unmoved, 0), trq::mesh_io::kDone);
  EXPECT_TRUE(LiesInFolder("a.ctl"));
  CTL read;
  EXPECT_EQ(read.file_read(Named("a.ctl").c_str()), trq::component_io::kOk);
  EXPECT_EQ(read.num_triangles(), 4);
  EXPECT_EQ(mesh.file_write(Named("b.ctl")),
            trq::component_io::kFailed);  // not supported by meshes, but opened
  EXPECT_TRUE(LiesInFolder("b.ctl"));
}

TEST_F(BackslashNames, StlFilesAndTheirChecks) {
  CTL mesh = test_support::Tetrahedron();
  EXPECT_EQ(mesh.SaveCTLasAsciiSTL(Named("a.stl"), unmoved, 0), trq::mesh_io::kDone);
  EXPECT_TRUE(LiesInFolder("a.stl"));
  EXPECT_EQ(mesh.SaveCTLasBinarySTL(Named("b.stl"), unmoved, 0, 1), trq::mesh_io::kDone);
  EXPECT_TRUE(LiesInFolder("b.stl"));
  EXPECT_FALSE(mesh.crcValidateSTLFile(Named("b.stl").c_str()));
  EXPECT_EQ(mesh.crcSTLFile(Named("b.stl").c_str()), 0);
  EXPECT_TRUE(mesh.crcValidateSTLFile(Named("b.stl").c_str()));
  EXPECT_TRUE(LiesInFolder("b.stl"));
}

TEST_F(BackslashNames, SliceFiles) {
  slc contours(Named("a.slc").c_str());
  contours.table.push_back({0, 0.1f, 0, 0});
  contours.table_count = 1;
  contours.layers.push_back(trq::SlcLayer::Terminator(1));
  EXPECT_EQ(contours.writeSlc(), trq::slc_file::kOk);
  EXPECT_TRUE(LiesInFolder("a.slc"));
  EXPECT_EQ(contours.SaveSLCModel(Named("b.slc")), trq::slc_file::kOk);
  EXPECT_TRUE(LiesInFolder("b.slc"));
  slc read(Named("b.slc").c_str());
  EXPECT_EQ(read.loadSlc(), trq::slc_file::kOk);
  EXPECT_EQ(read.table.size(), 1u);
}

TEST_F(BackslashNames, Styles) {
  KVBUILDSTYLE build;
  EXPECT_EQ(build.writeBuildStyle(Named("a.sty")), trq::style_file::kOk);
  EXPECT_TRUE(LiesInFolder("a.sty"));
  EXPECT_EQ(build.readBuildStyle(Named("a.sty")), trq::style_file::kOk);
  EXPECT_EQ(build.writeAsciiBuildStyle(Named("a.txt")), trq::style_file::kOk);
  EXPECT_TRUE(LiesInFolder("a.txt"));
  KVRECOATSTYLE recoat;
  EXPECT_EQ(recoat.writeRecoatStyle(Named("a.rcs")), trq::style_file::kOk);
  EXPECT_TRUE(LiesInFolder("a.rcs"));
  EXPECT_EQ(recoat.readRecoatStyle(Named("a.rcs")), trq::style_file::kOk);
  EXPECT_TRUE(boxes.boxes().empty());
}

TEST_F(BackslashNames, SideFiles) {
  dir.Write("in/a.V_D", "1 2 3  0 0 1  0.5\n");
  MODEL model;
  model.ComponentInfo.text = Named("a.stl");
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 1);
  EXPECT_EQ(dir.Read("in/a.V_D"), "2.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n");
  model.ComponentInfo.text = Named("b.stl");
  EXPECT_EQ(model.CopyVDFileFrom(Named("a.stl"), 0, 0, 0), 1);
  EXPECT_TRUE(LiesInFolder("b.V_D"));
}

TEST_F(BackslashNames, OneOperationMeansOneFile) {
  const std::string other = "9 9 9  0 0 1  0.5\n";
  dir.Write("in\\a.V_D", "1 2 3  0 0 1  0.5\n");
  dir.Write("in/a.V_D", other);
  MODEL model;
  model.ComponentInfo.text = dir.File("in\\a.stl");
  const std::string moved = "2.000000 2.000000 3.000000  0.000000 0.000000 1.000000  0.500000\n";
  // The first step moves the file out of the way; the name leads to the other one then.
  EXPECT_EQ(model.TranslateVDFile(1, 0, 0), 1);
  EXPECT_EQ(dir.Read("in\\a.V_D"), moved);
  model.ComponentInfo.placement()[3] = 1;
  EXPECT_EQ(model.MoveVDFileLast(0), 1);
  EXPECT_EQ(dir.Read("in\\a.V_D").substr(0, 8), "3.000000");
  EXPECT_EQ(dir.Read("in/a.V_D"), other);
  EXPECT_FALSE(dir.Has("in\\a.V_D.bak") || dir.Has("in/a.V_D.bak"));
}

TEST_F(BackslashNames, NamesThatExistAsTheyAreKeepTheirMeaning) {
  CTL mesh = test_support::Tetrahedron();
  dir.Write("in\\a.ctl", "");
  EXPECT_EQ(mesh.SaveCTLModel(dir.File("in\\a.ctl"), unmoved, 0), trq::mesh_io::kDone);
  EXPECT_FALSE(dir.Read("in\\a.ctl").empty());
  EXPECT_FALSE(dir.Has("in/a.ctl"));
}

TEST_F(BackslashNames, NamesThatLeadNowhereStayAsTheyAre) {
  CTL mesh = test_support::Tetrahedron();
  EXPECT_EQ(mesh.SaveCTLModel(dir.File("none\\a.ctl"), unmoved, 0), trq::mesh_io::kDone);
  EXPECT_TRUE(dir.Has("none\\a.ctl"));
}
