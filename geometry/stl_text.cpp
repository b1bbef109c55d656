// Reading. The idea: one pass over the text in blocks; lines are lexed in place, and those of corners before
// it is known where they end. A number becomes a float by one product in double; only where that cannot be
// sure, from_chars decides.
// Invariants that make this the same as lexing one line after the other:
// - Every line handed out ends in '\n', and so does the text in the buffer. '\n' is neither part of a token
//   nor of a number, so that no loop runs past it and none needs to test for the end.
// - What was lexed ahead counts only when the line then turns out to end there, within 1023 bytes; otherwise
//   the line is cut off as fgets would do and lexed again.
// - Digits are taken eight at a time by arithmetic on whole words. Words may reach past the end of a line,
//   never past the room behind the buffers.
// - The double is off by two units in its last place at most; unless it lies that near to half-way between
//   two floats, it rounds to the float that the number itself is next to.
//
// Writing. The idea: a float times a power of ten is a whole number of seven digits and a rest, both by one
// product in double.
// - The product is off by half a unit in its last place at most; where the rest is so near to one half that
//   this could matter, to_chars decides.
#include "geometry/stl_text.h"
#include "foundation/host_order.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace trq::detail {
namespace {

// ---------------------------------------------------------------------------------------------------------
// Reading. One pass over the text in blocks; a line is what fgets with a buffer of 1024 bytes would deliver.

constexpr size_t kLongestLine = 1023;
constexpr size_t kBlock = size_t{1} << 18;
constexpr size_t kWord = 8;    // characters lexed together
constexpr size_t kSlack = 16;  // behind a text, as far as lexing looks beyond its end

/// Of which the lowest byte is the first character.
uint64_t WordAt(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, kWord);
  ToHostOrder(&word, kWord, 1);
  return word;
}

/// The first '\n' from `p` on, before `limit` if there is one. Lines are short: a call of memchr costs more.
const char* FindLineEnd(const char* p, const char* limit) {
  for (; p < limit; p += kWord) {
    const uint64_t word = WordAt(p) ^ 0x0A0A0A0A0A0A0A0Au;
    // The high bit of every byte that is zero, and of some behind the first one.
    const uint64_t ends = (word - 0x0101010101010101u) & ~word & 0x8080808080808080u;
    if (ends != 0) return p + __builtin_ctzll(ends) / 8;
  }
  return limit;
}

class LineReader {
 public:
  explicit LineReader(core::ByteSource& source) : source_(source), buffer_(kBlock + kSlack) {}

  /// Where the next line begins, however long it is; null at the end. Valid until the next call of Next.
  const char* Peek() {
    size_t left = filled_ - next_;
    if (left < kLongestLine && !at_end_) left = Refill();
    return left == 0 ? nullptr : buffer_.data() + next_;
  }
  /// Takes the line that was peeked at if it ends with the '\n' at `end`.
  bool TakeIfItEndsAt(const char* end) {
    const size_t length = size_t(end + 1 - buffer_.data()) - next_;
    if (length > std::min(filled_ - next_, kLongestLine)) return false;
    next_ += length;
    ++lines_;
    return true;
  }

  /// The next line, ended by '\n'; null at the end. Valid until the next call.
  const char* Next() {
    ++lines_;
    const char* const begin = Peek();
    if (!begin) return nullptr;
    const size_t limit = std::min(filled_ - next_, kLongestLine);
    const size_t length = size_t(FindLineEnd(begin, begin + limit) + 1 - begin);
    if (length <= limit) {
      next_ += length;
      return begin;
    }
    // A line that is too long goes on as the next one; the last one may lack its end.
    std::memcpy(unended_, begin, limit);
    unended_[limit] = '\n';
    next_ += limit;
    return unended_;
  }
  /// Number of the line asked for last, from 1.
  uint64_t line_number() const { return lines_; }

 private:
  size_t Refill() {
    const size_t left = filled_ - next_;
    std::memmove(buffer_.data(), buffer_.data() + next_, left);
    next_ = 0;
    filled_ = left + source_.Read(buffer_.data() + left, kBlock - left);
    at_end_ = filled_ < kBlock;
    buffer_[filled_] = '\n';
    return filled_;
  }

