#include <algorithm>
#include <cstring>
#include <type_traits>

#include "foundation/checked_conversions.h"
#include "styles/style_bytes.h"

// The 4-byte fields are written and read as they lie in memory.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "style files are little-endian");

namespace {

constexpr float kLastVersionWithoutDefault = 2.05f;
constexpr float kMillimetresPerInch = 25.4f;
constexpr float kInchesPerMillimetre = 0.03937008f;

template <class T>
unsigned char* Put(unsigned char* next, T value) {
  std::memcpy(next, &value, sizeof value);
  return next + sizeof value;
}

float Converted(int32_t number) { return static_cast<float>(number); }
int32_t Converted(float number) { return trq::detail::ToInt(number); }

/// The fields of a record in the order of the file, as far as their bytes came.
class FieldCursor {
 public:
  FieldCursor(const unsigned char* first, std::size_t count) : next_(first), end_(first + count) {}
  template <class T>
  bool Take(T& field) {
    if (static_cast<std::size_t>(end_ - next_) < sizeof field) return false;
    std::memcpy(&field, next_, sizeof field);
    next_ += sizeof field;
    return true;
  }
  /// Files hold the low byte of a flag; the rest of the field stays.
  bool TakeLowByte(int32_t& flag) {
    unsigned char low = 0;
    if (!Take(low)) return false;
    flag = static_cast<int32_t>((static_cast<uint32_t>(flag) & ~0xFFu) | low);
    return true;
  }

 private:
  const unsigned char* next_;
  const unsigned char* end_;
};

}  // namespace

template <class T>
void trq::StyleParameterRecord<T>::RemoveElementAtThisIndex(int index) {
  if (Holds(index)) allowed_.erase(allowed_.begin() + index);
}

template <class T>
void trq::StyleParameterRecord<T>::DeleteEntireRangeList() {
  std::vector<T>().swap(allowed_);
}

template <class T>
void trq::StyleParameterRecord<T>::SetSizeOfRangeList(int size) {
  if (size <= 0) {
    DeleteEntireRangeList();
  } else {
    allowed_.resize(static_cast<std::size_t>(size));
  }
}

template <class T>
void trq::StyleParameterRecord<T>::AddAndSetValue(T value) {
  AddElementToList(value);
  value_ = default_ = value;
}

template <class T>
int trq::StyleParameterRecord<T>::ResetAValue(T value) {
  constexpr int kAccepted = 0, kRefused = 1;
  if (allowed_.size() >= 2) {
    if (std::find(allowed_.begin(), allowed_.end(), value) == allowed_.end()) return kRefused;
  } else {
    if (value < minimum_ || value > maximum_) return kRefused;
    allowed_.assign(1, value);
  }
  value_ = value;
  return kAccepted;
}

template <class T>
void trq::StyleParameterRecord<T>::ScaleAllValues(T factor) {
  value_ *= factor;
  default_ *= factor;
  minimum_ *= factor;
  maximum_ *= factor;
  for (T& allowed : allowed_) allowed *= factor;
}

template <class T>
template <class U>
void trq::StyleParameterRecord<T>::CopyConverted(const trq::StyleParameterRecord<U>& source) {
  value_ = Converted(source.GetValue());
  default_ = Converted(source.GetDefaultValue());
  display_flag_ = source.GetDisplayFlag();
  edit_flag_ = source.GetEditFlag();
  range_flag_ = source.GetRangeFlag();
  minimum_ = Converted(source.GetMinRange());
  maximum_ = Converted(source.GetMaxRange());
  allowed_.clear();
  for (int i = 0; i < source.GetNumElementsInList(); ++i) {
    allowed_.push_back(Converted(source.GetAnElementFromList(i)));
  }
}

template <class T>
int trq::StyleParameterRecord<T>::WriteRecord(FILE* file) const {
  trq::detail::StyleSink sink(file);
  return WriteTo(sink);
}

