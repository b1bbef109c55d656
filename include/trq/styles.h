/// Build styles: how every layer of a part is cured. Parameter records, the style itself, its two binary file
/// layouts (docs/formats/build-style.md) and its text export.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "trq/export.h"
#include "trq/host.h"
#include "trq/machine_types.h"
#include "trq/style_structures.h"

/// Results of style and recoat file operations. Zero is success, negative is failure.
namespace trq::style_file {
enum Result : int {
  kOk = 0,
  kCannotOpen = -1,     ///< a folder cannot be opened either
  kReadFailed = -2,     ///< short read; from CompareCRC also: the sums differ
  kWriteFailed = -3,    ///< a write, flush or close failed
  kCrcRefused = -4,     ///< checked loading only, after its message
  kUnknownLayout = -5,  ///< neither the version word nor the "Version" record is one of a known layout
};
}  // namespace trq::style_file

namespace trq::detail {
class StyleSource;
class StyleSink;
}  // namespace trq::detail

namespace trq {
/// One tunable parameter: value, default, three flags for the user interface, range and allowed values.
/// T is float or int32_t. The shared body of the build and recoat style records, which add their text form.
template <class T>
class TRQ_EXPORT StyleParameterRecord {
 public:
  /// A record with this minimum and this maximum has no range.
  static constexpr T kNoMinimum = 100000;
  static constexpr T kNoMaximum = -100000;

  T GetValue() const { return value_; }
  void SetValue(T value) { value_ = value; }
  T GetDefaultValue() const { return default_; }
  void SetDefaultValue(T value) { default_ = value; }
  /// The value becomes the default.
  void SetDefaultValue() { default_ = value_; }
  void EquateDefaultToCurrentValue() { default_ = value_; }
  T GetMinRange() const { return minimum_; }
  void SetMinRange(T minimum) { minimum_ = minimum; }
  T GetMaxRange() const { return maximum_; }
  void SetMaxRange(T maximum) { maximum_ = maximum; }
  /// The flags are 1 or 0 in new records; files keep their low byte only.
  int GetDisplayFlag() const { return display_flag_; }
  void SetDisplayFlag(int flag) { display_flag_ = flag; }
  int GetEditFlag() const { return edit_flag_; }
  void SetEditFlag(int flag) { edit_flag_ = flag; }
  int GetRangeFlag() const { return range_flag_; }
  void SetRangeFlag(int flag) { range_flag_ = flag; }
  /// False for exactly the pair kNoMinimum, kNoMaximum.
  bool HasRange() const { return !(minimum_ == kNoMinimum && maximum_ == kNoMaximum); }

  int GetNumElementsInList() const { return static_cast<int>(allowed_.size()); }
  /// 0 for an index outside the list.
  T GetAnElementFromList(int index) const {
    return Holds(index) ? allowed_[static_cast<std::size_t>(index)] : T{};
  }
  void AddElementToList(T value) { allowed_.push_back(value); }
  /// Later elements move down; an index outside the list changes nothing.
  void RemoveElementAtThisIndex(int index);
  void DeleteEntireRangeList();
  /// Grows with zeros or cuts; a size below 0 counts as 0.
  void SetSizeOfRangeList(int size);
  /// Appends `value` to the allowed values and makes it value and default.
  void AddAndSetValue(T value);
  /// Makes `value` the value if it is allowed; 0 = accepted, 1 = refused and nothing changed.
  /// With two or more allowed values it must equal one of them. Otherwise it must not lie outside the range
  /// (so a record without range refuses every number), and it replaces the list. The default stays.
  int ResetAValue(T value);

  /// Copies everything from `source`; a null pointer changes nothing.
  void CopyRecord(const StyleParameterRecord* source) {
    if (source) *this = *source;
  }

  /// Writes the binary form, without flushing. Returns style_file::kOk or kWriteFailed (also for null).
  int WriteRecord(FILE* file) const;
  /// Reads the binary form. Files of version 2.05 and older (and a NaN version) hold no default: the value is
  /// taken. The float record takes its own value for a version of 0. Listed values widen the range.
  /// Returns style_file::kOk, or kReadFailed (also for null) with the fields before the end of the file read;
  /// memory follows the bytes that came, not the count in the file.
  int ReadRecord(FILE* file, float version);

 protected:
  StyleParameterRecord() = default;
  StyleParameterRecord(const StyleParameterRecord&) = default;
  StyleParameterRecord& operator=(const StyleParameterRecord&) = default;
  ~StyleParameterRecord() = default;
  /// Multiplies value, default, minimum, maximum and every allowed value, each product rounded once.
  void ScaleAllValues(T factor);
  /// Takes every number of `source` as this kind of number, and its flags: integers as floats, floats
  /// truncated toward zero (INT_MIN for NaN and what fits no int).
  template <class U>
  void CopyConverted(const StyleParameterRecord<U>& source);