  core::ByteSource& source_;
  std::vector<char> buffer_;
  size_t next_ = 0;
  size_t filled_ = 0;
  uint64_t lines_ = 0;
  bool at_end_ = false;
  char unended_[kLongestLine + kSlack] = {};
};

// Only blanks separate the tokens of a line; its text ends at a NUL or before its trailing CR and LF.
bool AtTextEnd(const char* p) {
  while (*p == '\r') ++p;
  return *p == '\n' || *p == '\0';
}

const char* FirstToken(const char* line) {
  while (*line == ' ') ++line;
  return line;
}

bool HasToken(const char* line) { return !AtTextEnd(FirstToken(line)); }

/// `keyword` has five lower-case letters. For letters the order-less rule of strcasecmp_j is plain case.
bool FirstTokenIs(const char* line, const char* keyword) {
  const char* token = FirstToken(line);
  for (int i = 0; i < 5; ++i) {
    if (token[i] != keyword[i] && token[i] != keyword[i] - 32) return false;
  }
  return token[5] == ' ' || AtTextEnd(token + 5);
}

// Corner lines are lexed by white space as scanf sees it.
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

const char* SkipSpaces(const char* p) {
  while (*p == ' ') ++p;
  while (IsSpace(*p) && *p != '\n') ++p;
  return p;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr uint32_t kDecades[kWord + 1] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

/// The number of eight digits, of which the lowest byte holds the first.
uint64_t DigitsOf(uint64_t word) {
  word = (word * 10 + (word >> 8)) & 0x00FF00FF00FF00FFu;
  word = (word * 100 + (word >> 16)) & 0x0000FFFF0000FFFFu;
  return (word * 10000 + (word >> 32)) & 0xFFFFFFFFu;
}

/// Appends the digits at `p`, eight at most, to `digits` and returns how many there are.
int TakeDigits(const char* p, uint64_t& digits) {
  uint64_t word = WordAt(p) ^ 0x3030303030303030u;  // digits become their values
  // The high bit of every byte above 9; sums carry into later bytes only, so the first such bit is right.
  const uint64_t others = ((word + 0x7676767676767676u) | word) & 0x8080808080808080u;
  if (others & 0x80) return 0;
  const int count = others == 0 ? 8 : __builtin_ctzll(others) / 8;
  digits = digits * kDecades[count] + DigitsOf(word << (64 - 8 * count));
  return count;
}

constexpr int kLargestPower = 22;  // the largest power of ten that is a double
// All of these powers are exact, and so a quotient by one rounds to the double next to the negative power.
constexpr auto kPowersOfTen = [] {
  std::array<double, 2 * kLargestPower + 1> powers{};
  double power = 1;
  for (size_t i = 0; i <= kLargestPower; ++i, power *= 10) {
    powers[kLargestPower + i] = power;
    powers[kLargestPower - i] = 1 / power;
  }
  return powers;
}();
static_assert(kPowersOfTen[0] == 1e-22 && kPowersOfTen[3] == 1e-19 && kPowersOfTen[44] == 1e22);
double PowerOfTen(int exponent) { return kPowersOfTen[size_t(exponent + kLargestPower)]; }

/// The float next to digits * 10^exponent by one product in double; false when that cannot be sure.
bool ConvertSurely(uint64_t digits, int exponent, float& value) {
  if (digits > uint64_t{1} << 53 || exponent < -kLargestPower || exponent > kLargestPower) return false;
  // The digits are exact, the power and the product rounded: the double is off by two units in its last place
  // at most.
  const double v = double(digits) * PowerOfTen(exponent);
  // Rounding it again goes astray only when it lies that near to half-way between two floats.
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  constexpr uint64_t kHalfWay = 0x10000000;
  constexpr uint64_t kMargin = 4;
  if ((bits & 0x1FFFFFFF) - (kHalfWay - kMargin) <= 2 * kMargin) return false;
  value = float(v);
  return true;
}

/// Any number: `text` has digits, perhaps a point and an exponent, no sign. `magnitude` is the power of ten
/// of the first digit that is not 0.
float ConvertAny(const char* text, const char* end, int magnitude) {
  float value = 0;
  if (std::from_chars(text, end, value).ec == std::errc::result_out_of_range)
    return magnitude > 0 ? HUGE_VALF : 0.0f;
  return value;
}

/// A number without a sign in exactly the twelve characters that printf("%e") writes, 1.234567e+00, when it
/// converts surely. Branches that are nearly always the same way let the next number begin before this one is
/// worked out; moving on by a count of characters would have to wait for it.
bool TakePrinted(const char*& p, float& value) {
  const uint64_t word = WordAt(p + 2) ^ 0x3030303030303030u;
  const bool printed = IsDigit(p[0]) && p[1] == '.' &&
                       (((word + 0x7676767676767676u) | word) & 0x0000808080808080u) == 0 &&
                       (p[8] | 0x20) == 'e' && (p[9] == '-' || p[9] == '+') && IsDigit(p[10]) &&
                       IsDigit(p[11]) && !IsDigit(p[12]);
  if (!printed) return false;
  const int written = 10 * (p[10] - '0') + (p[11] - '0');
  const uint64_t digits = uint64_t(p[0] - '0') * 1000000 + DigitsOf(word << 16);
  if (!ConvertSurely(digits, (p[9] == '-' ? -written : written) - 6, value)) return false;
  p += 12;
  return true;
}

/// Lexes a decimal number as scanf("%f") does in the "C" locale and moves `p` behind it. False, when there is
/// none: "nan", "inf", hexadecimal numbers and exponents without digits are none.
bool ReadNumber(const char*& p, float& value) {
  p = SkipSpaces(p);
  const bool negative = *p == '-';
  if (negative || *p == '+') ++p;
  if (TakePrinted(p, value)) {
    if (negative) value = -value;
    return true;
  }
  const char* const text = p;
  if (*p == '0' && (p[1] == 'x' || p[1] == 'X')) return false;

  uint64_t digits = 0;  // wraps when there are more than 19; not used then
  for (; IsDigit(*p); ++p) digits = digits * 10 + uint64_t(*p - '0');
  std::ptrdiff_t digit_count = p - text;
  int exponent = 0;
  const char* const point = p;
  if (*p == '.') {
    ++p;
    for (int taken = int(kWord); taken == int(kWord);) p += taken = TakeDigits(p, digits);
    const std::ptrdiff_t decimals = p - point - 1;
    digit_count += decimals;
    exponent = -int(decimals);
  }
  if (digit_count == 0) return false;
  int written_exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    const bool negative_exponent = *p == '-';
    if (negative_exponent || *p == '+') ++p;
    if (!IsDigit(*p)) return false;
    if (IsDigit(p[1]) && !IsDigit(p[2])) {  // two digits, as nearly always
      written_exponent = 10 * (p[0] - '0') + (p[1] - '0');
      p += 2;
    }
    for (; IsDigit(*p); ++p) written_exponent = std::min(written_exponent * 10 + (*p - '0'), 99999);
    if (negative_exponent) written_exponent = -written_exponent;
  }
  if (digit_count > 19 || !ConvertSurely(digits, exponent + written_exponent, value)) {
    const char* first = text;
    while (*first == '0' || *first == '.') ++first;
    const std::ptrdiff_t power = first < point ? point - first - 1 : point - first;
    value = ConvertAny(text, p, written_exponent + int(power));
  }
  if (negative) value = -value;
  return true;
}

