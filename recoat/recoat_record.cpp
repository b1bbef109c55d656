#include "recoat/recoat_style_table.h"

int RecoatStyleParameterRecordFloat::WriteAsciiRecord(FILE* file, const CString& name,
                                                      bool comma_separated) const {
  return trq::detail::WriteRecordText(file, *this, name, comma_separated);
}

int RecoatStyleParameterRecordInt::WriteAsciiRecord(FILE* file, const CString& name,
                                                    bool comma_separated) const {
  return trq::detail::WriteRecordText(file, *this, name, comma_separated);
}

void RecoatStyleParameterRecordFloat::ConvertIntRecordIntoFloatRecord(
    const RecoatStyleParameterRecordInt* source) {
  if (source) CopyConverted(*source);
}

void RecoatStyleParameterRecordInt::ConvertFloatRecordIntoIntRecord(
    const RecoatStyleParameterRecordFloat* source) {
  if (source) CopyConverted(*source);
}
