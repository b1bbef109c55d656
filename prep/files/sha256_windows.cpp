#include <windows.h>
// The order of the system's headers counts.
#include <bcrypt.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "trqprep/sha256.h"

namespace trqprep {
namespace {

BCRYPT_HASH_HANDLE HandleIn(const std::array<unsigned char, 128>& state) {
  BCRYPT_HASH_HANDLE handle = nullptr;
  std::memcpy(&handle, state.data(), sizeof handle);
  return handle;
}

// Nothing of this fails but for want of memory.
void Require(NTSTATUS status) {
  if (status < 0) throw std::bad_alloc();
}

BCRYPT_ALG_HANDLE OpenAlgorithm() {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  Require(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
  return algorithm;
}

BCRYPT_HASH_HANDLE Begin() {
  static const BCRYPT_ALG_HANDLE algorithm = OpenAlgorithm();
  BCRYPT_HASH_HANDLE handle = nullptr;
  Require(BCryptCreateHash(algorithm, &handle, nullptr, 0, nullptr, 0, 0));
  return handle;
}

}  // namespace

Sha256Digest::Sha256Digest() : state_() {
  const BCRYPT_HASH_HANDLE handle = Begin();
  std::memcpy(state_.data(), &handle, sizeof handle);
}

Sha256Digest::~Sha256Digest() {
  if (const BCRYPT_HASH_HANDLE handle = HandleIn(state_)) BCryptDestroyHash(handle);
}

void Sha256Digest::Add(std::string_view bytes) {
  constexpr size_t kMost = 1 << 30;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kMost))) {
    const auto size = ULONG(std::min(bytes.size(), kMost));
    Require(
        BCryptHashData(HandleIn(state_), reinterpret_cast<UCHAR*>(const_cast<char*>(bytes.data())), size, 0));
  }
}

std::string Sha256Digest::Sum() {
  std::string sum(32, '\0');
  const BCRYPT_HASH_HANDLE finished = HandleIn(state_);
  Require(BCryptFinishHash(finished, reinterpret_cast<UCHAR*>(sum.data()), ULONG(sum.size()), 0));
  state_.fill(0);
  BCryptDestroyHash(finished);
  const BCRYPT_HASH_HANDLE anew = Begin();
  std::memcpy(state_.data(), &anew, sizeof anew);
  return sum;
}

}  // namespace trqprep
