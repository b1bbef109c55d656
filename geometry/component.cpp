#include <cstdio>
#include <cstring>

#include "geometry/placed_points.h"
#include "host/file_services.h"
#include "trq/geometry.h"

using namespace trq::detail;

namespace {

template <class T>
void Store(const float from[3], T* x, T* y, T* z) {
  *x = from[0];
  *y = from[1];
  *z = from[2];
}

}  // namespace

COMPONENT::COMPONENT()
    : units(trq::units::kInch),
      name_{},
      extents_valid(0),
      min{1e30f, 1e30f, 1e30f},
      max{-1e30f, -1e30f, -1e30f} {}

COMPONENT::~COMPONENT() = default;

void COMPONENT::no_good() { std::fputs("Warning: function not supported by this component type\n", stdout); }

void COMPONENT::recalculate_extents() {}
int COMPONENT::fp_read(FILE*) { return trq::component_io::kFailed; }
int COMPONENT::fp_write(FILE*) {
  no_good();
  return trq::component_io::kFailed;
}
void COMPONENT::SetUnits(int code) { units = code; }
void COMPONENT::translate(float, float, float) { no_good(); }
void COMPONENT::rotateX(float) { no_good(); }
void COMPONENT::rotateY(float) { no_good(); }
void COMPONENT::rotateZ(float) { no_good(); }
void COMPONENT::scale(float, float, float) { no_good(); }

void COMPONENT::name(const char* text) {
  if (!text) text = "";
  size_t length = 0;
  while (length < sizeof name_ - 1 && text[length] != '\0') ++length;
  std::memmove(name_, text, length);  // the text may be the name itself
  name_[length] = '\0';
}

void COMPONENT::make_extents_current() {
  if (extents_valid == 0) recalculate_extents();
  extents_valid = 1;  // Kept: also where recalculate_extents has nothing to measure.
}

int COMPONENT::file_read(const char* path) {
  // Where the system opens directories, fp_read says what is missing in one.
  const FileHandle file = trq::host::OpenFileOrFolder(path, "rb");
  extents_valid = 0;
  if (!file || fp_read(file.get()) == trq::component_io::kFailed) return trq::component_io::kFailed;
  name(path);
  return trq::component_io::kOk;
}

int COMPONENT::file_write(CString path) {
  FileHandle file = OpenFile(path, "wb");
  if (!file || fp_write(file.get()) == trq::component_io::kFailed) return trq::component_io::kFailed;
  return CloseChecked(std::move(file)) ? trq::component_io::kOk : trq::component_io::kFailed;
}

void COMPONENT::get_min(float* x, float* y, float* z) {
  make_extents_current();
  Store(min, x, y, z);
}

void COMPONENT::get_min(double* x, double* y, double* z) {
  make_extents_current();
  Store(min, x, y, z);
}

void COMPONENT::get_max(float* x, float* y, float* z) {
  make_extents_current();
  Store(max, x, y, z);
}

void COMPONENT::get_max(double* x, double* y, double* z) {
  make_extents_current();
  Store(max, x, y, z);
}

void COMPONENT::convert_to_inch() {
  make_extents_current();
  const float corner[3] = {min[0], min[1], min[2]};
  if (units == trq::units::kInch) return;
  if (units == trq::units::kUnknown) {
    std::fputs("Warning, cannot convert to inch since don't know units\n", stdout);
    return;
  }
  const auto in_inches = [](float length) { return float(length * kInchesPerMillimetre); };
  const float factor = float(kInchesPerMillimetre);
  translate(-corner[0], -corner[1], -corner[2]);
  scale(factor, factor, factor);
  translate(in_inches(corner[0]), in_inches(corner[1]), in_inches(corner[2]));
  SetUnits(trq::units::kInch);
}
