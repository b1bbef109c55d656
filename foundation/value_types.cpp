// Compound arithmetic of the points. Every operand is widened to double and each store rounds once.
#include "trq/foundation.h"

thread_local float PbVec2f::tolerance = 1e-5f;

namespace {

float Sum(double a, double b) { return static_cast<float>(a + b); }
float Difference(double a, double b) { return static_cast<float>(a - b); }
float Product(double a, double b) { return static_cast<float>(a * b); }
float Quotient(double a, double b) { return static_cast<float>(a / b); }

}  // namespace

PbVec2f& PbVec2f::operator+=(PbVec2f other) {
  for (int i = 0; i < 2; ++i) v_[i] = Sum(v_[i], other.v_[i]);
  return *this;
}

PbVec2f& PbVec2f::operator-=(PbVec2f other) {
  for (int i = 0; i < 2; ++i) v_[i] = Difference(v_[i], other.v_[i]);
  return *this;
}

PbVec2f& PbVec2f::operator*=(PbVec2f other) {
  for (int i = 0; i < 2; ++i) v_[i] = Product(v_[i], other.v_[i]);
  return *this;
}

PbVec2f& PbVec2f::operator*=(float s) {
  for (float& component : v_) component = Product(component, s);
  return *this;
}

PbVec2f& PbVec2f::operator/=(float s) {
  // Kept: the reciprocal is rounded to float before it multiplies, so the last bit may differ from a true
  // division (which is what PbVec3f does).
  const float reciprocal = Quotient(1.0, s);
  return *this *= reciprocal;
}

PbVec3f& PbVec3f::operator+=(PbVec3f other) {
  for (int i = 0; i < 3; ++i) v_[i] = Sum(v_[i], other.v_[i]);
  return *this;
}

PbVec3f& PbVec3f::operator-=(PbVec3f other) {
  for (int i = 0; i < 3; ++i) v_[i] = Difference(v_[i], other.v_[i]);
  return *this;
}

PbVec3f& PbVec3f::operator*=(PbVec3f other) {
  for (int i = 0; i < 3; ++i) v_[i] = Product(v_[i], other.v_[i]);
  return *this;
}

PbVec3f& PbVec3f::operator*=(float s) {
  for (float& component : v_) component = Product(component, s);
  return *this;
}

PbVec3f& PbVec3f::operator/=(float s) {
  for (float& component : v_) component = Quotient(component, s);
  return *this;
}
