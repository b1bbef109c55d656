/// Base64 of bytes.
#pragma once

#include <string>
#include <string_view>

namespace trqprep {

/// With padding, in one line.
std::string Base64(std::string_view bytes);
/// Of the 32 bytes of the SHA-256 sum of `bytes`.
std::string Sha256InBase64(std::string_view bytes);

}  // namespace trqprep
