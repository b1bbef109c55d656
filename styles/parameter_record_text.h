/// The text form of parameter records: one line a record, its shape given as data.
#pragma once

#include <string>

#include "trq/styles.h"

namespace trq::detail {

/// How a record is put into words. The main lines mix plain text with marks: %n name, %v value, %d default,
/// %e "Yes" or "No" (editable), %l and %u the bounds of the range, %f the default as a floating-point number.
/// Numbers take at least 7 places with 4 decimals in float records, at least 5 in integer records.
struct RecordTextForm {
  const char* with_range;
  const char* without_range;
  const char* list_caption;
  const char* empty_list;
  const char* before_allowed;  ///< each allowed value stands between these two
  const char* after_allowed;
  const char* end;
};

/// The record's text in that form.
template <class T>
std::string RecordText(const trq::StyleParameterRecord<T>& record, const char* name,
                       const RecordTextForm& form);

/// The comma-separated and the readable form of a class of records.
struct RecordTextForms {
  RecordTextForm comma, readable;
};
template <class Record>
inline constexpr RecordTextForms kTextForms = {};
// Kept: the forms differ from one another in small ways (commas, blanks, captions); other programs read them.
template <>
inline constexpr RecordTextForms kTextForms<BuildStyleParameterRecordFloat> = {
    {"%n,%v,%e,%d,%l,%u", "%n,%v,%e,%d,No Min-Max Range", "", "", ",", ",", "\n"},
    {"%n = %v  [%l , %u, %e] %d", "%n = %v  [No Min-Max , %e] %d", "", " Full Range", "", "  ", "\n\n"}};
template <>
inline constexpr RecordTextForms kTextForms<BuildStyleParameterRecordInt> = {
    {"%n,%v,%e,%d,%l,%u,", "%n,%v,%e,%d,No Min-Max Range", "", "", "", ",", "\n"},
    {"%n = %v  [%l , %u, %e] %d", "%n = %v  [No Min-Max, %e] %d", "\nAllowed Values: ", "Full Range", "",
     "   ", "\n\n"}};

/// The line of a record under `name`, comma-separated or readable.
template <class Record>
std::string AsciiRecord(const Record& record, const char* name, bool comma_separated) {
  constexpr const RecordTextForms& forms = kTextForms<Record>;
  static_assert(forms.comma.end && forms.readable.end, "a class of records with forms");
  return RecordText(record, name, comma_separated ? forms.comma : forms.readable);
}

/// Writes it; kWriteFailed for a null stream, else kOk: the stream's error indicator tells of failures.
template <class Record>
int WriteRecordText(FILE* file, const Record& record, const CString& name, bool comma_separated) {
  if (!file) return trq::style_file::kWriteFailed;
  const std::string text = AsciiRecord(record, name, comma_separated);
  std::fwrite(text.data(), 1, text.size(), file);
  return trq::style_file::kOk;
}

}  // namespace trq::detail