 private:
  friend class detail::StyleSource;
  friend class detail::StyleSink;
  int WriteTo(detail::StyleSink& sink) const;
  /// `stored_maximum`, when given, receives the maximum as it stands in the file.
  int ReadFrom(detail::StyleSource& source, T* stored_maximum);
  bool Holds(int index) const { return index >= 0 && index < GetNumElementsInList(); }

  T value_ = 0;
  T default_ = 0;
  int32_t display_flag_ = 1;
  int32_t edit_flag_ = 1;
  int32_t range_flag_ = 1;
  T minimum_ = kNoMinimum;
  T maximum_ = kNoMaximum;
  std::vector<T> allowed_;
};

/// What float records of build and recoat styles share beyond the general record.
class TRQ_EXPORT StyleParameterRecordFloat : public StyleParameterRecord<float> {
 public:
  /// Inches to millimetres: value, default, minimum, maximum and list times 25.4. A record without range has
  /// one afterwards, since the pair that marks it is multiplied too.
  void ConvertAllValuesToMM();
  /// Millimetres to inches: times 0.03937008 in single precision, a rounded reciprocal.
  void ConvertAllValuesToINCH();

 protected:
  StyleParameterRecordFloat() = default;
};
}  // namespace trq

class BuildStyleParameterRecordInt;

/// A float parameter of a build style.
class TRQ_EXPORT BuildStyleParameterRecordFloat : public trq::StyleParameterRecordFloat {
 public:
  BuildStyleParameterRecordFloat() = default;
  /// Takes all numbers of `source` as floats, and its flags. Null changes nothing.
  void ConvertIntRecordIntoFloatRecord(const BuildStyleParameterRecordInt* source);
  /// Writes the record as text, comma-separated or readable, under `name`. Returns style_file::kOk whatever
  /// the stream makes of it (its error indicator tells), kWriteFailed for a null stream.
  int WriteAsciiRecord(FILE* stream, const CString& name, bool comma_separated) const;
};

/// An integer parameter of a build style.
class TRQ_EXPORT BuildStyleParameterRecordInt : public trq::StyleParameterRecord<int32_t> {
 public:
  BuildStyleParameterRecordInt() = default;
  /// Takes all numbers of `source` truncated toward zero (INT_MIN for NaN and what fits no int), and its
  /// flags. Null changes nothing.
  void ConvertFloatRecordIntoIntRecord(const BuildStyleParameterRecordFloat* source);
  /// As the float record's, in the integer form.
  int WriteAsciiRecord(FILE* stream, const CString& name, bool comma_separated) const;
};

namespace trq {
/// The stream member of a style. It stands for a FILE* and is assigned one, or NULL: such a stream belongs to
/// the application, and neither assigning, copying nor destroying closes it. The application that closes a
/// stream itself (also one that the style opened) assigns NULL then. A stream that the style opened is closed
/// with the style, or when another style is assigned; a copy gets no stream.
class TRQ_EXPORT StyleStream {
 public:
  StyleStream() = default;
  StyleStream(const StyleStream&) {}
  StyleStream& operator=(const StyleStream& other);
  /// Closes nothing, whatever stream stood here.
  StyleStream& operator=(FILE* stream) {
    opened_here_ = opened_here_ && stream == stream_;
    stream_ = stream;
    return *this;
  }
  ~StyleStream() { Release(); }

  operator FILE*() const { return stream_; }  // NOLINT: implicit, it stands for the stream
  /// Releases the present stream and opens `path`; false, with no stream set, when it cannot.
  bool Open(const CString& path, const char* mode);
  /// Releases the present stream and sets one that the caller closes; setting the present one changes
  /// nothing.
  void Set(FILE* stream);
  /// Closes whatever stream is set, the caller's too, and clears it. style_file::kOk or kWriteFailed.
  int Close();

 private:
  void Release();

  FILE* stream_ = nullptr;
  bool opened_here_ = false;
};

/// What build and recoat styles have in common: the stream, and the CRC at the end of their files.
/// All functions of files return a style_file::Result. A null or unset stream is kReadFailed or kWriteFailed.
class TRQ_EXPORT StyleWithFile {
 public:
  /// Appends the CRC of the whole file to it.
  int writeCrcValue(CString path);
  /// Compares the low 32 bits of `expected` with the CRC of all but the last four bytes of the file.
  int CompareCRC(unsigned long expected, CString path);
  /// Reflected CRC-32 (polynomial 0xEDB88320, start 0xFFFFFFFF) without final inversion; 0xFFFFFFFF for a
  /// length below 1 or null.
  static uint32_t calcCRC(const char* bytes, int length);
  /// Closes whatever stream is set and clears it.
  int closeBuildStyleFile();
  /// Sets a stream that stays the caller's; a stream that the style itself opened is closed.
  int setStyleFilePtr(FILE* stream);

