#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/meshes.h"
#include "tests/support/open_files.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/geometry.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const char kUnsupported[] = "Warning: function not supported by this component type\n";

// A component type that supports nothing.
class Bare : public COMPONENT {
 public:
  char* suffix() override {
    static char text[] = "bar";
    return text;
  }
  using COMPONENT::no_good;
};

// Records the virtual calls that reach it.
class Recorder : public Bare {
 public:
  int fp_read(FILE*) override { return read_result; }
  int fp_write(FILE* f) override {
    std::fputs("written", f);
    return write_result;
  }
  void recalculate_extents() override { ++recalculations; }
  void translate(float x, float y, float z) override { Record("translate", x, y, z); }
  void scale(float x, float y, float z) override { Record("scale", x, y, z); }
  void SetUnits(int code) override {
    Bare::SetUnits(code);
    Record("SetUnits", static_cast<float>(code), 0, 0);
  }

  struct Call {
    std::string what;
    float x, y, z;
  };
  std::vector<Call> calls;
  int recalculations = 0;
  int read_result = 0;
  int write_result = 0;

 private:
  void Record(const char* what, float x, float y, float z) { calls.push_back({what, x, y, z}); }
};

TEST(Component, StartsWithTheEmptyStaleBox) {
  Bare component;
  EXPECT_EQ(component.units, 0);
  EXPECT_STREQ(component.name(), "");
  EXPECT_EQ(component.extents_valid, 0);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(component.min[k], 1e30f);
    EXPECT_EQ(component.max[k], -1e30f);
  }
  EXPECT_EQ(component.GetErrorCode(), 0);
}

TEST(Component, KeptGetMinOfAFreshBaseAnswersTheEmptyBoxAndCallsItCurrent) {
  Bare component;
  float x = 0, y = 0, z = 0;
  component.get_min(&x, &y, &z);
  EXPECT_EQ(x, 1e30f);
  EXPECT_EQ(y, 1e30f);
  EXPECT_EQ(z, 1e30f);
  EXPECT_EQ(component.extents_valid, 1);
}

TEST(Component, MeasuresOnceUntilStale) {
  Recorder component;
  double x = 0, y = 0, z = 0;
  component.get_max(&x, &y, &z);
  EXPECT_EQ(x, static_cast<double>(-1e30f));
  component.get_min(&x, &y, &z);
  EXPECT_EQ(component.recalculations, 1);
  component.extents_valid = 0;
  float fx = 0, fy = 0, fz = 0;
  component.get_max(&fx, &fy, &fz);
  EXPECT_EQ(component.recalculations, 2);
}

TEST(Component, AnswersTheCornersInOrder) {
  Bare component;
  component.extents_valid = 1;
  for (int k = 0; k < 3; ++k) {
    component.min[k] = static_cast<float>(k + 1);
    component.max[k] = static_cast<float>(k + 11);
  }
  float x = 0, y = 0, z = 0;
  component.get_max(&x, &y, &z);
  EXPECT_EQ((std::vector<float>{x, y, z}), (std::vector<float>{11, 12, 13}));
  double dx = 0, dy = 0, dz = 0;
  component.get_min(&dx, &dy, &dz);
  EXPECT_EQ((std::vector<double>{dx, dy, dz}), (std::vector<double>{1, 2, 3}));
}

TEST(Component, UnsupportedOperationsWarnAndLeaveTheObjectUnchanged) {
  Bare component;
  component.min[0] = 3;
  CaptureStdout();
  component.translate(1, 2, 3);
  component.rotateX(90);
  component.rotateY(90);
  component.rotateZ(90);
  component.scale(2, 2, 2);
  EXPECT_EQ(component.fp_write(stdout), -1);
  component.no_good();
  std::string seven;
  for (int i = 0; i < 7; ++i) seven += kUnsupported;
  EXPECT_EQ(GetCapturedStdout(), seven);
  EXPECT_EQ(component.min[0], 3);
  EXPECT_EQ(component.max[0], -1e30f);
  EXPECT_EQ(component.units, 0);
}

