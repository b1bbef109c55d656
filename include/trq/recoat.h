/// Recoat styles: how every layer is recoated. Parameter records, blade sweeps, the style with its two binary
/// file layouts (docs/formats/recoat-style.md), and the flat legacy style
/// (docs/formats/legacy-recoat-style.md).
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "trq/export.h"
#include "trq/host.h"
#include "trq/machine_types.h"
#include "trq/styles.h"

/// Kind of a recoat style: 0 part, 1 support. Any 32-bit number is kept.
using RECOAT_TYPE = int32_t;

class RecoatStyleParameterRecordInt;

/// A float parameter of a recoat style: a build style record with its own text form.
class TRQ_EXPORT RecoatStyleParameterRecordFloat : public trq::StyleParameterRecordFloat {
 public:
  RecoatStyleParameterRecordFloat() = default;
  /// Takes all numbers of `source` as floats, and its flags. Null changes nothing.
  void ConvertIntRecordIntoFloatRecord(const RecoatStyleParameterRecordInt* source);
  /// Writes the record as text, comma-separated or readable, under `name`. Returns style_file::kOk whatever
  /// the stream makes of it (its error indicator tells), kWriteFailed for a null stream.
  int WriteAsciiRecord(FILE* file, const CString& name, bool comma_separated) const;
};

/// An integer parameter of a recoat style. Its comma-separated lines leave the default out, its readable
/// lines print it as a floating-point number (both kept, see docs/kept-behaviour.md).
class TRQ_EXPORT RecoatStyleParameterRecordInt : public trq::StyleParameterRecord<int32_t> {
 public:
  RecoatStyleParameterRecordInt() = default;
  /// Takes all numbers of `source` truncated toward zero (INT_MIN for NaN and what fits no int), and its
  /// flags. Null changes nothing.
  void ConvertFloatRecordIntoIntRecord(const RecoatStyleParameterRecordFloat* source);
  /// As the float record's, in the integer form.
  int WriteAsciiRecord(FILE* file, const CString& name, bool comma_separated) const;
};

/// One pass of the recoater blade.
class TRQ_EXPORT KVSWEEPS {
 public:
  KVSWEEPS() = default;
  /// Convert the blade velocity; the blade gap is a percentage and stays.
  void ConvertAllValuesToMM();
  void ConvertAllValuesToINCH();
  /// default := value in both records.
  void EquatelAllDefaultsToCurrentValue();

  RecoatStyleParameterRecordFloat BladeGap;       ///< percent of the layer thickness: 100 is one layer
  RecoatStyleParameterRecordFloat BladeVelocity;  ///< length per second in the style's units
};

/// One complete recoat style. The records are public members named after their names in the text export
/// without blanks. Delays and waits are whole numbers; Z values, velocities and accelerations are in the
/// style's units, which the 301 and 206 files record as a text.
/// A style is copyable; the copy has no open stream.
class TRQ_EXPORT KVRECOATSTYLE : public trq::StoredStyle<KVRECOATSTYLE> {
 public:
  /// A blank style for TRQ_E7, file version 3.01, without sweeps.
  KVRECOATSTYLE();
  /// The same; `path` names the file that the style will be read from and is not kept.
  KVRECOATSTYLE(CString path);  // NOLINT: implicit, as in the interface
  /// A style with the numbers and texts of `structure`: each record has its value as value, default and
  /// single allowed value; "Version" is 2.06. At most seven sweeps a list are copied, and the maximum of the
  /// matching count record becomes the number copied. Null: type and version only.
  KVRECOATSTYLE(const _rc_style* structure, int recoat_type);

  // --- Sweep lists ---------------------------------------------------------------------------------------
  // None of these touches the count records: files get the sweeps of a list only when the maximum of its
  // count record (NumSweeps, NumToolingPrimarySweeps, NumToolingSecondarySweeps) is above 0, so after adding
  // to a list SetMaxRange with its length. An index outside a list gives a default sweep or does nothing.

