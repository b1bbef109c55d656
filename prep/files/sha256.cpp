#include "trqprep/sha256.h"

#include "trqprep/message.h"

namespace trqprep {

std::string Sha256Digest::Hex() { return ToHex(Sum()); }

std::string Sha256(std::string_view bytes) {
  Sha256Digest digest;
  digest.Add(bytes);
  return digest.Hex();
}

}  // namespace trqprep
