#include "foundation/checked_conversions.h"
#include "foundation/vector3.h"
#include "host/file_services.h"
#include "trq/foundation.h"

using namespace trq::detail;

void UTILITY::ConfirmFilePermission(CString path) {
  const trq::host::SystemPath name(path);
  if (!trq::host::IsReadOnly(name) || trq::host::MakeWritable(name)) return;
  AfxMessageBox("Unable to set the WRITE permission for " + path +
                ". You may not be authorized to perform this operation.");
}

int UTILITY::CheckIfOverWriting(CString path) {
  if (!trq::host::FileExists(path)) return trq::message_box::kYes;
  return AfxMessageBox("Do you want to replace " + path + " ?", trq::message_box::kYesNoButtons);
}

int UTILITY::CheckIfFileExists(CString path) {
  if (trq::host::FileExists(path)) return 1;
  return trq::host::FileExists(path + ".pla") ? 101 : 0;
}

int UTILITY::GetDriveInfo(CString path) { return trq::host::DriveKind(path); }

int64_t UTILITY::GetDiskSpaceInKB(CString path) {
  const int64_t bytes = trq::host::FreeBytes(ExtractDirectoryName(path));
  return bytes < 0 ? -1 : bytes / 1024;
}

int UTILITY::CheckDiskSpace(CString path, int mode) {
  const int64_t size = trq::host::FileSize(path);
  if (size < 0) return 0;
  if (mode < 0 || mode > 2) return 1;
  const int64_t needed = size / 1024 * 5 + size % 1024 * 5 / 1024;  // (5 * size) / 1024 without overflow
  return GetDiskSpaceInKB(path) >= needed ? 0 : 1;
}

float UTILITY::RoundFloat(float v, int coarse) {
  const double value = v;
  // Kept: the shifted value is truncated toward zero, so negative values round differently from positive
  // ones.
  return float(coarse != 0 ? ToInt(value * 1000 + 0.5) * 0.001 : ToInt(value * 10000 + 0.5) * 0.0001);
}

void UTILITY::get_normal(const float a[3], const float b[3], const float c[3], float n[3]) {
  const Vec product = Cross(Widen(a) - Widen(c), Widen(b) - Widen(c));
  double length = Length(product);
  if (length == 0) length = 1;
  n[0] = float(product.x / length);
  n[1] = float(product.y / length);
  n[2] = float(product.z / length);
}