  void AddToSweepList(const KVSWEEPS& sweep);
  void AddToPrimarySweepList(const KVSWEEPS& sweep);
  void AddToSecondarySweepList(const KVSWEEPS& sweep);
  int GetSweepListSize() const;
  int GetPrimarySweepListSize() const;
  int GetSecondarySweepListSize() const;
  KVSWEEPS GetSweepsRecord(int i) const;
  KVSWEEPS GetPrimarySweepsRecord(int i) const;
  KVSWEEPS GetSecondarySweepsRecord(int i) const;
  void SetSweepsRecord(int i, const KVSWEEPS& sweep);
  void SetPrimarySweepsRecord(int i, const KVSWEEPS& sweep);
  void SetSecondarySweepsRecord(int i, const KVSWEEPS& sweep);
  void RemoveAllSweepsRecord();
  void RemoveAllPrimarySweepsRecord();
  void RemoveAllSecondarySweepsRecord();
  void RemoveSweepListRecoadAt(int i);
  void RemovePrimarySweepListRecoadAt(int i);
  void RemoveSecondarySweepListRecoadAt(int i);

  // --- Values --------------------------------------------------------------------------------------------
  float getPreferredBladeGap() const { return PreferredBladeGap.GetValue(); }
  void setPreferredBladeGap(float gap) { PreferredBladeGap.SetValue(gap); }
  /// (g - 100) * 0.01 * layer_thickness with g the first sweep's gap in percent, in double, rounded once; 0
  /// without sweeps. This library's own rule: a gap of one layer is no correction.
  float computedPreferredBladeGap(float layer_thickness) const;
  /// Converts "Start Z", "End Z" and the blade velocities; nothing else, and not the units text.
  void ConvertAllValuesToMM();
  void ConvertAllValuesToINCH();
  /// default := value in every record of the style and of its sweeps.
  void EquatelAllDefaultsToCurrentValue();

  // --- Files: style_file::Result, as those of KVBUILDSTYLE -----------------------------------------------
  // Count records and sweeps: the writer writes a whole sweep list when the maximum of its count record is
  // above 0, and makes that maximum the list's length first, in memory too; else it writes no sweeps. The
  // reader reads as many sweeps as the maximum that stands in the file.

  /// Saves with CRC and closes the file; message "Error in saving style file." when the file cannot be opened
  /// for writing.
  int writeRecoatStyle(CString path);
  /// Loads and checks the CRC: kOk, or kCrcRefused after its message for every failure.
  int readRecoatStyle(CString path);
  /// Sets the two closing texts to "None" and "Version" to 2.06. The argument is not used. Returns kOk.
  int ConvertTo205Version(float unused);
  /// Sets the layout words to 4, 6, 7, 3, 2, the layer thickness and the preferred blade gap to 0, that
  /// record's display flag to 0 and its edit flag to 1. Returns kOk.
  int ConvertBuildStylesTo301();
  /// Writes the style as text, comma-separated or readable as `CommaSeparated` says, independent of the
  /// locale. kOk, kCannotOpen or kWriteFailed.
  int writeAsciiRecoatStyle(CString path);

  /// The record of that export name, or null when there is none of that kind. Records without a name are
  /// found by their member's name ("KeptFloats[3]").
  RecoatStyleParameterRecordFloat* FindFloat(const char* name);
  const RecoatStyleParameterRecordFloat* FindFloat(const char* name) const;
  RecoatStyleParameterRecordInt* FindInt(const char* name);
  const RecoatStyleParameterRecordInt* FindInt(const char* name) const;

  int32_t IntegerFlag = 1;
  CString StyleName = "None";
  CString BuildDescription = "None";
  CString FullPathName = "None";
  CString Units = "in";
  TRQ_TYPE MachineType = TRQ_E7;
  bool CommaSeparated = false;
  float FileVersion = 3.01f;
  int32_t UserLevel = 0;   ///< 0 standard, 1 advanced
  uint32_t StoredCRC = 0;  ///< found behind the style last read

