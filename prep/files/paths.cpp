#include "trqprep/paths.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <new>
#include <system_error>

#include "prep/files/system_files.h"

namespace trqprep {

bool Exists(const std::string& path) {
  system_files::Status status;
  return system_files::Ask(path, status) == 0;
}

bool IsFolder(const std::string& path) {
  system_files::Status status;
  return system_files::Ask(path, status) == 0 && status.kind == system_files::Kind::kFolder;
}

namespace {

constexpr bool kHasDrives = std::filesystem::path::preferred_separator == '\\';

bool BeginsWithDrive(const std::string& path) { return kHasDrives && path.size() > 1 && path[1] == ':'; }

}  // namespace

std::string NamedPath(std::string path) {
  if (kHasDrives) std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string RealPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  // Not another name for want of memory: one file would be taken for two.
  if (error == std::errc::not_enough_memory) throw std::bad_alloc();
  return error ? path : real.string();
}

bool IsAbsolute(const std::string& path) {
  return BeginsWithDrive(path) || (!path.empty() && path.front() == '/');
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return BeginsWithDrive(path) ? path.substr(0, 2) : ".";
  const bool is_root = slash == 0 || (slash == 2 && BeginsWithDrive(path));
  return path.substr(0, slash + (is_root ? 1 : 0));
}

std::string FileNameOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return BeginsWithDrive(path) ? path.substr(2) : path;
  return path.substr(slash + 1);
}

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