template <class T>
int trq::StyleParameterRecord<T>::WriteTo(trq::detail::StyleSink& sink) const {
  unsigned char bytes[23];
  unsigned char* next = Put(bytes, value_);
  next = Put(next, default_);
  next = Put(next, static_cast<unsigned char>(display_flag_));
  next = Put(next, static_cast<unsigned char>(edit_flag_));
  next = Put(next, static_cast<unsigned char>(range_flag_));
  next = Put(next, minimum_);
  next = Put(next, maximum_);
  Put(next, static_cast<int32_t>(allowed_.size()));
  const bool written = sink.Write(bytes, sizeof bytes) &&
                       (allowed_.empty() || sink.Write(allowed_.data(), sizeof(T) * allowed_.size()));
  return written ? trq::style_file::kOk : trq::style_file::kWriteFailed;
}

template <class T>
int trq::StyleParameterRecord<T>::ReadRecord(FILE* file, float version) {
  trq::detail::StyleSource source(file);
  return ReadFrom(source, version, nullptr);
}

template <class T>
int trq::StyleParameterRecord<T>::ReadFrom(trq::detail::StyleSource& source, float version,
                                           T* stored_maximum) {
  T value;
  if (!source.ReadAll(&value, sizeof value)) return trq::style_file::kReadFailed;
  value_ = value;
  // Kept: a float record asked for with version 0 takes its own value for the version; an integer record
  // never.
  if constexpr (std::is_same_v<T, float>) {
    if (version == 0.0f) version = value;
  }
  const bool has_default = version > kLastVersionWithoutDefault;
  if (!has_default) default_ = value;

  // One read for the fields of fixed size; a short one still fills the fields that came whole.
  unsigned char bytes[19];
  const std::size_t wanted = has_default ? sizeof bytes : sizeof bytes - sizeof default_;
  FieldCursor fields(bytes, source.Read(bytes, wanted));
  int32_t listed = 0;
  const bool whole = (!has_default || fields.Take(default_)) && fields.TakeLowByte(display_flag_) &&
                     fields.TakeLowByte(edit_flag_) && fields.TakeLowByte(range_flag_) &&
                     fields.Take(minimum_) && fields.Take(maximum_) && fields.Take(listed);
  if (!whole) return trq::style_file::kReadFailed;
  if (stored_maximum) *stored_maximum = maximum_;

  // The count is a claim: the list grows with the values that come.
  allowed_.clear();
  while (listed > 0) {
    T values[256];
    const std::size_t piece = std::min<std::size_t>(static_cast<std::size_t>(listed), std::size(values));
    const std::size_t came = source.Read(values, sizeof(T) * piece) / sizeof(T);
    for (std::size_t i = 0; i < came; ++i) {
      allowed_.push_back(values[i]);
      if (values[i] < minimum_) minimum_ = values[i];
      if (values[i] > maximum_) maximum_ = values[i];
    }
    if (came < piece) return trq::style_file::kReadFailed;
    listed -= static_cast<int32_t>(piece);
  }
  return trq::style_file::kOk;
}

template class trq::StyleParameterRecord<float>;
template class trq::StyleParameterRecord<int32_t>;
template void trq::StyleParameterRecord<float>::CopyConverted(const trq::StyleParameterRecord<int32_t>&);
template void trq::StyleParameterRecord<int32_t>::CopyConverted(const trq::StyleParameterRecord<float>&);

void trq::StyleParameterRecordFloat::ConvertAllValuesToMM() { ScaleAllValues(kMillimetresPerInch); }
// Kept: the factor is a rounded reciprocal, so going there and back need not give the first number.
void trq::StyleParameterRecordFloat::ConvertAllValuesToINCH() { ScaleAllValues(kInchesPerMillimetre); }

void BuildStyleParameterRecordFloat::ConvertIntRecordIntoFloatRecord(
    const BuildStyleParameterRecordInt* source) {
  if (source) CopyConverted(*source);
}

void BuildStyleParameterRecordInt::ConvertFloatRecordIntoIntRecord(
    const BuildStyleParameterRecordFloat* source) {
  if (source) CopyConverted(*source);
}
