/// Build setup: the model (one part with its build styles), the platform (the build with its recoat styles)
/// and the model configuration parameters.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "trq/export.h"
#include "trq/geometry.h"
#include "trq/machine_types.h"
#include "trq/recoat.h"
#include "trq/styles.h"

/// Forty parameter records and three words that travel with a model's build setup. The application gives them
/// their meaning; the library keeps their order, kinds and number. Copying copies records and words.
class TRQ_EXPORT ModelConfigParams {
 public:
  BuildStyleParameterRecordInt FirstInts[15];
  BuildStyleParameterRecordFloat Floats[7];
  BuildStyleParameterRecordInt LastInts[18];
  int32_t Words[3] = {0, 0, 0};
};

/// The build platform of one build: machine, units, extents, default style files and the stack of recoat
/// styles by Z. Not thread-safe; not copyable.
class TRQ_EXPORT PLATFORM {
 public:
  PLATFORM() = default;
  PLATFORM(const PLATFORM&) = delete;
  PLATFORM& operator=(const PLATFORM&) = delete;
  ~PLATFORM() = default;

  /// The largest of -1000, MaxX, MaxY and MaxZ.
  float getMaxPlatformExtent() const;
  int KVNumberOFRecoatStyles() const { return static_cast<int>(RecoatStyles.size()); }
  /// End Z and start Z of the last style of the list; 0 for an empty list.
  /// Kept: the minimum comes from the last style too.
  float KVGetMaxZRecoatStyles() const;
  float KVGetMinZRecoatStyles() const;
  /// The style after / before the given one; null when there is none or the style is not listed.
  KVRECOATSTYLE* getNextRecoatStylePtr(const KVRECOATSTYLE* style) const;
  KVRECOATSTYLE* getPrevRecoatStylePtr(const KVRECOATSTYLE* style) const;
  /// With kind 1: whether some style has kind 0; with any other argument: whether some style has kind 1.
  /// Kept: the pairing is inverted.
  bool KVCheckIfRecoatSupportPartStyleCreated(int kind) const;
  /// Walks the list and changes nothing.
  void KVcheckRecoatStyles() const;
  /// Removes a style; its upper neighbour takes its start Z record or, at the top, the lower one its end Z
  /// record. Returns 0, 1 when the list holds fewer than two styles or not this one, 2 for null.
  int KVremoveRecoatStyle(const KVRECOATSTYLE* style);
  /// Removes the first style from the bottom with start Z <= z <= end Z + 0.00005. Returns 0 when there is
  /// one (the only style stays all the same), 1 when there is none.
  int KVremoveRecoatStyleByZ(float z);
  void KVdeleteRecoatStyles();
  /// Back to the construction state: name, extents, machine type, units, the five style file names, current
  /// styles, further state and recoat styles. The build name and everything else stay.
  void ResetThePlatformDS();
  /// Loads a recoat style file for the range start..end and inserts it; `read` false makes a blank style.
  /// With `keep_kind`, when a style of that kind (0 or 1) is listed, none is made and the stack is re-fitted
  /// (KVUpdateRecoatStyles); a new one is inserted by its start and the stack re-fitted. Without, the styles
  /// around the range give way: replaced when both ends meet, cut when one does, split when the range lies
  /// inside; a range that no style holds is inserted by its start. Ends meet within 0.00005 inch in platform
  /// units. Returns 0, or -1 when the file cannot be read.
  int KVaddRecoatStyle(float start, float end, CString file, RECOAT_TYPE type, bool keep_kind, bool read);
  /// KVaddRecoatStyle with keep_kind false.
  int addRecoatStyle(float start, float end, CString file, RECOAT_TYPE type, bool read);
  /// Re-fits the stack to bottom..top for the styles of `type` (0, or 1 for anything else), orders it by
  /// start and end, and closes gaps and overlaps between neighbours: where a style of that kind lies below
  /// one of the other, the upper one gives way, else the lower one. This library's own rule.
  void KVUpdateRecoatStyles(float bottom, float top, RECOAT_TYPE type);

