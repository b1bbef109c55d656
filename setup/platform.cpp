#include <algorithm>
#include <iterator>
#include <limits>

#include "setup/style_stack.h"
#include "trq/setup.h"

using namespace trq::detail;

namespace {

int KindOf(const KVRECOATSTYLE& style) { return style.RecoatType.GetValue(); }

/// The first style of a kind; null when there is none.
KVRECOATSTYLE* FirstOfKind(const StyleList<KVRECOATSTYLE>& stack, int kind) {
  const auto found = std::find_if(stack.begin(), stack.end(),
                                  [kind](const auto& style) { return style && KindOf(*style) == kind; });
  return found == stack.end() ? nullptr : found->get();
}

/// For sorting: a NaN counts as the highest Z.
float SortKey(float z) { return z == z ? z : std::numeric_limits<float>::infinity(); }

void SortByRange(StyleList<KVRECOATSTYLE>& stack) {
  std::stable_sort(stack.begin(), stack.end(), [](const auto& a, const auto& b) {
    const float a_start = SortKey(a->StartZ.GetValue());
    const float b_start = SortKey(b->StartZ.GetValue());
    return a_start != b_start ? a_start < b_start : SortKey(a->EndZ.GetValue()) < SortKey(b->EndZ.GetValue());
  });
}

/// Makes neighbours meet; a style of `kind` below one of another kind stays, else the upper one does.
void CloseSeams(StyleList<KVRECOATSTYLE>& stack, int kind) {
  for (size_t i = 1; i < stack.size(); ++i) {
    KVRECOATSTYLE& lower = *stack[i - 1];
    KVRECOATSTYLE& upper = *stack[i];
    if (lower.EndZ.GetValue() == upper.StartZ.GetValue()) continue;
    if (KindOf(lower) == kind && KindOf(upper) != kind) {
      upper.StartZ.SetValue(lower.EndZ.GetValue());
      if (upper.EndZ.GetValue() < upper.StartZ.GetValue()) upper.EndZ.SetValue(upper.StartZ.GetValue());
    } else {
      lower.EndZ.SetValue(upper.StartZ.GetValue());
    }
  }
}

}  // namespace

float PLATFORM::getMaxPlatformExtent() const { return std::max({-1000.0f, MaxX, MaxY, MaxZ}); }

float PLATFORM::KVGetMaxZRecoatStyles() const {
  const KVRECOATSTYLE* last = FirstStyle(RecoatStyles.rbegin(), RecoatStyles.rend());
  return last ? last->EndZ.GetValue() : 0;
}

float PLATFORM::KVGetMinZRecoatStyles() const {
  // Kept: the last style's start, not the first one's.
  const KVRECOATSTYLE* last = FirstStyle(RecoatStyles.rbegin(), RecoatStyles.rend());
  return last ? last->StartZ.GetValue() : 0;
}

KVRECOATSTYLE* PLATFORM::getNextRecoatStylePtr(const KVRECOATSTYLE* style) const {
  const auto found = FindInStack(RecoatStyles, style);
  return found == RecoatStyles.end() ? nullptr : FirstStyle(std::next(found), RecoatStyles.end());
}

KVRECOATSTYLE* PLATFORM::getPrevRecoatStylePtr(const KVRECOATSTYLE* style) const {
  const auto found = FindInStack(RecoatStyles, style);
  if (found == RecoatStyles.end()) return nullptr;
  return FirstStyle(std::make_reverse_iterator(found), RecoatStyles.rend());
}

bool PLATFORM::KVCheckIfRecoatSupportPartStyleCreated(int kind) const {
  // Kept: kind 1 asks for kind 0 and the other way round.
  return FirstOfKind(RecoatStyles, kind == 1 ? 0 : 1) != nullptr;
}

void PLATFORM::KVcheckRecoatStyles() const {}

int PLATFORM::KVremoveRecoatStyle(const KVRECOATSTYLE* style) {
  if (!style) return 2;
  DropNulls(RecoatStyles);
  const auto found = FindInStack(RecoatStyles, style);
  if (RecoatStyles.size() < 2 || found == RecoatStyles.end()) return 1;
  if (KVRECOATSTYLE* next = getNextRecoatStylePtr(style)) {
    next->StartZ.CopyRecord(&style->StartZ);
  } else {
    getPrevRecoatStylePtr(style)->EndZ.CopyRecord(&style->EndZ);
  }
  if (CurrentRecoatStyle.get() == style) CurrentRecoatStyle.reset();
  RecoatStyles.erase(found);
  return 0;
}

