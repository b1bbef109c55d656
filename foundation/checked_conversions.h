/// The only ways in which the library turns floating-point numbers into integers.
#pragma once

#include <climits>
#include <cstdint>

namespace trq::detail {

/// `v` truncated toward zero; INT_MIN when it is NaN or does not fit an int.
inline int ToInt(double v) {
  // Exact bounds in double: everything strictly between them truncates into the range. NaN fails both.
  return v > -2147483649.0 && v < 2147483648.0 ? int(v) : INT_MIN;
}

/// For vertex hashes: `v` truncated toward zero to 64 bits, of which the low 32 are returned as signed; 0
/// when it is NaN, infinite or beyond 64 bits.
inline int32_t ToHashWord(double v) {
  if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) return 0;
  return int32_t(uint32_t(uint64_t(int64_t(v))));
}

/// For vertex hashes: the absolute value; 0 for INT_MIN, whose absolute value is no int.
inline int32_t AbsoluteHashWord(int32_t v) { return v == INT32_MIN ? 0 : (v < 0 ? -v : v); }

}  // namespace trq::detail