  StyleStream file;  ///< the stream being read or written

 protected:
  StyleWithFile() = default;
};

/// Reading and writing the file layouts of a Style, which is KVBUILDSTYLE or KVRECOATSTYLE.
template <class Style>
class TRQ_EXPORT StoredStyle : public StyleWithFile {
 public:
  /// Writes without CRC: the 301 layout for file versions 3.01 and 4.0, else the 206 layout. The file stays
  /// open, flushed.
  int binaryWriteStyle(CString path);
  /// Reads a style and, when that succeeds, the stored CRC behind it, unchecked. The file stays open.
  int binaryReadStyle(CString path);
  /// Reads a style from the position of the stream that is set, which has to be seekable; no CRC follows.
  /// Build styles: version 3.01, 4.0 and 206 files. Recoat styles: version 3.01 and 206 files; 4.0 is
  /// kUnknownLayout or a short read.
  int binaryReadStyle();
  /// Reads the header of a 301 file (3.01 or 4.0) and closes it; kUnknownLayout for other files.
  int binaryReadStyleHeader(CString path);
  /// The halves of the 301 layout and the whole of the 206 layout, from or to the stream that is set. The
  /// records are read in the form of `FileVersion`. Writing ends with a flush.
  int binaryReadStyleHeader301();
  int binaryReadStyleData301();
  int binaryReadStyleData206();
  int binaryWriteStyleData301();  ///< header and records
  int binaryWriteStyleData206();  ///< "Version" is written as 2.06, in memory it stays

 protected:
  StoredStyle() = default;

 private:
  Style& style() { return static_cast<Style&>(*this); }
};

/// What kind of quantity a parameter is; decides unit conversion and the equating of defaults.
enum class StyleQuantity : uint8_t {
  kNumber,      ///< a count, a type, a delay, an unnamed record
  kFlag,        ///< 0 or 1
  kVersion,     ///< the file version
  kLength,      ///< in the style's units; converted, default equated
  kLengthKept,  ///< a length that unit conversion leaves alone; default equated
  kAngle,       ///< hatch and fill angles
  kPower,       ///< laser power; default equated
  kResin,       ///< the resin constants Dp and Ec
  kThreshold,   ///< "High Speed Scan Threshold"
};

/// True for quantities that ConvertAllValuesToMM and ConvertAllValuesToINCH convert.
constexpr bool IsUnitConverted(StyleQuantity quantity) { return quantity == StyleQuantity::kLength; }
/// True for quantities whose defaults EquatelAllDefaultsToCurrentValue sets in build styles.
constexpr bool IsDefaultEquated(StyleQuantity quantity) {
  return quantity == StyleQuantity::kLength || quantity == StyleQuantity::kLengthKept ||
         quantity == StyleQuantity::kPower;
}

/// Where a parameter applies, for display in groups.
enum class StyleRegion : uint8_t {
  kGeneral,
  kSmallLayer,
  kSmallUp,
  kSmallDown,
  kLargeLayer,
  kLargeUp,
  kLargeDown,
  kScanning,
  kQc,
  kCompensation,
  kResin,
  kTooling,
  kSupport,
  kPower,
  kFeatures,
  kDip,
  kPrimaryDip,
  kSecondaryDip,
  kSweeps,
  kUnnamed,
};

/// What a parameter holds in a new style.
struct StyleParameterDefaults {
  float value = 0;
  float default_value = 0;
  float minimum = StyleParameterRecord<float>::kNoMinimum;
  float maximum = StyleParameterRecord<float>::kNoMaximum;
};

/// Which record of a style a parameter is: a member, or one of a run of members.
template <class Style, class FloatRecordType, class IntRecordType, int kFloatRun, int kIntRun>
class StyleRecordMember {
 public:
  using StyleType = Style;
  using FloatRecord = FloatRecordType;
  using IntRecord = IntRecordType;

  constexpr StyleRecordMember() = default;  ///< none, until one is assigned
  constexpr StyleRecordMember(FloatRecord Style::*member) : float_(member) {}  // NOLINT: implicit in tables
  constexpr StyleRecordMember(IntRecord Style::*member) : int_(member) {}      // NOLINT: implicit in tables
  constexpr StyleRecordMember(FloatRecord (Style::*run)[kFloatRun], int index)
      : float_run_(run), index_(index) {}
  constexpr StyleRecordMember(IntRecord (Style::*run)[kIntRun], int index) : int_run_(run), index_(index) {}