/// Leaves `p` behind the third number.
bool ReadCorner(const char*& p, R_INT3& corner) {
  p = SkipSpaces(p);
  if (*p == '\n' || *p == '\0') return false;
  if (std::memcmp(p, "vertex", 6) == 0) p += 6;
  while (!IsSpace(*p) && *p != '\0') ++p;  // any word
  for (int k = 0; k < 3; ++k) {
    float value;
    if (!ReadNumber(p, value)) return false;
    std::memcpy(&corner[k], &value, sizeof value);
  }
  return true;
}

/// On failure `error` gets the line and where it is wrong.
bool ReadCorner(LineReader& lines, R_INT3& corner, std::optional<core::Error>& error) {
  const char* p = lines.Peek();
  if (p && ReadCorner(p, corner)) {
    while (*p == ' ' || *p == '\r') ++p;
    if (*p == '\n' && lines.TakeIfItEndsAt(p)) return true;
  }
  const char* const line = lines.Next();
  p = line;
  if (line && ReadCorner(p, corner)) return true;
  error.emplace();
  error->code = line ? core::ErrorCode::kBadNumber : core::ErrorCode::kCutShort;
  error->place.line = lines.line_number();
  error->text = "the file ends";
  if (line) {
    error->place.column = uint64_t(p - line) + 1;
    const char* end = line;
    while (!AtTextEnd(end)) ++end;
    error->text.assign(line, end);
  }
  return false;
}

}  // namespace

