#include "recoat/recoat_style_table.h"

trq::StyleParameterList<trq::RecoatStyleMember> trq::RecoatStyleParameters() {
  return trq::detail::kRecoatRows;
}

RecoatStyleParameterRecordFloat* KVRECOATSTYLE::FindFloat(const char* name) {
  const trq::RecoatStyleParameterRow* row = trq::RecoatStyleParameters().Find(name);
  return row ? row->member.FloatIn(*this) : nullptr;
}
const RecoatStyleParameterRecordFloat* KVRECOATSTYLE::FindFloat(const char* name) const {
  return const_cast<KVRECOATSTYLE*>(this)->FindFloat(name);
}
RecoatStyleParameterRecordInt* KVRECOATSTYLE::FindInt(const char* name) {
  const trq::RecoatStyleParameterRow* row = trq::RecoatStyleParameters().Find(name);
  return row ? row->member.IntIn(*this) : nullptr;
}
const RecoatStyleParameterRecordInt* KVRECOATSTYLE::FindInt(const char* name) const {
  return const_cast<KVRECOATSTYLE*>(this)->FindInt(name);
}
