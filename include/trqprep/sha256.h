/// SHA-256 of bytes, as 64 hexadecimal digits.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace trqprep {

std::string Sha256(std::string_view bytes);

/// Of bytes that come in pieces.
class Sha256Digest {
 public:
  Sha256Digest();
  void Add(std::string_view bytes);
  /// Of all that was added; the digest starts anew.
  std::string Hex();

 private:
  alignas(8) std::array<unsigned char, 128> state_;  // a sha256_ctx
};

}  // namespace trqprep