  RecoatStyleParameterRecordInt RecoatType;
  RecoatStyleParameterRecordFloat Version;
  RecoatStyleParameterRecordFloat StartZ;
  RecoatStyleParameterRecordFloat EndZ;
  RecoatStyleParameterRecordFloat ZVelocity;
  RecoatStyleParameterRecordFloat ZAcceleration;
  RecoatStyleParameterRecordFloat ZDipDistance;
  RecoatStyleParameterRecordInt ZPreDipDelay;
  RecoatStyleParameterRecordInt ZPostDipDelay;
  RecoatStyleParameterRecordInt ZWait;
  RecoatStyleParameterRecordFloat PrimaryZVelocity;
  RecoatStyleParameterRecordFloat PrimaryZAcceleration;
  RecoatStyleParameterRecordFloat PrimaryZDipDistance;
  RecoatStyleParameterRecordInt PrimaryZPreDipDelay;
  RecoatStyleParameterRecordInt PrimaryZPostDipDelay;
  RecoatStyleParameterRecordInt PrimaryZWait;
  RecoatStyleParameterRecordFloat SecondaryZVelocity;
  RecoatStyleParameterRecordFloat SecondaryZAcceleration;
  RecoatStyleParameterRecordFloat SecondaryZDipDistance;
  RecoatStyleParameterRecordInt SecondaryZPreDipDelay;
  RecoatStyleParameterRecordInt SecondaryZPostDipDelay;
  RecoatStyleParameterRecordInt SecondaryZWait;
  RecoatStyleParameterRecordInt NumberOfSecondary;
  RecoatStyleParameterRecordInt NumSweeps;
  RecoatStyleParameterRecordInt NumToolingPrimarySweeps;
  RecoatStyleParameterRecordInt NumToolingSecondarySweeps;
  CString ClosingTexts[2] = {"None", "None"};  ///< at the end of the 301 header and of 206 files
  RecoatStyleParameterRecordInt PreferredBladeGapFlag;
  RecoatStyleParameterRecordFloat PreferredBladeGap;
  RecoatStyleParameterRecordFloat KeptFloats[10];                   ///< in 301 files, in no text
  RecoatStyleParameterRecordInt KeptInts[10];                       ///< in 301 files, in no text
  CString BodyTexts[5] = {"None", "None", "None", "None", "None"};  ///< in 301 files, behind the kept records
  int32_t LayoutWords[5] = {4, 6, 7, 3, 2};
  float LayerThickness = 0.004f;
  int32_t FurtherHeaderWords[5] = {};
  /// In the header of 301 files; the third is 32 raw bytes, zero in a new style, the others "None".
  CString HeaderTexts[4];
  std::vector<KVSWEEPS> SweepList;
  std::vector<KVSWEEPS> PrimarySweepList;
  std::vector<KVSWEEPS> SecondarySweepList;
};

namespace trq {
extern template class StoredStyle<KVRECOATSTYLE>;

using RecoatStyleMember =
    StyleRecordMember<KVRECOATSTYLE, RecoatStyleParameterRecordFloat, RecoatStyleParameterRecordInt, 10, 10>;
using RecoatStyleParameterRow = StyleParameterRow<RecoatStyleMember>;

/// All 48 records of a recoat style: the 26 of the text export's table in member order, the two of the
/// preferred blade gap, and the 20 kept ones.
TRQ_EXPORT StyleParameterList<RecoatStyleMember> RecoatStyleParameters();
}  // namespace trq

/// Blade gap (percent) and blade velocity of one sweep of a legacy recoat style.
class TRQ_EXPORT SWEEPS {
 public:
  float BladeGap = 0;
  float BladeVelocity = 0;
};
static_assert(sizeof(SWEEPS) == 8, "stored in files as it lies in memory");

/// Results of legacy recoat style operations.
namespace trq::legacy_recoat_file {
enum Result : int {
  kOk = 0,
  kFailed = -1,      ///< short read after the texts; a failed write; from isStyleFileBinary: under 4 bytes
  kReadFailed = -2,  ///< short read of the version or of a text
  kCannotOpen = -3,
};
}  // namespace trq::legacy_recoat_file

