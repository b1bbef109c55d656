#include "recoat/recoat_style_table.h"

namespace {

using trq::detail::RecordTextForm;

// Kept: the forms differ from those of build styles and from one another; other programs read them. Integer
// lines leave the default out of the comma form and print it as a floating-point number in the readable one.
constexpr RecordTextForm kFloatComma = {
    "%n,%v,%e,%d, %l,%u,", "%n,%v,%e,%d,No Min-Max Range,", "", "", "", ",", "\n"};
constexpr RecordTextForm kFloatReadable = {"%n = %v  [%l , %u, %e] %d",
                                           "%n = %v  [No Min-Max , %e] %d",
                                           "\nOnly Specific Allowed Values : ",
                                           " Full Range",
                                           "",
                                           "  ",
                                           "\n\n"};
constexpr RecordTextForm kIntComma = {"%n,%v,%e,%l,%u,", "%n,%v,No Min-Max,%e,", "", "", "", ",", "\n"};
constexpr RecordTextForm kIntReadable = {"%n = %v  [%l , %u, %e] %f",
                                         "%n = %v  [No Min-Max, %e] %f",
                                         "\nOnly Specific Allowed Values :",
                                         " Full Range",
                                         "",
                                         " ",
                                         "\n\n"};

}  // namespace

template <>
std::string trq::detail::AsciiRecord(const RecoatStyleParameterRecordFloat& record, const char* name,
                                     bool comma_separated) {
  return RecordText(record, name, comma_separated ? kFloatComma : kFloatReadable);
}
template <>
std::string trq::detail::AsciiRecord(const RecoatStyleParameterRecordInt& record, const char* name,
                                     bool comma_separated) {
  return RecordText(record, name, comma_separated ? kIntComma : kIntReadable);
}

int RecoatStyleParameterRecordFloat::WriteAsciiRecord(FILE* stream, const CString& name,
                                                      bool comma_separated) const {
  return trq::detail::WriteRecordText(stream, *this, name, comma_separated);
}

int RecoatStyleParameterRecordInt::WriteAsciiRecord(FILE* stream, const CString& name,
                                                    bool comma_separated) const {
  return trq::detail::WriteRecordText(stream, *this, name, comma_separated);
}

void RecoatStyleParameterRecordFloat::ConvertIntRecordIntoFloatRecord(
    const RecoatStyleParameterRecordInt* source) {
  if (source) CopyConverted(*source);
}

void RecoatStyleParameterRecordInt::ConvertFloatRecordIntoIntRecord(
    const RecoatStyleParameterRecordFloat* source) {
  if (source) CopyConverted(*source);
}
