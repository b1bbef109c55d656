/// SHA-256 of bytes and files, as 64 hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

namespace trqprep {

std::string Sha256(std::string_view bytes);
/// Of a whole file; a file that cannot be read ends the command (exit 3).
std::string Sha256OfFile(const std::string& path);

}  // namespace trqprep
