#include <algorithm>
#include <cstring>
#include <type_traits>

#include "foundation/checked_conversions.h"
#include "foundation/host_order.h"
#include "styles/style_bytes.h"
#include "trq/core/style_layout.h"

using trq::detail::WordsToHostOrder;

namespace {

constexpr float kLastVersionWithoutDefault = 2.05f;
constexpr float kMillimetresPerInch = 25.4f;
constexpr float kInchesPerMillimetre = 0.03937008f;

float Converted(int32_t number) { return float(number); }
int32_t Converted(float number) { return trq::detail::ToInt(number); }

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
    allowed_.resize(size_t(size));
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
  unsigned char bytes[trq::core::StyleRecordBytes::kSize];
  const auto listed = int32_t(allowed_.size());
  auto put = [next = bytes](auto field, size_t size) mutable {
    WordsToHostOrder(&field, 1);
    std::memcpy(next, &field, size);
    next += size;
  };
  put(value_, 4);
  put(default_, 4);
  put(display_flag_, 1);  // files hold the low byte of a flag
  put(edit_flag_, 1);
  put(range_flag_, 1);
  put(minimum_, 4);
  put(maximum_, 4);
  put(listed, 4);
  const bool written = sink.Write(bytes, sizeof bytes) && sink.Words(allowed_.data(), allowed_.size());
  return written ? trq::style_file::kOk : trq::style_file::kWriteFailed;
}

template <class T>
int trq::StyleParameterRecord<T>::ReadRecord(FILE* file, float version) {
  trq::detail::StyleSource source(file);
  source.version = version;
  return ReadFrom(source, nullptr);
}

template <class T>
int trq::StyleParameterRecord<T>::ReadFrom(trq::detail::StyleSource& source, T* stored_maximum) {
  float version = source.version;
  T value;
  if (!source.Word(&value)) return trq::style_file::kReadFailed;
  value_ = value;
  // Kept: a float record asked for with version 0 takes its own value for the version; an integer record
  // never.
  if constexpr (std::is_same_v<T, float>) {
    if (version == 0.0f) version = value;
  }
  const bool has_default = version > kLastVersionWithoutDefault;
  if (!has_default) default_ = value;

  // One read for the fields of fixed size; a short one still fills the fields that came whole.
  unsigned char bytes[trq::core::StyleRecordBytes::kSize - sizeof value];
  const size_t wanted = has_default ? sizeof bytes : sizeof bytes - sizeof default_;
  auto take = [next = bytes, end = bytes + source.Read(bytes, wanted)](auto& field,
                                                                       std::ptrdiff_t size) mutable {
    if (end - next < size) return false;
    WordsToHostOrder(&field, 1);  // what is not read, of a flag, stays
    std::memcpy(&field, next, size_t(size));
    WordsToHostOrder(&field, 1);
    next += size;
    return true;
  };
  int32_t listed = 0;
  const bool whole = (!has_default || take(default_, 4)) && take(display_flag_, 1) && take(edit_flag_, 1) &&
                     take(range_flag_, 1) && take(minimum_, 4) && take(maximum_, 4) && take(listed, 4);
  if (!whole) return trq::style_file::kReadFailed;
  if (stored_maximum) *stored_maximum = maximum_;

  // The count is a claim: the list grows with the values that come.
  allowed_.clear();
  while (listed > 0) {
    T values[256];
    const size_t piece = std::min<size_t>(size_t(listed), std::size(values));
    const size_t came = source.Read(values, sizeof(T) * piece) / sizeof(T);
    WordsToHostOrder(values, came);
    for (size_t i = 0; i < came; ++i) {
      allowed_.push_back(values[i]);
      if (values[i] < minimum_) minimum_ = values[i];
      if (values[i] > maximum_) maximum_ = values[i];
    }
    if (came < piece) return trq::style_file::kReadFailed;
    listed -= int32_t(piece);
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
