#include "trqprep/paths.h"

#include <filesystem>
#include <system_error>

namespace trqprep {

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

}  // namespace trqprep
