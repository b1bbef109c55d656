#include "trqprep/held_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace trqprep {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

int Descriptor::Close() {
  const int before = errno;
  const int error = number_ >= 0 && close(number_) != 0 ? errno : 0;
  number_ = -1;
  errno = before;
  return error;
}

int Descriptor::Release() { return std::exchange(number_, -1); }

bool NamesFile(int folder, const char* name, int file) {
  struct stat named {
  }, itself{};
  return fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && fstat(file, &itself) == 0 &&
         named.st_dev == itself.st_dev && named.st_ino == itself.st_ino;
}

HeldFolder::HeldFolder(std::string path)
    : path_(std::move(path)), folder_(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

std::string HeldFolder::PathOf(const std::string& name) const {
  return path_ + (path_.empty() || path_.back() == '/' ? "" : "/") + name;
}

Descriptor OpenBelow(int folder, const std::string& name, int how) {
  Descriptor above;
  size_t begin = 0;
  for (size_t slash; (slash = name.find('/', begin)) != std::string::npos; begin = slash + 1) {
    const std::string piece = name.substr(begin, slash - begin);
    above = Descriptor(openat(folder, piece.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!above.open()) return Descriptor();
    folder = above.number();
  }
  return Descriptor(
      openat(folder, name.c_str() + begin, how | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
}

Descriptor HeldFolder::Open(const std::string& name) const { return OpenBelow(descriptor(), name, O_RDONLY); }

bool HeldFolder::HasRegularFile(const std::string& name) const {
  const Descriptor file = Open(name);
  struct stat status {};
  return file.open() && fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace trqprep
