#include "recoat/recoat_style_table.h"

trq::StyleParameterList<trq::RecoatStyleMember> trq::RecoatStyleParameters() {
  return trq::detail::kRecoatRows;
}

RecoatStyleParameterRecordFloat* KVRECOATSTYLE::FindFloat(const char* name) {
  return trq::RecoatStyleParameters().MemberOf(name).FloatIn(*this);
}
const RecoatStyleParameterRecordFloat* KVRECOATSTYLE::FindFloat(const char* name) const {
  return trq::RecoatStyleParameters().MemberOf(name).FloatIn(*this);
}
RecoatStyleParameterRecordInt* KVRECOATSTYLE::FindInt(const char* name) {
  return trq::RecoatStyleParameters().MemberOf(name).IntIn(*this);
}
const RecoatStyleParameterRecordInt* KVRECOATSTYLE::FindInt(const char* name) const {
  return trq::RecoatStyleParameters().MemberOf(name).IntIn(*this);
}
