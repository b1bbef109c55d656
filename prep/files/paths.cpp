#include "trqprep/paths.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace trqprep {

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::string NamedPath(std::string path) {
  if (std::filesystem::path::preferred_separator == '\\') std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

bool IsAbsolute(const std::string& path) { return std::filesystem::path(path).has_root_path(); }

std::string PortableName(std::string name, size_t longest) {
  for (char& c : name) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || std::strchr("<>:\"/\\|?*", c)) c = '_';
  }
  constexpr const char* kDevices[] = {"con", "prn", "aux", "nul"};
  const std::string device = Lower(name.substr(0, name.find('.')));
  const bool numbered = device.size() == 4 && std::isdigit(static_cast<unsigned char>(device[3])) &&
                        (device.rfind("com", 0) == 0 || device.rfind("lpt", 0) == 0);
  if (numbered || std::find(std::begin(kDevices), std::end(kDevices), device) != std::end(kDevices)) {
    name.insert(device.size(), "_");
  }
  if (name.size() > longest) {
    while (longest > 0 && (static_cast<unsigned char>(name[longest]) & 0xC0) == 0x80) --longest;
    name.resize(longest);
  }
  for (size_t end = name.size(); end-- > 0 && (name[end] == '.' || name[end] == ' ');) name[end] = '_';
  return name;
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
