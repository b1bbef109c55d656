#include "trqprep/held_folder.h"

#include <cerrno>
#include <utility>

#include "prep/files/system_files.h"

namespace trqprep {

using system_files::Kind;
using system_files::Status;
using system_files::Use;

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

int Descriptor::Close() {
  const int before = errno;
  const int error = number_ >= 0 ? system_files::Close(number_) : 0;
  number_ = -1;
  errno = before;
  return error;
}

int Descriptor::Release() { return std::exchange(number_, -1); }

bool NamesFile(int folder, const char* name, int file) {
  Status named, itself;
  return system_files::AskIn(folder, name, named) == 0 && system_files::Ask(file, itself) == 0 &&
         named.Means(itself);
}

HeldFolder::HeldFolder(std::string path)
    : path_(std::move(path)), folder_(system_files::Open(path_, Use::kFolder)) {}

std::string HeldFolder::PathOf(const std::string& name) const {
  return path_ + (path_.empty() || path_.back() == '/' ? "" : "/") + name;
}

Descriptor OpenBelow(int folder, const std::string& name, Opening how) {
  Descriptor above;
  size_t begin = 0;
  for (size_t slash; (slash = name.find('/', begin)) != std::string::npos; begin = slash + 1) {
    const std::string piece = name.substr(begin, slash - begin);
    above = system_files::OpenIn(folder, piece.c_str(), Use::kFolder);
    if (!above.open()) return Descriptor();
    folder = above.number();
  }
  const Use use = how == Opening::kRead ? Use::kRead : how == Opening::kNew ? Use::kNew : Use::kFolder;
  return system_files::OpenIn(folder, name.c_str() + begin, use);
}

Descriptor HeldFolder::Open(const std::string& name) const {
  return OpenBelow(descriptor(), name, Opening::kRead);
}

bool HeldFolder::HasRegularFile(const std::string& name) const {
  const Descriptor file = Open(name);
  Status status;
  return file.open() && system_files::Ask(file.number(), status) == 0 && status.kind == Kind::kFile;
}

}  // namespace trqprep