int PLATFORM::KVremoveRecoatStyleByZ(float z) {
  DropNulls(RecoatStyles);
  for (const auto& style : RecoatStyles) {
    if (style->StartZ.GetValue() <= z && z <= style->EndZ.GetValue() + 0.00005) {
      KVremoveRecoatStyle(style.get());
      return 0;
    }
  }
  return 1;
}

void PLATFORM::KVdeleteRecoatStyles() {
  if (CurrentRecoatStyle && FindInStack(RecoatStyles, CurrentRecoatStyle.get()) != RecoatStyles.end()) {
    CurrentRecoatStyle.reset();
  }
  RecoatStyles.clear();
}

void PLATFORM::ResetThePlatformDS() {
  const PLATFORM fresh;
  PlatformName = fresh.PlatformName;
  MachineType = fresh.MachineType;
  Units = fresh.Units;
  MinX = fresh.MinX;
  MaxX = fresh.MaxX;
  MinY = fresh.MinY;
  MaxY = fresh.MaxY;
  MinZ = fresh.MinZ;
  MaxZ = fresh.MaxZ;
  BuildStyleFile = fresh.BuildStyleFile;
  RecoatStyleFile = fresh.RecoatStyleFile;
  ThirdStyleFile = fresh.ThirdStyleFile;
  SingleVatBuildStyleFile = fresh.SingleVatBuildStyleFile;
  SingleVatRecoatStyleFile = fresh.SingleVatRecoatStyleFile;
  CurrentRecoatStyle.reset();
  CurrentBuildStyle.reset();
  std::fill(std::begin(FurtherState), std::end(FurtherState), 0);
  KVdeleteRecoatStyles();
}

int PLATFORM::KVaddRecoatStyle(float start, float end, CString file, RECOAT_TYPE type, bool keep_kind,
                               bool read) {
  if (keep_kind && (type == 0 || type == 1) && FirstOfKind(RecoatStyles, type)) {
    KVUpdateRecoatStyles(start, end, type);
    KVcheckRecoatStyles();
    return 0;
  }
  const auto fresh = std::make_shared<KVRECOATSTYLE>(file);
  if (read) {
    const int result = fresh->binaryReadStyle(file);
    fresh->closeBuildStyleFile();
    if (result != 0) return -1;
  }
  fresh->FullPathName = file;
  fresh->RecoatType.SetValue(type);
  fresh->StartZ.SetValue(start);
  fresh->EndZ.SetValue(end);
  DropNulls(RecoatStyles);
  const bool first = RecoatStyles.empty();
  StackStyle(RecoatStyles, fresh,
             keep_kind ? std::nullopt : std::optional(trq::core::StackTolerance(Units == 1)),
             &CurrentRecoatStyle);
  if (keep_kind && !first) KVUpdateRecoatStyles(start, end, type);
  KVcheckRecoatStyles();
  return 0;
}

int PLATFORM::addRecoatStyle(float start, float end, CString file, RECOAT_TYPE type, bool read) {
  return KVaddRecoatStyle(start, end, file, type, false, read);
}

void PLATFORM::KVUpdateRecoatStyles(float bottom, float top, RECOAT_TYPE type) {
  DropNulls(RecoatStyles);
  if (RecoatStyles.empty()) return;
  const int kind = type == 0 ? 0 : 1;
  KVRECOATSTYLE* const first_part = FirstOfKind(RecoatStyles, 0);
  KVRECOATSTYLE* const first_support = FirstOfKind(RecoatStyles, 1);
  KVRECOATSTYLE& last = *RecoatStyles.back();
  KVRECOATSTYLE* const grows_down = kind == 0 ? first_part : first_part ? nullptr : first_support;
  const bool grows_up = kind == 0 ? !first_support : KindOf(last) == 1;
  if (grows_down && grows_down->StartZ.GetValue() > bottom) grows_down->StartZ.SetValue(bottom);
  if (grows_up && last.EndZ.GetValue() < top) last.EndZ.SetValue(top);
  SortByRange(RecoatStyles);
  CloseSeams(RecoatStyles, kind);
}
