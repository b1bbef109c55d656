// Compound arithmetic of the points. Every operand is widened to double and each store rounds once.
#include <functional>

#include "trq/foundation.h"

#ifdef _WIN32
static thread_local float tolerance_of_thread = 1e-5f;
trq::detail::ToleranceOfThread::operator float&() const { return tolerance_of_thread; }
const trq::detail::ToleranceOfThread PbVec2f::tolerance;
#else
thread_local float PbVec2f::tolerance = 1e-5f;
#endif

namespace {

template <class Operation, size_t N>
void Combine(float (&values)[N], const float (&others)[N]) {
  for (size_t i = 0; i < N; ++i) values[i] = float(Operation()(values[i], others[i]));
}

}  // namespace

PbVec2f& PbVec2f::operator+=(PbVec2f other) {
  Combine<std::plus<double>>(v_, other.v_);
  return *this;
}

PbVec2f& PbVec2f::operator-=(PbVec2f other) {
  Combine<std::minus<double>>(v_, other.v_);
  return *this;
}

PbVec2f& PbVec2f::operator*=(PbVec2f other) {
  Combine<std::multiplies<double>>(v_, other.v_);
  return *this;
}

PbVec2f& PbVec2f::operator*=(float s) { return *this *= PbVec2f(s, s); }

PbVec2f& PbVec2f::operator/=(float s) {
  // Kept: the reciprocal is rounded to float before it multiplies, so the last bit may differ from a true
  // division (which is what PbVec3f does).
  return *this *= float(1.0 / s);
}

PbVec3f& PbVec3f::operator+=(PbVec3f other) {
  Combine<std::plus<double>>(v_, other.v_);
  return *this;
}

PbVec3f& PbVec3f::operator-=(PbVec3f other) {
  Combine<std::minus<double>>(v_, other.v_);
  return *this;
}

PbVec3f& PbVec3f::operator*=(PbVec3f other) {
  Combine<std::multiplies<double>>(v_, other.v_);
  return *this;
}

PbVec3f& PbVec3f::operator*=(float s) { return *this *= PbVec3f(s, s, s); }

PbVec3f& PbVec3f::operator/=(float s) {
  Combine<std::divides<double>>(v_, {s, s, s});
  return *this;
}
