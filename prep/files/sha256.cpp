#include "trqprep/sha256.h"

#include <nettle/sha2.h>

#include <cstdint>
#include <new>

#include "trqprep/message.h"

namespace trqprep {
namespace {

static_assert(sizeof(sha256_ctx) <= sizeof(Sha256Digest) && alignof(sha256_ctx) <= alignof(Sha256Digest),
              "the digest has room for the state");

sha256_ctx* ContextIn(std::array<unsigned char, 128>& state) {
  return std::launder(reinterpret_cast<sha256_ctx*>(state.data()));
}

}  // namespace

Sha256Digest::Sha256Digest() { sha256_init(new (state_.data()) sha256_ctx); }

void Sha256Digest::Add(std::string_view bytes) {
  sha256_update(ContextIn(state_), bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
}

std::string Sha256Digest::Hex() {
  uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(ContextIn(state_), sizeof digest, digest);
  return ToHex(std::string_view(reinterpret_cast<const char*>(digest), sizeof digest));
}

std::string Sha256(std::string_view bytes) {
  Sha256Digest digest;
  digest.Add(bytes);
  return digest.Hex();
}

}  // namespace trqprep
