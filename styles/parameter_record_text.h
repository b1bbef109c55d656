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

/// The text that WriteAsciiRecord writes.
template <class Record>
std::string AsciiRecord(const Record& record, const char* name, bool comma_separated);
template <>
std::string AsciiRecord(const BuildStyleParameterRecordFloat& record, const char* name, bool comma_separated);
template <>
std::string AsciiRecord(const BuildStyleParameterRecordInt& record, const char* name, bool comma_separated);

/// Writes it; kWriteFailed for a null stream, else kOk: the stream's error indicator tells of failures.
template <class Record>
int WriteRecordText(FILE* file, const Record& record, const CString& name, bool comma_separated) {
  if (!file) return trq::style_file::kWriteFailed;
  const std::string text = AsciiRecord(record, name, comma_separated);
  std::fwrite(text.data(), 1, text.size(), file);
  return trq::style_file::kOk;
}

}  // namespace trq::detail
