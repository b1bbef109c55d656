/// SHA-256 of bytes, by a library of the system.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace trqprep {

/// As 64 hexadecimal digits.
std::string Sha256(std::string_view bytes);

/// Of bytes that come in pieces.
class Sha256Digest {
 public:
  Sha256Digest();
  ~Sha256Digest();  // NOLINT(performance-trivially-destructible): on Windows there is something to close
  Sha256Digest(const Sha256Digest&) = delete;
  Sha256Digest& operator=(const Sha256Digest&) = delete;
  void Add(std::string_view bytes);
  /// Of all that was added, as 32 bytes; the digest starts anew.
  std::string Sum();
  /// The same as 64 hexadecimal digits.
  std::string Hex();

 private:
  alignas(8) std::array<unsigned char, 128> state_;  // the system's own
};

}  // namespace trqprep