namespace trq {
/// A StyleStream that all copies share.
class SharedStyleStream {
 public:
  operator FILE*() const { return *stream_; }  // NOLINT: implicit, it stands for the stream
  /// As that of StyleStream, for all styles that share the stream.
  SharedStyleStream& operator=(FILE* stream) {
    *stream_ = stream;
    return *this;
  }
  StyleStream* operator->() const { return stream_.get(); }

 private:
  std::shared_ptr<StyleStream> stream_ = std::make_shared<StyleStream>();
};
}  // namespace trq

/// The older, flat recoat style: plain numbers and its own small file.
/// Assigned and copied styles share the stream and the sweep lists of their source (freed and closed once);
/// copyRecoatStyle makes new lists.
class TRQ_EXPORT RECOATSTYLE {
 public:
  /// Defaults; `path` becomes the full path name, from which binaryReadStyle reads.
  RECOATSTYLE(CString path);  // NOLINT: implicit, as in the interface
  /// Numbers, texts and sweeps of `structure` (at most seven sweeps a list); version 2.03. Null: texts and
  /// numbers of a fresh style.
  RECOATSTYLE(const _rc_style* structure, RECOAT_TYPE type);
  RECOATSTYLE(const RECOATSTYLE& other) = default;
  RECOATSTYLE& operator=(const RECOATSTYLE& other) = default;
  /// Copies the numbers and texts of `source` and makes new lists with copies of its sweeps. Null: nothing.
  void copyRecoatStyle(const RECOATSTYLE* source);
  /// Closes the stream, once for all styles that share it.
  void closeBuildStyleFile();
  /// Looks at the first four bytes of the file at FullPathName and sets FileKind: text when they are "Name"
  /// in any case, else binary. kOk, kCannotOpen, or kFailed when there are no four bytes.
  int isStyleFileBinary();
  /// Writes the text form: "Name", then one field a line. kOk, kCannotOpen or kFailed.
  int writeRecoatStyle(CString path);
  /// Writes the binary form: the count fields as held, then every sweep of the lists. kOk, kCannotOpen or
  /// kFailed.
  int binaryWriteStyle(CString path);
  /// Reads the binary file at FullPathName; as many sweeps a list as its count field says. The stored full
  /// path is discarded. kOk, kCannotOpen, kReadFailed or kFailed, with the fields before the short read
  /// changed.
  int binaryReadStyle();

  trq::SharedStyleStream file;  ///< the stream being read or written
  CString StyleName = "None";
  CString BuildDescription = "None";
  CString FullPathName;
  RECOAT_TYPE RecoatType = 0;
  float Version = 2.03f;
  int32_t FileKind = 0;  ///< 1 binary, 0 text
  float StartZ = 0;
  float EndZ = 1.0f;
  float ZVelocity = 0;
  float ZAcceleration = 0;
  float ZDipDistance = 0;
  int32_t ZPreDipDelay = 0;
  int32_t ZPostDipDelay = 0;
  int32_t ZWait = 0;
  float PrimaryZVelocity = 0;
  float PrimaryZAcceleration = 0;
  float PrimaryZDipDistance = 0;
  int32_t PrimaryZPreDipDelay = 0;
  int32_t PrimaryZPostDipDelay = 0;
  int32_t PrimaryZWait = 0;
  float SecondaryZVelocity = 0;
  float SecondaryZAcceleration = 0;
  float SecondaryZDipDistance = 0;
  int32_t SecondaryZPreDipDelay = 0;
  int32_t SecondaryZPostDipDelay = 0;
  int32_t SecondaryZWait = 0;
  int32_t NumSweeps = 0;
  int32_t NumToolingPrimarySweeps = 0;
  int32_t NumToolingSecondarySweeps = 0;
  int32_t NumberOfSecondary = 0;
  std::shared_ptr<std::vector<SWEEPS>> SweepList;  ///< null until read or made
  std::shared_ptr<std::vector<SWEEPS>> PrimarySweepList;
  std::shared_ptr<std::vector<SWEEPS>> SecondarySweepList;
};