bool ReadAsciiFacets(core::ByteSource& source, TriangleBAG& bag, core::StlReport& report) {
  LineReader lines(source);
  const char* line = lines.Next();
  if (!line || !HasToken(line)) return false;
  line = lines.Next();
  if (!line || !FirstTokenIs(line, "facet")) return false;
  report.begins_as_text = true;
  R_TRIANGLE facet;
  while ((line = lines.Next()) != nullptr) {
    if (!FirstTokenIs(line, "outer")) continue;
    for (R_INT3& corner : facet.corner) {
      if (!ReadCorner(lines, corner, report.text_error)) {
        report.text_error->place.item = uint64_t(bag.num());
        return false;
      }
    }
    if (bag.num() == core::kMostStlFacets) {
      report.text_error = core::Error{core::ErrorCode::kTooLarge, {}, {}, 0};
      return false;
    }
    bag.append(facet);
  }
  return !source.failed();
}

// ---------------------------------------------------------------------------------------------------------
// Writing

namespace {

char* WriteByLibrary(char* out, float v) {
  if (std::isnan(v)) v = std::fabs(v);
  return std::to_chars(out, out + 32, double(v), std::chars_format::scientific, 6).ptr;
}

}  // namespace

char* WriteScientific(char* out, float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  if (bits >> 31) *out++ = '-';
  const int binary_exponent = int(bits >> 23 & 0xFF) - 127;
  uint32_t digits = 0;
  int exponent = 0;
  if (v != 0) {
    const double magnitude = std::fabs(double(v));
    // floor(binary_exponent * log10(2)), which is the decimal exponent or one less.
    exponent = binary_exponent * 1233 >> 12;
    double scaled = 0;
    for (bool settled = false; !settled;) {
      const int power = 6 - exponent;
      // Also infinities, NaN and subnormal numbers.
      if (power < -kLargestPower || power > kLargestPower)
        return WriteByLibrary(bits >> 31 ? out - 1 : out, v);
      // The power is exact: the product is off by at most half a unit in its last place, 2^-30.
      scaled = power < 0 ? magnitude / PowerOfTen(-power) : magnitude * PowerOfTen(power);
      settled = scaled < 1e7;
      if (!settled) ++exponent;
    }
    digits = uint32_t(scaled);
    const double rest = scaled - digits;
    // Too near to half-way to be sure: the exact value decides.
    if (std::fabs(rest - 0.5) <= 0x1p-28) return WriteByLibrary(bits >> 31 ? out - 1 : out, v);
    digits += rest > 0.5;
    if (digits == 10000000) {
      digits = 1000000;
      ++exponent;
    }
  }
  char text[8];
  for (int i = 7; i > 1; --i) {
    text[i] = static_cast<char>('0' + digits % 10);
    digits /= 10;
  }
  text[0] = static_cast<char>('0' + digits);
  text[1] = '.';
  std::memcpy(out, text, sizeof text);
  out += sizeof text;
  *out++ = 'e';
  *out++ = exponent < 0 ? '-' : '+';
  const int size = std::abs(exponent);
  *out++ = static_cast<char>('0' + size / 10);
  *out++ = static_cast<char>('0' + size % 10);
  return out;
}

}  // namespace trq::detail