  constexpr bool is_float() const { return float_ != nullptr || float_run_ != nullptr; }
  /// The record in `style`; null when it is of the other kind.
  FloatRecord* FloatIn(Style& style) const {
    if (float_) return &(style.*float_);
    return float_run_ ? &(style.*float_run_)[index_] : nullptr;
  }
  const FloatRecord* FloatIn(const Style& style) const { return FloatIn(const_cast<Style&>(style)); }
  IntRecord* IntIn(Style& style) const {
    if (int_) return &(style.*int_);
    return int_run_ ? &(style.*int_run_)[index_] : nullptr;
  }
  const IntRecord* IntIn(const Style& style) const { return IntIn(const_cast<Style&>(style)); }
  /// Calls `action` with the record in `style`, of whichever class it is, and returns what it does.
  template <class StyleOrConst, class Action>
  decltype(auto) With(StyleOrConst& style, Action action) const {
    if (is_float()) return action(*FloatIn(style));
    return action(*IntIn(style));
  }

 private:
  FloatRecord Style::*float_ = nullptr;
  IntRecord Style::*int_ = nullptr;
  FloatRecord (Style::*float_run_)[kFloatRun] = nullptr;
  IntRecord (Style::*int_run_)[kIntRun] = nullptr;
  int index_ = 0;
};

/// One row of a style's parameter table.
template <class RecordMember>
struct StyleParameterRow {
  const char* name;  ///< display name; for an unnamed record the name of the member
  RecordMember member;
  StyleQuantity quantity;
  StyleRegion region;
  StyleParameterDefaults defaults = {};
  bool named = true;  ///< false for records that no text form names
};

/// A style's parameter table in member order, with static lifetime.
template <class RecordMember>
class StyleParameterList {
 public:
  using Row = StyleParameterRow<RecordMember>;

  template <std::size_t kCount>
  constexpr StyleParameterList(const Row (&rows)[kCount])
      : first_(rows), size_(kCount) {}  // NOLINT: implicit
  constexpr const Row* begin() const { return first_; }
  constexpr const Row* end() const { return first_ + size_; }
  constexpr std::size_t size() const { return size_; }
  constexpr const Row& operator[](std::size_t i) const { return first_[i]; }
  /// The record of exactly that name; none when there is no such row.
  RecordMember MemberOf(const char* name) const {
    const Row* row = Find(name);
    return row ? row->member : RecordMember();
  }
  /// The row of exactly that name, or null.
  const Row* Find(const char* name) const {
    for (const Row& row : *this) {
      if (name && std::strcmp(row.name, name) == 0) return &row;
    }
    return nullptr;
  }

 private:
  const Row* first_;
  std::size_t size_;
};
}  // namespace trq

/// One complete build style. The records and texts are public members, the records named after their display
/// names without blanks and punctuation. Lengths are inches or millimetres as the application keeps them;
/// files do not record which.
/// A style is copyable; the copy has no open stream.
class TRQ_EXPORT KVBUILDSTYLE : public trq::StoredStyle<KVBUILDSTYLE> {
 public:
  /// A blank template for TRQ_E7, file version 3.01.
  KVBUILDSTYLE();
  /// The same with "Version" value `version`; the file version stays 3.01.
  KVBUILDSTYLE(float version);  // NOLINT: implicit, as in the interface
  /// The same with `name` as style name and full path name; no file is touched.
  KVBUILDSTYLE(CString name);  // NOLINT: implicit, as in the interface
  KVBUILDSTYLE(CString name, float version);
  /// A style with the numbers and texts of `structure`: each of its parameters has that value as value,
  /// default and single allowed value. "Version" is 2.06, the tooling counts 1 and 0, the inter-hatch delays
  /// 0; small retracts and the large stagger offset take their partners' fields. Null: those fixed values
  /// only.
  KVBUILDSTYLE(const trq::BuildStyleStructure* structure, TRQ_TYPE machine);

  /// Sets the parameters that `structure` holds from it: through ResetAValue, and where that refuses by
  /// emptying the list and AddAndSetValue, so that its value always arrives. Texts and fixed values stay.
  void resetKVBuildStyle(const trq::BuildStyleStructure* structure);

  /// Converts the 115 length records between inches and millimetres. "Min Large NS Width", integer records,
  /// unnamed records and `Units` are left alone.
  void ConvertAllValuesToMM();
  void ConvertAllValuesToINCH();
  /// default := value in 143 float records: all but "Version", angles, "Dp", "Ec" and "High Speed Scan
  /// Threshold".
  void EquatelAllDefaultsToCurrentValue();

