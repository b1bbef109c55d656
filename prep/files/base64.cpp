#include "trqprep/base64.h"

#include <nettle/base64.h>
#include <nettle/sha2.h>

#include <cstdint>

namespace trqprep {

std::string Base64(std::string_view bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  return text;
}

std::string Sha256InBase64(std::string_view bytes) {
  sha256_ctx state;
  sha256_init(&state);
  sha256_update(&state, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&state, sizeof digest, digest);
  return Base64(std::string_view(reinterpret_cast<const char*>(digest), sizeof digest));
}

}  // namespace trqprep
