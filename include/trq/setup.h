/// Build setup: names and files around a model, the model, the platform of a build.
#pragma once

#include <cstdint>

#include "trq/export.h"
#include "trq/host.h"

/// Names of the files that accompany a model, questions about files, free space, display numbers. Stateless.
///
/// Name functions take names whose extension has three letters; counts of leading bytes clamp at 0 for
/// shorter names. A directory ends at the last backslash or, in a name that holds none, at the last slash.
class TRQ_EXPORT UTILITY {
 public:
  UTILITY() = default;
  UTILITY(const UTILITY&) = default;
  UTILITY& operator=(const UTILITY&) { return *this; }  // NOLINT: there is nothing to assign

  // --- Names -------------------------------------------------------------------------------------------
  /// The name up to its last period (the whole name when it has none), then "." and `ext`.
  static CString SetFileExtension(CString name, CString ext);
  /// The extension from its period on; empty when the name has no period.
  static CString DetermineFileType(CString name);
  /// The file name without its directory and its last four bytes.
  static CString StripDirectoryName(CString name);
  /// The file name without its directory.
  static CString StripDirectoryNameLeaveExt(CString name);
  /// The directory with its separator; empty without one. Both names answer the same.
  static CString ExtractDirectoryName(CString name);
  static CString GetDirName(CString name);
  /// First n - 4 bytes + "_s.stl".
  static CString GetNewNameForSupports(CString name);
  /// First n - 4 bytes + "_v.stl".
  static CString GetNewNameForVerifiedModel(CString name);
  /// First n - 3 bytes + "ctl" / "odf".
  static CString GetCTLName(CString name);
  static CString GetODFName(CString name);
  /// First n - 4 bytes + "_s." + the last three bytes.
  static CString GetSUPPORTSName(CString name);
  /// First n - 6 bytes + ".stl".
  static CString GetPartNameFromSupports(CString name);
  /// First n - 4 bytes + "Fixed.stl".
  static CString GetVerifyOutputFileName(CString name);
  /// True when the two bytes at n - 6 are "_s" or "_S".
  static bool CheckIfSupportsFileName(CString name);
  /// The name itself when it is a supports name; else GetNewNameForSupports, told in an OK message box.
  static CString CheckIfValidSupportName(CString name);
  /// `root`, the style directory of the machine and units (0 inch, 1 millimetre; nothing for machines and
  /// units without one), then `file`. No separator is inserted.
  static CString AddFullPath(const char* root, int machine, CString file, int units);

  // --- Files -------------------------------------------------------------------------------------------
  // Paths with backslashes are tried as they are, then with slashes.

  /// Makes a read-only file (no write bit set) writable by its owner; a message box tells when that fails.
  /// Files that do not exist are left alone.
  static void ConfirmFilePermission(CString path);
  /// 6 (Yes) when the file does not exist; else the user's answer, 6 or 7 (No).
  static int CheckIfOverWriting(CString path);
  /// 1 when the file exists, else 101 when path + ".pla" exists, else 0.
  static int CheckIfFileExists(CString path);
  /// Kind of the drive that holds the path, or its nearest existing parent: drive::Kind. An empty path and
  /// paths that begin with a drive letter and a colon have no such root here.
  static int GetDriveInfo(CString path);
  /// Kilobytes available to the caller where the path's directory lies; -1 when they cannot be read.
  static int64_t GetDiskSpaceInKB(CString path);
  /// 0 when the file does not exist, or when mode is 0, 1 or 2 and the free kilobytes are at least
  /// (5 * file size) / 1024; else 1.
  static int CheckDiskSpace(CString path, int mode);

  // --- Numbers -----------------------------------------------------------------------------------------
  /// (int)(v * 1000 + 0.5) * 0.001 when coarse is not 0, else with four decimals. Truncates toward zero, so
  /// negative values round toward zero from half a unit off.
  static float RoundFloat(float v, int coarse);
  /// n = (a - c) x (b - c), normalised; a zero-length result is divided by 1.
  static void get_normal(const float a[3], const float b[3], const float c[3], float n[3]);
  /// Colour slot 0..4 of k: congruent 1, 2, 3, 4, 0 modulo 5 give 0, 1, 2, 3, 4 (negative k too).
  static int FindColorCtr(int k);
  /// With i the highest index in 1..1023 whose byte in `src` is nonzero: copies src[0..i-1] and ends dst with
  /// a NUL at i (the byte at i is not copied). Without such an index: all 1024 bytes, and a NUL behind them.
  /// Requires: src has 1024 bytes, dst has room for 1025.
  static void ClearSpacesInName(const char* src, char* dst);
};

/// Answers of UTILITY::GetDriveInfo.
namespace drive {
enum Kind : int { kUnknown = 0, kNoSuchRoot = 1, kRemovable = 2, kFixed = 3, kRemote = 4, kCd = 5, kRam = 6 };
}  // namespace drive