  /// The record of that display name ("Layer Thickness"), or null when there is none of that kind. Records
  /// without display name are found by their member's name ("AfterSupportCureDepths[3]").
  BuildStyleParameterRecordFloat* FindFloat(const char* name);
  const BuildStyleParameterRecordFloat* FindFloat(const char* name) const;
  BuildStyleParameterRecordInt* FindInt(const char* name);
  const BuildStyleParameterRecordInt* FindInt(const char* name) const;

  // Files. All return a style_file::Result. A null or unset stream is kReadFailed or kWriteFailed.

  /// Saves with CRC and closes the file: `file` is NULL afterwards. When the file cannot be opened for
  /// writing: message "Error in saving style file." and kCannotOpen. A failed write leaves the file without
  /// CRC.
  int writeBuildStyle(CString path);
  /// Loads, closes the file and checks the CRC; kOk, or kCrcRefused after the message "Error in CRC. This
  /// style file cannot be used." for every failure, a missing file too. The style holds what was read either
  /// way.
  int readBuildStyle(CString path);
  // Writing a layout makes "QC Min Large Thick Skin Width" equal to "Shelling Thickness", reading the
  // reverse.

  /// kOk when the file that `StyleName` names has four bytes, whatever they are.
  int isStyleFileBinary();
  /// Gives texts 5 and 6, the support cure depths and "Version" what the step to version 2.06 gives them. The
  /// argument is not used. Returns kOk.
  int ConvertTo205Version(float unused);
  /// Gives 16 records and five layout words that only the 301 layout carries their defaults. Returns kOk.
  int ConvertBuildStylesTo301();

  /// Writes the style as text, comma-separated or readable as `CommaSeparated` says, independent of the
  /// locale. kOk, kCannotOpen or kWriteFailed.
  int writeAsciiBuildStyle(CString path);

  CString StyleName = "None";
  CString FullPathName = "None";
  CString BuildDescription = "None";
  CString Units = "in";
  TRQ_TYPE MachineType = TRQ_E7;
  int32_t UserLevel = 0;      ///< 0 standard, 1 advanced
  float FileVersion = 3.01f;  ///< 3.01 and 4.0 are the 301 layout, anything else the 206 layout
  uint32_t StoredCRC = 0;     ///< found behind the style last read
  bool CommaSeparated = false;
  int32_t LayoutWords[6] = {4, 6, 7, 3, 2, 0};
  int32_t FurtherHeaderWords[5] = {};
  /// Header texts 1 to 6; text 3 is 32 raw bytes, zero in a new style, the others "None".
  CString HeaderTexts[6];
  CString NoticeText = "None";
  CString UnstoredTexts[2] = {"None", "None"};  ///< in no file
  CString TextsAfterNotice[4] = {"None", "None", "None", "None"};

  BuildStyleParameterRecordFloat Version;
  BuildStyleParameterRecordFloat StartZ;
  BuildStyleParameterRecordFloat EndZ;
  BuildStyleParameterRecordFloat LayerThickness;

  BuildStyleParameterRecordFloat SmallLayerBorderCureDepth;
  BuildStyleParameterRecordFloat SmallLayerBorderPrimeCureDepth;
  BuildStyleParameterRecordInt SmallLayerNumHatches;
  BuildStyleParameterRecordFloat SmallLayerHatchAngle1, SmallLayerHatchAngle2, SmallLayerHatchAngle3,
      SmallLayerHatchAngle4;
  BuildStyleParameterRecordFloat SmallLayerHatchCureDepth1, SmallLayerHatchCureDepth2,
      SmallLayerHatchCureDepth3, SmallLayerHatchCureDepth4;
  BuildStyleParameterRecordFloat SmallLayerHatchSpacing1, SmallLayerHatchSpacing2, SmallLayerHatchSpacing3,
      SmallLayerHatchSpacing4;

  BuildStyleParameterRecordFloat SmallUpBorderCureDepth;
  BuildStyleParameterRecordInt SmallUpNumberofHatches;
  BuildStyleParameterRecordFloat SmallUpHatchAngle1, SmallUpHatchAngle2, SmallUpHatchAngle3,
      SmallUpHatchAngle4;
  BuildStyleParameterRecordFloat SmallUpHatchCureDepth1, SmallUpHatchCureDepth2, SmallUpHatchCureDepth3,
      SmallUpHatchCureDepth4;
  BuildStyleParameterRecordFloat SmallUpHatchSpacing1, SmallUpHatchSpacing2, SmallUpHatchSpacing3,
      SmallUpHatchSpacing4;
  BuildStyleParameterRecordInt SmallUpNumFills;
  BuildStyleParameterRecordFloat SmallUpFillAngle1, SmallUpFillAngle2, SmallUpFillAngle3, SmallUpFillAngle4;
  BuildStyleParameterRecordFloat SmallUpFillCureDepth1, SmallUpFillCureDepth2, SmallUpFillCureDepth3,
      SmallUpFillCureDepth4;
  BuildStyleParameterRecordFloat SmallUpFillSpacing1, SmallUpFillSpacing2, SmallUpFillSpacing3,
      SmallUpFillSpacing4;

