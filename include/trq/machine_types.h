/// Machine types: their numbers in files, their names in text exports, their style directories.
#pragma once

#include <cstdint>

/// Machine types. The numbers stand in style files; those between the listed ones are reserved.
enum TRQ_TYPE : int32_t {
  TRQ_A1 = 0,
  TRQ_B2 = 1,
  TRQ_C3 = 2,
  TRQ_C4 = 3,
  TRQ_D5 = 4,
  TRQ_D6 = 5,
  TRQ_E7 = 6,
  TRQ_MIRRA = 7,
  TRQ_MIRRA_FN = 8,
  TRQ_MIRRA_PX_SINGLE = 9,
  TRQ_MIRRA_FNPX_SINGLE = 10,
  TRQ_MIRRA_PX_DUAL = 11,
  TRQ_MIRRA_FNPX_DUAL = 12,
  TRQ_MIRRA_MAX = 13,
  TRQ_ALTOR900 = 18,
  TRQ_ALTOR800 = 23,
  TRQ_NONE = 26,
};

namespace trq {
/// Units selector of style directories.
enum StyleDirectoryUnits : int32_t { kStylesInInches = 0, kStylesInMillimetres = 1 };

/// What one machine type is called and where its styles lie. A null directory: the type has none.
struct MachineTypeRow {
  TRQ_TYPE type;
  const char* display_name;
  const char* build_header_name;   ///< header line of the readable build style export
  const char* recoat_header_name;  ///< header line of the readable recoat style export
  const char* comma_name;          ///< machine line of the comma-separated exports
  bool colon_in_comma_export;      ///< that line has the readable form "Machine Type: %s"
  const char* directory_mm;        ///< between two separators, to be put behind the style root
  const char* directory_inch;
};

/// Printed for a value without a name.
inline constexpr char kUnknownMachineName[] = "TRQ-UNKNOWN";
}  // namespace trq

// Kept: the newest machines have differently spelt names, one with a stray parenthesis, and keep the readable
// line form in comma-separated exports; C3 and C4, and the three newest, share their directories.
namespace trq {
inline constexpr MachineTypeRow kMachineTypes[] = {
    {TRQ_A1, "TRQ-A1", "TRQ-A1", "TRQ-A1", "TRQ-A1", false, "\\trqa1\\a1mm\\", "\\trqa1\\a1in\\"},
    {TRQ_B2, "TRQ-B2", "TRQ-B2", "TRQ-B2", "TRQ-B2", false, "\\trqb2\\b2mm\\", "\\trqb2\\b2in\\"},
    {TRQ_C3, "TRQ-C3", "TRQ-C3", "TRQ-C3", "TRQ-C3", false, "\\trqc3\\c3mm\\", "\\trqc3\\c3in\\"},
    {TRQ_C4, "TRQ-C4", "TRQ-C4", "TRQ-C4", "TRQ-C4", false, "\\trqc3\\c3mm\\", "\\trqc3\\c3in\\"},
    {TRQ_D5, "TRQ-D5", "TRQ-D5", "TRQ-D5", "TRQ-D5", false, "\\trqd5\\d5mm\\", "\\trqd5\\d5in\\"},
    {TRQ_D6, "TRQ-D6", "TRQ-D6", "TRQ-D6", "TRQ-D6", false, "\\trqd6\\d6mm\\", "\\trqd6\\d6in\\"},
    {TRQ_E7, "TRQ-E7", "TRQ-E7", "TRQ-E7", "TRQ-E7", false, "\\trqe7\\e7mm\\", "\\trqe7\\e7in\\"},
    {TRQ_MIRRA, "Mirra", "Mirra", "Mirra", "Mirra", false, "\\Mirra\\Mirramm\\", "\\Mirra\\Mirrain\\"},
    {TRQ_MIRRA_FN, "MirraFN", "MirraFN", "MirraFN", "MirraFN", false, "\\MirraFN\\MirraFNmm\\",
     "\\MirraFN\\MirraFNin\\"},
    {TRQ_MIRRA_PX_SINGLE, "MirraPX (single vat)", "MirraPX (single vat)", "MirraPX (single vat)",
     "MirraPX (single vat)", false, "\\MirraPX_S\\MirraPX_Smm\\", "\\MirraPX_S\\MirraPX_Sin\\"},
    {TRQ_MIRRA_FNPX_SINGLE, "MirraFNPX (single vat)", "MirraFNPX (single vat)", "MirraFNPX (single vat)",
     "MirraFNPX (single vat)", false, "\\MirraFNPX_S\\MirraFNPX_Smm\\", "\\MirraFNPX_S\\MirraFNPX_Sin\\"},
    {TRQ_MIRRA_PX_DUAL, "MirraPX (dual vat)", "MirraPX (dual vat)", "MirraPX (dual vat)",
     "MirraPX (dual vat)", false, "\\MirraPX\\MirraPXmm\\", "\\MirraPX\\MirraPXin\\"},
    {TRQ_MIRRA_FNPX_DUAL, "MirraFNPX (dual vat)", "MirraFNPX (dual vat)", "MirraFNPX (dual vat)",
     "MirraFNPX (dual vat)", false, "\\MirraFNPX\\MirraFNPXmm\\", "\\MirraFNPX\\MirraFNPXin\\"},
    {TRQ_MIRRA_MAX, "MirraMax", "MirraMax", "MirraMax", "MirraMax", true, "\\MirraMax\\MirraMaxmm\\",
     "\\MirraMax\\MirraMaxin\\"},
    {TRQ_ALTOR900, "Altor 900", "Altor900", "Altor 900)", "Altor 900", true, "\\MirraMax\\MirraMaxmm\\",
     "\\MirraMax\\MirraMaxin\\"},
    {TRQ_ALTOR800, "Altor 800", "Altor800", "Altor 800)", "Altor 800", true, "\\MirraMax\\MirraMaxmm\\",
     "\\MirraMax\\MirraMaxin\\"},
    {TRQ_NONE, "TRQ_NONE", "TRQ_NONE", kUnknownMachineName, kUnknownMachineName, false, nullptr, nullptr},
};

/// The row of a machine type, or null for a reserved or unknown number.
constexpr const MachineTypeRow* FindMachineType(int type) {
  for (const MachineTypeRow& row : kMachineTypes) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

/// The style directory of a machine type, or null when the type or the selector has none.
constexpr const char* StyleDirectory(int type, int units) {
  const MachineTypeRow* row = FindMachineType(type);
  if (!row) return nullptr;
  if (units == kStylesInInches) return row->directory_inch;
  return units == kStylesInMillimetres ? row->directory_mm : nullptr;
}
}  // namespace trq