  CString PlatformName;
  TRQ_TYPE MachineType = TRQ_A1;
  int32_t Units = 0;  ///< 1 millimetres, anything else inches
  float MinX = 1000000.0f, MaxX = -1000000.0f;
  float MinY = 1000000.0f, MaxY = -1000000.0f;
  float MinZ = 1000000.0f, MaxZ = -1000000.0f;
  int32_t TwoWords[2] = {};
  CString SecondText;
  int32_t ApplicationState[21] = {};
  int32_t IntegerSetting = 2000;
  float FloatSetting = 0.4f;
  int32_t WordAfterSettings = 0;
  CString BuildStyleFile = "Default.sty";
  CString RecoatStyleFile = "Default.rcs";
  CString ThirdStyleFile = "Default.srg";
  CString SingleVatBuildStyleFile = "Default_s.sty";
  CString SingleVatRecoatStyleFile = "Default_s.rcs";
  CString BuildName = "Build";
  /// From the bottom of the build upward. A null entry is no style; what changes the stack takes it out.
  std::vector<std::shared_ptr<KVRECOATSTYLE>> RecoatStyles;
  int32_t WordAfterList = 0;
  std::shared_ptr<KVRECOATSTYLE> CurrentRecoatStyle;  ///< may also be listed; reset when removed there
  std::shared_ptr<KVBUILDSTYLE> CurrentBuildStyle;
  int32_t FurtherState[6] = {};
  ModelConfigParams ConfigParams;
};

/// One part on the platform: its mesh and its stack of build styles by Z. The file name in
/// `ComponentInfo.text` names the vents-and-drains side file. Not copyable.
/// The application sets `ComponentInfo.placement()`, the current matrix (row-major, column vectors), after
/// loading the mesh and at every move; nothing here sets it, and a new model has the identity. Before the
/// move of a model with a side file it copies the matrix into `ComponentInfo.record.previous_matrix`, from
/// which MoveVDLast and its kin take the move.
class TRQ_EXPORT MODEL : public CTL {
 public:
  MODEL() = default;
  MODEL(const MODEL&) = delete;
  MODEL& operator=(const MODEL&) = delete;
  ~MODEL() override;

  // --- Style stack ---------------------------------------------------------------------------------------

  /// Loads a build style file (when `read`) for the range start..end and inserts it into this model's stack
  /// as PLATFORM::KVaddRecoatStyle does without keep_kind. Machine type and units come from the platform
  /// (null: type 0, inches): LargeSpot's value becomes 1 for the four large-spot machines, else 0, and the
  /// first style's eleven flag records go to Flags. With `read` the style's names and paths are those stored
  /// in the file; KVaddRecoatStyle sets the full path name to `file` instead. The MODEL argument is not used.
  /// Returns 0, or -1 when the file cannot be read (nothing is changed then).
  int KVAddBuildStyle(PLATFORM* platform, MODEL* unused, CString file, float start, float end, bool read);
  /// Re-stacks the styles between new ends: every style keeps its thickness but the first, which takes up the
  /// change at the bottom. Nothing happens for an empty list or when both ends are within 0.00005.
  void KVrecalculateBuildStyle(float bottom, float top);
  /// Unlinks and destroys a listed style; null and others are left alone.
  void KVdeleteBuildStyle(const KVBUILDSTYLE* style);
  void KVdeleteBuildStyles();
  /// Values of the first style; 0 when the list is empty.
  float KVGetFirstBuildStyleThickness() const;
  float KVgetDp() const;
  float KVgetEc() const;
  /// The Z-compensation layer count (ZCompensationLayers) times the layer thickness of the first style.
  float KVGetZLayerComp() const;
  /// True when the first style's "Hatch Type" is 5.
  bool KVisCaviliteStyle() const;
  /// The depth to which the down-facing skin cures, in layers beyond the first.
  /// With E(d) = Ec * exp(d / Dp), the exposure that cures to depth d (Jacobs' working curve: P. F. Jacobs,
  /// Rapid Prototyping & Manufacturing, 1992), S sums E over the down hatches (cure depth plus a layer; 1.27
  /// times on TRQ_A1 and TRQ_B2) and fills, and the answer is Dp * ln(S / Ec) / t - 1, truncated toward zero;
  /// within 1e-9 of a whole number, that number. The "Small" records serve unless the machine is one of the
  /// four large-spot ones and "Small Spot Only Flag" is 0. Hatches count when their spacing is at most
  /// `spacing` (large set: at most 0.018, whatever the argument): in the style's units, the widest spacing
  /// that the machine still cures solid; core::WidestDownHatchSpacing(style) lets every hatch count. 0 for a
  /// null style, or when thickness, Dp, Ec or S is not above 0, or the result is not finite.
  int KVcalc_zcorrection(TRQ_TYPE machine, const KVBUILDSTYLE* style, float spacing) const;

