/// Builds the bytes that a file should have, without the library.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace test_support {

enum class ByteOrder { kLittle, kBig };

/// Appends numbers in a byte order of choice; every call returns the builder.
class ByteBuilder {
 public:
  explicit ByteBuilder(ByteOrder order = ByteOrder::kLittle) : order_(order) {}

  ByteBuilder& U8(unsigned v) { return Number(v, 1); }
  ByteBuilder& U16(unsigned v) { return Number(v, 2); }
  ByteBuilder& U32(uint32_t v) { return Number(v, 4); }
  ByteBuilder& I32(int32_t v) { return Number(static_cast<uint32_t>(v), 4); }
  ByteBuilder& U64(uint64_t v) { return Number(v, 8); }
  ByteBuilder& F32(float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return U32(bits);
  }
  ByteBuilder& F64(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return U64(bits);
  }
  ByteBuilder& Zeros(std::size_t count) {
    bytes_.append(count, '\0');
    return *this;
  }
  /// The bytes as they are, whatever the order.
  ByteBuilder& Raw(std::string_view bytes) {
    bytes_.append(bytes);
    return *this;
  }
  /// The text in a field of `width` bytes, cut or filled up with zeros.
  ByteBuilder& Text(std::string_view text, std::size_t width) {
    text = text.substr(0, width);
    return Raw(text).Zeros(width - text.size());
  }

  const std::string& bytes() const { return bytes_; }

 private:
  ByteBuilder& Number(uint64_t v, int size) {
    for (int i = 0; i < size; ++i) {
      const int shift = 8 * (order_ == ByteOrder::kLittle ? i : size - 1 - i);
      bytes_.push_back(static_cast<char>(v >> shift & 0xFF));
    }
    return *this;
  }

  ByteOrder order_;
  std::string bytes_;
};

/// The register of CRC-32 (reflected, 0xEDB88320) behind the bytes, bit by bit, without final inversion.
inline uint32_t CrcRegister(std::string_view bytes) {
  uint32_t sum = 0xFFFFFFFFu;
  for (const char c : bytes) {
    sum ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0u);
  }
  return sum;
}
/// Its four bytes in files.
inline std::string CrcBytes(std::string_view bytes) { return ByteBuilder().U32(CrcRegister(bytes)).bytes(); }

/// "01 02 ff", for messages and for comparing with the documents.
inline std::string Hex(std::string_view bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const unsigned value = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
  }
  return text;
}

/// The number of four bytes that begins at a place of a file's bytes, lowest first.
inline uint32_t WordAt(std::string_view bytes, std::size_t at) {
  uint32_t word = 0;
  for (std::size_t k = 0; k < 4; ++k) word |= uint32_t{static_cast<unsigned char>(bytes.at(at + k))} << 8 * k;
  return word;
}

inline float FloatAt(std::string_view bytes, std::size_t at) {
  const uint32_t bits = WordAt(bytes, at);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

/// Puts a float or an integer of four bytes there.
template <class T>
void PutWord(std::string& bytes, std::size_t at, T v) {
  static_assert(sizeof v == 4, "a word");
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bytes.replace(at, 4, ByteBuilder().U32(bits).bytes());
}

}  // namespace test_support
