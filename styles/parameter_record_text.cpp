#include "styles/parameter_record_text.h"

#include <string>

#include "foundation/number_text.h"

namespace trq::detail {
namespace {

/// Appends `number` as "%<width>d" does.
void AppendInteger(std::string& text, int32_t number, size_t width) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) text.append(width - digits.size(), ' ');
  text += digits;
}

void AppendNumber(std::string& text, float number) { AppendFixed(text, number, 4, 7); }
void AppendNumber(std::string& text, int32_t number) { AppendInteger(text, number, 5); }
void AppendAllowed(std::string& text, float number) { AppendFixed(text, number, 6); }
void AppendAllowed(std::string& text, int32_t number) { AppendInteger(text, number, 0); }

}  // namespace

template <class T>
std::string RecordText(const trq::StyleParameterRecord<T>& record, const char* name,
                       const RecordTextForm& form) {
  std::string text;
  for (const char* c = record.HasRange() ? form.with_range : form.without_range; *c; ++c) {
    if (*c != '%') {
      text += *c;
      continue;
    }
    switch (*++c) {
      case 'n':
        text += name;
        break;
      case 'v':
        AppendNumber(text, record.GetValue());
        break;
      case 'd':
        AppendNumber(text, record.GetDefaultValue());
        break;
      case 'f':
        AppendFixed(text, double(record.GetDefaultValue()), 4, 7);
        break;
      case 'e':
        text += record.GetEditFlag() == 1 ? "Yes" : "No";
        break;
      case 'l':
        AppendNumber(text, record.GetMinRange());
        break;
      case 'u':
        AppendNumber(text, record.GetMaxRange());
        break;
      default:
        --c;  // a mark that ends the form
    }
  }
  text += form.list_caption;
  if (record.GetNumElementsInList() == 0) text += form.empty_list;
  for (int i = 0; i < record.GetNumElementsInList(); ++i) {
    text += form.before_allowed;
    AppendAllowed(text, record.GetAnElementFromList(i));
    text += form.after_allowed;
  }
  return text += form.end;
}

template std::string RecordText(const trq::StyleParameterRecord<float>&, const char*, const RecordTextForm&);
template std::string RecordText(const trq::StyleParameterRecord<int32_t>&, const char*,
                                const RecordTextForm&);

}  // namespace trq::detail

int BuildStyleParameterRecordFloat::WriteAsciiRecord(FILE* stream, const CString& name,
                                                     bool comma_separated) const {
  return trq::detail::WriteRecordText(stream, *this, name, comma_separated);
}

int BuildStyleParameterRecordInt::WriteAsciiRecord(FILE* stream, const CString& name,
                                                   bool comma_separated) const {
  return trq::detail::WriteRecordText(stream, *this, name, comma_separated);
}