  // --- Geometry ------------------------------------------------------------------------------------------

  /// Area and signed volume of the mesh through the current matrix, into the placement record's R[28] and
  /// R[29]; with units 1 the matrix is in inches and the mesh in millimetres. Only when StateWord is 0 or 1.
  void CalculateCurrentVolumeAndArea(int mm_to_inch);
  /// The mesh's areaX2sq.
  float GetCTLArea(int triangle) { return areaX2sq(triangle); }
  void SetCTLExtents(float min_x, float min_y, float min_z, float max_x, float max_y, float max_z);
  void SetExtentsValid(int valid) { extents_valid = valid; }
  /// `second` is stored only when `modified` is true.
  void setModelModifiedState(bool modified, bool second);

  // --- Vents and drains in memory: answer 1 ----------------------------------------------------------------

  int TranslateVD(float dx, float dy, float dz);
  int DeleteVD();
  /// Carry the placed points through the latest move, current matrix times inverse of the one before, or
  /// back; with units 1 the matrices are in inches and the points in millimetres.
  int MoveVDLast(int mm_to_inch);
  int InvMoveVDLast(int mm_to_inch);

  // --- The vents-and-drains side file (docs/formats/vents-and-drains.md) -----------------------------------
  // The model's file name up to its last period, with ".V_D"; a name without period is taken whole. Lines
  // without seven numbers are dropped, lines of more than 518 characters too.

  /// Adds to every point. 1 done; 0 when there is no side file, or it cannot be rewritten: the old one then
  /// stands, or is kept under its name with ".bak".
  int TranslateVDFile(float dx, float dy, float dz);
  /// Asks whether to delete the side file. 0 deleted or none, 1 declined.
  int DeleteVDFile();
  /// Copies the side file of another model's file name, added to its points. 0 when there is none, else 1.
  int CopyVDFileFrom(CString source_model, float dx, float dy, float dz);
  /// As MoveVDLast, on the side file. When the move tilts the part (Z-Z element below 0.99) the file is
  /// deleted after a message. 1 rewritten or deleted; 0 as TranslateVDFile, or when it cannot be deleted.
  int MoveVDFileLast(int mm_to_inch);
  int InvMoveVDFileLast(int mm_to_inch);

  CString Names[2];
  COMPONENT_INFO ComponentInfo;  ///< file name, matrices, area and volume
  int32_t StateWord = 0;         ///< 0 or 1: area and volume may be calculated
  int32_t ApplicationWord = 2366;
  int32_t ApplicationCounters[4] = {};
  /// From the bottom upward. A null entry is no style; what changes the stack takes it out.
  std::vector<std::shared_ptr<KVBUILDSTYLE>> BuildStyles;
  bool Modified = false;
  bool SecondFlag = false;
  // The application gives the numbered records their meaning.
  BuildStyleParameterRecordInt FirstInts[13];
  BuildStyleParameterRecordInt LargeSpot;  ///< 1 on machines with a large and a small spot
  BuildStyleParameterRecordInt SecondInts[6];
  BuildStyleParameterRecordFloat FirstFloats[6];
  BuildStyleParameterRecordInt Flags[11];  ///< of the first style, in the order of a 206 file's flag bits
  BuildStyleParameterRecordFloat SecondFloats[11];
  BuildStyleParameterRecordInt LastInts[10];
  int32_t LastWord = 0;
};
