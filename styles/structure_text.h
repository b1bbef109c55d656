/// Texts of the slice-file library's structures.
#pragma once

#include <algorithm>
#include <string>

#include "trq/host.h"

namespace trq::detail {

/// A text of the structure: up to its NUL, or the whole field.
template <size_t kSize>
CString StructureText(const char (&field)[kSize]) {
  return CString(std::string(field, std::find(field, field + kSize, '\0')));
}

}  // namespace trq::detail