  BuildStyleParameterRecordFloat SmallDownBorderCureDepth;
  BuildStyleParameterRecordInt SmallDownNumHatches;
  BuildStyleParameterRecordFloat SmallDownHatchAngle1, SmallDownHatchAngle2, SmallDownHatchAngle3,
      SmallDownHatchAngle4;
  BuildStyleParameterRecordFloat SmallDownHatchCureDepth1, SmallDownHatchCureDepth2, SmallDownHatchCureDepth3,
      SmallDownHatchCureDepth4;
  BuildStyleParameterRecordFloat SmallDownHatchSpacing1, SmallDownHatchSpacing2, SmallDownHatchSpacing3,
      SmallDownHatchSpacing4;
  BuildStyleParameterRecordInt SmallDownNumFills;
  BuildStyleParameterRecordFloat SmallDownFillAngle1, SmallDownFillAngle2, SmallDownFillAngle3,
      SmallDownFillAngle4;
  BuildStyleParameterRecordFloat SmallDownFillCureDepth1, SmallDownFillCureDepth2, SmallDownFillCureDepth3,
      SmallDownFillCureDepth4;
  BuildStyleParameterRecordFloat SmallDownFillSpacing1, SmallDownFillSpacing2, SmallDownFillSpacing3,
      SmallDownFillSpacing4;

  BuildStyleParameterRecordFloat LargeLayerBorderCureDepth;
  BuildStyleParameterRecordFloat LargeLayerBorderPrimeCureDepth;
  BuildStyleParameterRecordInt LargeLayerNumHatches;
  BuildStyleParameterRecordFloat LargeLayerHatchAngle1, LargeLayerHatchAngle2, LargeLayerHatchAngle3,
      LargeLayerHatchAngle4;
  BuildStyleParameterRecordFloat LargeLayerHatchCureDepth1, LargeLayerHatchCureDepth2,
      LargeLayerHatchCureDepth3, LargeLayerHatchCureDepth4;
  BuildStyleParameterRecordFloat LargeLayerHatchSpacing1, LargeLayerHatchSpacing2, LargeLayerHatchSpacing3,
      LargeLayerHatchSpacing4;

  BuildStyleParameterRecordFloat LargeUpBorderCureDepth;
  BuildStyleParameterRecordInt LargeUpNumHatches;
  BuildStyleParameterRecordFloat LargeUpHatchAngle1, LargeUpHatchAngle2, LargeUpHatchAngle3,
      LargeUpHatchAngle4;
  BuildStyleParameterRecordFloat LargeUpHatchCureDepth1, LargeUpHatchCureDepth2, LargeUpHatchCureDepth3,
      LargeUpHatchCureDepth4;
  BuildStyleParameterRecordFloat LargeUpHatchSpacing1, LargeUpHatchSpacing2, LargeUpHatchSpacing3,
      LargeUpHatchSpacing4;
  BuildStyleParameterRecordInt LargeUpNumFills;
  BuildStyleParameterRecordFloat LargeUpFillAngle1, LargeUpFillAngle2, LargeUpFillAngle3, LargeUpFillAngle4;
  BuildStyleParameterRecordFloat LargeUpFillCureDepth1, LargeUpFillCureDepth2, LargeUpFillCureDepth3,
      LargeUpFillCureDepth4;
  BuildStyleParameterRecordFloat LargeUpFillSpacing1, LargeUpFillSpacing2, LargeUpFillSpacing3,
      LargeUpFillSpacing4;

