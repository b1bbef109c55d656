#include "trqprep/paths.h"

#include <cctype>
#include <filesystem>
#include <system_error>

namespace trqprep {

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string LowerExtension(const std::string& path) {
  const size_t dot = path.find_last_of("./");
  return dot == std::string::npos || path[dot] == '/' ? std::string() : Lower(path.substr(dot + 1));
}

}  // namespace trqprep
