#include <nettle/sha2.h>

#include <cstdint>
#include <new>

#include "trqprep/sha256.h"

namespace trqprep {
namespace {

static_assert(sizeof(sha256_ctx) <= sizeof(Sha256Digest) && alignof(sha256_ctx) <= alignof(Sha256Digest),
              "the digest has room for the state");

sha256_ctx* ContextIn(std::array<unsigned char, 128>& state) {
  return std::launder(reinterpret_cast<sha256_ctx*>(state.data()));
}

}  // namespace

Sha256Digest::Sha256Digest() { sha256_init(new (state_.data()) sha256_ctx); }

Sha256Digest::~Sha256Digest() = default;

void Sha256Digest::Add(std::string_view bytes) {
  sha256_update(ContextIn(state_), bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
}

std::string Sha256Digest::Sum() {
  std::string sum(SHA256_DIGEST_SIZE, '\0');
  sha256_digest(ContextIn(state_), sum.size(), reinterpret_cast<uint8_t*>(sum.data()));
  return sum;
}

}  // namespace trqprep