  BuildStyleParameterRecordFloat LargeDownBorderCureDepth;
  BuildStyleParameterRecordInt LargeDownNumHatches;
  BuildStyleParameterRecordFloat LargeDownHatchAngle1, LargeDownHatchAngle2, LargeDownHatchAngle3,
      LargeDownHatchAngle4;
  BuildStyleParameterRecordFloat LargeDownHatchCureDepth1, LargeDownHatchCureDepth2, LargeDownHatchCureDepth3,
      LargeDownHatchCureDepth4;
  BuildStyleParameterRecordFloat LargeDownHatchSpacing1, LargeDownHatchSpacing2, LargeDownHatchSpacing3,
      LargeDownHatchSpacing4;
  BuildStyleParameterRecordInt LargeDownNumFills;
  BuildStyleParameterRecordFloat LargeDownFillAngle1, LargeDownFillAngle2, LargeDownFillAngle3,
      LargeDownFillAngle4;
  BuildStyleParameterRecordFloat LargeDownFillCureDepth1, LargeDownFillCureDepth2, LargeDownFillCureDepth3,
      LargeDownFillCureDepth4;
  BuildStyleParameterRecordFloat LargeDownFillSpacing1, LargeDownFillSpacing2, LargeDownFillSpacing3,
      LargeDownFillSpacing4;

  BuildStyleParameterRecordFloat LargeRetractStart;
  BuildStyleParameterRecordFloat LargeRetractEnd;
  BuildStyleParameterRecordFloat SmallRetractStart;
  BuildStyleParameterRecordFloat SmallRetractEnd;
  BuildStyleParameterRecordInt LargeInterHatchDelay;
  BuildStyleParameterRecordInt SmallInterHatchDelay;
  BuildStyleParameterRecordInt HatchType;
  BuildStyleParameterRecordInt FillType;

  BuildStyleParameterRecordInt QCBorderType;
  BuildStyleParameterRecordInt QCHatchStyle;
  BuildStyleParameterRecordInt QCThickSkins;
  BuildStyleParameterRecordInt QCVentsDrains;
  BuildStyleParameterRecordFloat QCMinSmallThickSkinWidth;
  BuildStyleParameterRecordFloat QCMinLargeThickSkinWidth;
  BuildStyleParameterRecordFloat QCZTransition;
  BuildStyleParameterRecordFloat QCZBond;
  BuildStyleParameterRecordFloat QCLayerDepth;

  BuildStyleParameterRecordInt Stagger;
  BuildStyleParameterRecordInt Alternate;
  BuildStyleParameterRecordFloat SmallStaggerOffset;
  BuildStyleParameterRecordFloat LargeStaggerOffset;
  BuildStyleParameterRecordFloat BoundaryComp;
  BuildStyleParameterRecordInt AdditionalBoundaries;
  BuildStyleParameterRecordInt DHFlag;
  BuildStyleParameterRecordInt UHFlag;
  BuildStyleParameterRecordFloat MinSmallNSWidth;
  BuildStyleParameterRecordFloat MinLargeNSWidth;
  /// How many layers Z compensation covers; named "AfterMinLargeNSWidth" in tables and texts.
  BuildStyleParameterRecordInt ZCompensationLayers;
  BuildStyleParameterRecordInt ZCalculate;
  BuildStyleParameterRecordFloat SmallLineWidth;
  BuildStyleParameterRecordFloat LargeLineWidth;
  BuildStyleParameterRecordFloat Dp;
  BuildStyleParameterRecordFloat Ec;
  BuildStyleParameterRecordInt ToolingSequencingCount;
  BuildStyleParameterRecordInt ToolingSequencingRatio;
  BuildStyleParameterRecordFloat MinWidthForSmallSpot;

  BuildStyleParameterRecordFloat SmallSupportBoundaryCureDepth;
  BuildStyleParameterRecordFloat SmallSupportDownInterfaceBoundaryCureDepth;
  BuildStyleParameterRecordFloat SmallSupportUpInterfaceBoundaryCureDepth;
  BuildStyleParameterRecordFloat LargeSupportBoundaryCureDepth;
  BuildStyleParameterRecordFloat LargeSupportDownInterfaceBoundaryCureDepth;
  BuildStyleParameterRecordFloat LargeSupportUpInterfaceBoundaryCureDepth;
  BuildStyleParameterRecordFloat AfterSupportCureDepths[21];

  BuildStyleParameterRecordFloat LayerBorderPower;
  BuildStyleParameterRecordFloat LayerBorderPrimePower;
  BuildStyleParameterRecordFloat LayerHatch0Power;
  BuildStyleParameterRecordFloat LayerHatch1Power;
  BuildStyleParameterRecordFloat LayerHatch2Power;
  BuildStyleParameterRecordFloat LayerHatch3Power;
  BuildStyleParameterRecordFloat SupportBorderPower;
  BuildStyleParameterRecordFloat SupportDownInterfaceBorderPower;
  BuildStyleParameterRecordFloat SupportUpInterfaceBorderPower;
  BuildStyleParameterRecordFloat DownBorderPower;
  BuildStyleParameterRecordFloat DownHatch0Power;
  BuildStyleParameterRecordFloat DownHatch1Power;
  BuildStyleParameterRecordFloat DownHatch2Power;
  BuildStyleParameterRecordFloat DownHatch3Power;
  BuildStyleParameterRecordFloat DownFill0Power;
  BuildStyleParameterRecordFloat DownFill1Power;
  BuildStyleParameterRecordFloat DownFill2Power;
  BuildStyleParameterRecordFloat DownFill3Power;
  BuildStyleParameterRecordFloat UpFill0Power;
  BuildStyleParameterRecordFloat UpFill1Power;
  BuildStyleParameterRecordFloat UpFill2Power;
  BuildStyleParameterRecordFloat UpFill3Power;
  BuildStyleParameterRecordFloat UpBorderPower;
  BuildStyleParameterRecordFloat UpHatch0Power;
  BuildStyleParameterRecordFloat UpHatch1Power;
  BuildStyleParameterRecordFloat UpHatch2Power;
  BuildStyleParameterRecordFloat UpHatch3Power;

