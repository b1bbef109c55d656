#include "sha256.h"

#include <openssl/evp.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <vector>

#include "message.h"

namespace trqprep {
namespace {

class Digest {
 public:
  Digest() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    if (!context_ || EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) != 1) throw std::bad_alloc();
  }
  void Add(const void* bytes, std::size_t count) { EVP_DigestUpdate(context_.get(), bytes, count); }
  std::string Hex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_DigestFinal_ex(context_.get(), digest, &length);
    return ToHex(std::string_view(reinterpret_cast<const char*>(digest), length));
  }

 private:
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
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