TEST(Component, BaseReadFailsSilently) {
  Bare component;
  CaptureStdout();
  EXPECT_EQ(component.fp_read(stdin), -1);
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(Component, NamesAreCutAt199Bytes) {
  Bare component;
  component.name("part");
  EXPECT_STREQ(component.name(), "part");
  component.name(std::string(300, 'n').c_str());
  EXPECT_EQ(std::string(component.name()), std::string(199, 'n'));
  EXPECT_EQ(component.name_[199], '\0');
  component.name(std::string(199, 'm').c_str());
  EXPECT_EQ(std::string(component.name()), std::string(199, 'm'));
  component.name(nullptr);
  EXPECT_STREQ(component.name(), "");
}

TEST(Component, NameFieldIsWritable) {
  Bare component;
  component.name()[0] = 'x';
  EXPECT_STREQ(component.name(), "x");
}

TEST(Component, CopiesEveryField) {
  Recorder first;
  first.SetError(5, "late");
  first.units = 1;
  first.name("part");
  first.name_[150] = 'z';  // behind the terminator
  first.extents_valid = 1;
  first.min[2] = 4;
  first.max[1] = 8;
  const Recorder constructed(first);
  Recorder assigned;
  assigned = first;
  for (const Recorder* copy : {&constructed, static_cast<const Recorder*>(&assigned)}) {
    EXPECT_EQ(copy->GetErrorCode(), 5);
    EXPECT_STREQ(copy->GetErrorMessage(), "late");
    EXPECT_EQ(copy->units, 1);
    EXPECT_STREQ(copy->name(), "part");
    EXPECT_EQ(copy->name_[150], 'z');
    EXPECT_EQ(copy->extents_valid, 1);
    EXPECT_EQ(copy->min[2], 4);
    EXPECT_EQ(copy->max[1], 8);
  }
  first.ClearError();
  EXPECT_STREQ(constructed.GetErrorMessage(), "late");
}

TEST(ComponentFileRead, OfAMissingFileFailsAndKeepsTheName) {
  const test_support::TempDir folder;
  Recorder component;
  component.name("before");
  component.extents_valid = 1;
  EXPECT_EQ(component.file_read(folder.File("missing").c_str()), -1);
  EXPECT_STREQ(component.name(), "before");
  EXPECT_EQ(component.extents_valid, 0);
  EXPECT_EQ(component.file_read(nullptr), -1);
}

TEST(ComponentFileRead, TakesThePathAsName) {
  const test_support::TempDir folder;
  const std::string path = folder.Write("a.bar", "");
  Recorder component;
  component.read_result = 17;
  component.extents_valid = 1;
  EXPECT_EQ(component.file_read(path.c_str()), 0);
  EXPECT_EQ(std::string(component.name()), path.substr(0, 199));
  EXPECT_EQ(component.extents_valid, 0);
}

TEST(ComponentFileRead, FailingReadKeepsTheNameAndLeavesNoFileOpen) {
  const test_support::TempDir folder;
  const std::string path = folder.Write("a.bar", "");
  Recorder component;
  component.name("before");
  component.read_result = -1;
  const std::size_t open_before = test_support::OpenFiles();
  EXPECT_EQ(component.file_read(path.c_str()), -1);
  EXPECT_STREQ(component.name(), "before");
  EXPECT_EQ(test_support::OpenFiles(), open_before);
}

TEST(ComponentFileWrite, WritesThroughTheVirtualOperation) {
  const test_support::TempDir folder;
  Recorder component;
  component.write_result = 3;
  EXPECT_EQ(component.file_write(CString(folder.File("a.bar"))), 0);
  EXPECT_EQ(folder.Read("a.bar"), "written");
}

TEST(ComponentFileWrite, FailsWhereTheFileCannotBeCreatedOrWritten) {
  const test_support::TempDir folder;
  Recorder component;
  EXPECT_EQ(component.file_write(CString(folder.path().string())), -1);
  component.write_result = -1;
  const std::size_t open_before = test_support::OpenFiles();
  EXPECT_EQ(component.file_write(CString(folder.File("a.bar"))), -1);
  EXPECT_EQ(test_support::OpenFiles(), open_before);
  component.write_result = 0;
  EXPECT_EQ(component.file_write(test_support::FullDisk()), -1);
}

TEST(ComponentConvertToInch, WithUnknownUnitsOnlyWarnsAndMeasures) {
  Recorder component;
  component.units = 2;
  CaptureStdout();
  component.convert_to_inch();
  EXPECT_EQ(GetCapturedStdout(), "Warning, cannot convert to inch since don't know units\n");
  CaptureStdout();
  component.convert_to_inch();
  EXPECT_EQ(GetCapturedStdout(), "Warning, cannot convert to inch since don't know units\n");
  EXPECT_TRUE(component.calls.empty());
  EXPECT_EQ(component.units, 2);
  EXPECT_EQ(component.extents_valid, 1);
  EXPECT_EQ(component.recalculations, 1);
}

TEST(ComponentConvertToInch, InInchesAlreadyDoesNothing) {
  Recorder component;
  CaptureStdout();
  component.convert_to_inch();
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_TRUE(component.calls.empty());
}

TEST(ComponentConvertToInch, ScalesAboutTheLowerCornerThroughTheVirtualOperations) {
  Recorder component;
  component.units = 1;
  component.extents_valid = 1;
  component.min[0] = 10;
  component.min[1] = 20;
  component.min[2] = -30;
  component.convert_to_inch();
  ASSERT_EQ(component.calls.size(), 4u);
  EXPECT_EQ(component.calls[0].what, "translate");
  EXPECT_EQ(component.calls[0].x, -10);
  EXPECT_EQ(component.calls[0].y, -20);
  EXPECT_EQ(component.calls[0].z, 30);
  EXPECT_EQ(component.calls[1].what, "scale");
  for (const float factor : {component.calls[1].x, component.calls[1].y, component.calls[1].z}) {
    EXPECT_EQ(factor, 0.03937008f);
  }
  EXPECT_EQ(component.calls[2].what, "translate");
  // 10, 20 and -30 times 0.03937008 in double, rounded once.
  EXPECT_EQ(component.calls[2].x, 0x1.93264ep-2f);
  EXPECT_EQ(component.calls[2].y, 0x1.93264ep-1f);
  EXPECT_EQ(component.calls[2].z, -0x1.2e5cbap+0f);
  EXPECT_EQ(component.calls[3].what, "SetUnits");
  EXPECT_EQ(component.units, 0);
}

TEST(ComponentConvertToInch, ConvertsAMesh) {
  CTL mesh = test_support::Cube(25.4f, {10, 20, 30});
  mesh.SetUnits(1);
  mesh.convert_to_inch();
  EXPECT_EQ(mesh.units, 0);
  EXPECT_EQ(mesh.header.units, 0);
  float x = 0, y = 0, z = 0;
  mesh.get_min(&x, &y, &z);
  EXPECT_EQ(x, 0.3937008f);
  EXPECT_EQ(y, 0.7874016f);
  EXPECT_EQ(z, 1.1811024f);
  EXPECT_NEAR(mesh.volume(), 1.0, 1e-5);
  mesh.extents_valid = 0;  // the box that was moved along is that of the vertices
  mesh.get_max(&x, &y, &z);
  EXPECT_EQ(x, 1.3937008f);
}

}  // namespace