  BuildStyleParameterRecordInt SmallSpotOnlyFlag;
  BuildStyleParameterRecordInt ZSmoothingFlag;
  BuildStyleParameterRecordInt LayerOnlyFlag;
  BuildStyleParameterRecordInt HighSpatialToleranceFlag;
  BuildStyleParameterRecordInt SmallLineWidthCompenstationFlag;
  BuildStyleParameterRecordInt LargeLineWidthCompenstationFlag;
  BuildStyleParameterRecordInt DifferentialShrinkFlag;
  BuildStyleParameterRecordInt SmallFeaturePreservationFlag;
  BuildStyleParameterRecordInt PatternStyleFlag;
  BuildStyleParameterRecordInt ShellingFlag;
  BuildStyleParameterRecordFloat ShellSupportSpacing;
  BuildStyleParameterRecordInt SmartBestSurfaceFinishFlag;
  BuildStyleParameterRecordInt SmartBestSurfaceFinishLayers;
  BuildStyleParameterRecordInt LBPforB2;
  BuildStyleParameterRecordInt ZFilteringFlag;
  BuildStyleParameterRecordInt AfterZFilteringFlag[2];
  BuildStyleParameterRecordInt InteriorBoundaryRemovalFlag;
  BuildStyleParameterRecordInt HighSpeedScanFlag;
  BuildStyleParameterRecordFloat HighSpeedScanThreshold;
  BuildStyleParameterRecordInt DrawBordersLastFlag;
  BuildStyleParameterRecordInt DrawSmallUpBordersFlag;
  BuildStyleParameterRecordInt DrawLargeUpBordersFlag;
  BuildStyleParameterRecordInt DrawSmallDownBordersFlag;
  BuildStyleParameterRecordInt DrawLargeDownBordersFlag;
  BuildStyleParameterRecordInt DrawSmallLayerBordersFlag;
  BuildStyleParameterRecordInt DrawLargeLayerBordersFlag;
  BuildStyleParameterRecordInt DrawSmallLayerBorderPrimeFlag;
  BuildStyleParameterRecordInt DrawLargeLayerBorderPrimeFlag;
  BuildStyleParameterRecordFloat ShellingThickness;
};

namespace trq {
extern template class StoredStyle<KVBUILDSTYLE>;

using BuildStyleRecordMember =
    StyleRecordMember<KVBUILDSTYLE, BuildStyleParameterRecordFloat, BuildStyleParameterRecordInt, 21, 2>;
using BuildStyleParameter = StyleParameterRow<BuildStyleRecordMember>;

/// All 262 records of a build style in member order: 238 named, 24 unnamed.
TRQ_EXPORT StyleParameterList<BuildStyleRecordMember> BuildStyleParameters();

/// Twelve 32-bit words that `MACHINES` carries as one unit.
struct MachineWords {
  float Words0To6[7] = {20.0f, 20.0f, 23.2f, 0.0f, 0.0f, 0.0f, 6.0f};
  int32_t Words7To9[3] = {0, 0, 1};
  float Word10 = 0.4f;
  int32_t Word11 = 0;
};
}  // namespace trq
static_assert(sizeof(trq::MachineWords) == 48, "twelve 32-bit words");

/// One machine with its recoater and material: a record that the application fills and reads; the library
/// does not interpret it.
class TRQ_EXPORT MACHINES {
 public:
  // Kept: name, type and recoater of a new record do not agree with one another.
  CString MachineName = "TRQD6";
  int32_t MachineType = TRQ_E7;
  CString RecoaterName = "KALMOR";
  CString MaterialName = "RX4410";
  trq::MachineWords Words;
  int32_t WordAfterBlock = 0;
  CString Texts[2][3] = {{" ", " ", " "}, {" ", " ", " "}};
  int32_t LastInteger = 0;
};
