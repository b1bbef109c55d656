#include "trqprep/sha256.h"

#include <nettle/sha2.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "trqprep/message.h"

namespace trqprep {
namespace {

class Digest {
 public:
  Digest() { sha256_init(&state_); }
  void Add(const char* bytes, std::size_t count) {
    sha256_update(&state_, count, reinterpret_cast<const std::uint8_t*>(bytes));
  }
  std::string Hex() {
    std::uint8_t digest[SHA256_DIGEST_SIZE];
    sha256_digest(&state_, sizeof digest, digest);
    return ToHex(std::string_view(reinterpret_cast<const char*>(digest), sizeof digest));
  }

 private:
  sha256_ctx state_;
};

}  // namespace

std::string Sha256(std::string_view bytes) {
  Digest digest;
  digest.Add(bytes.data(), bytes.size());
  return digest.Hex();
}

std::string Sha256OfFile(const std::string& path) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) Fail(ExitCode::kInput, Message("INPUT-UNREADABLE", path, SystemText(errno)));
  Digest digest;
  std::vector<char> block(1 << 16);
  while (const std::size_t n = std::fread(block.data(), 1, block.size(), file.get()))
    digest.Add(block.data(), n);
  if (std::ferror(file.get()))
    Fail(ExitCode::kInput, Message("INPUT-UNREADABLE", path, "cannot be read to its end"));
  return digest.Hex();
}

}  // namespace trqprep
