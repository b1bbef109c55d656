#include "trqprep/base64.h"

#include <cstddef>

#include "trqprep/sha256.h"

namespace trqprep {

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    // Three bytes are four digits of six bits.
    const auto byte = [&](std::size_t k) {
      return k < bytes.size() ? unsigned(static_cast<unsigned char>(bytes[k])) : 0u;
    };
    const unsigned bits = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    text += kDigits[bits >> 18];
    text += kDigits[bits >> 12 & 63];
    text += i + 1 < bytes.size() ? kDigits[bits >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? kDigits[bits & 63] : '=';
  }
  return text;
}

std::string Sha256InBase64(std::string_view bytes) {
  Sha256Digest digest;
  digest.Add(bytes);
  return Base64(digest.Sum());
}

}  // namespace trqprep
