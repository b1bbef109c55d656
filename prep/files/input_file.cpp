#include "trqprep/input_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "trqprep/atomic_output.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void FailToRead(const std::string& path) {
  FailInput(Code::kInputUnreadable, path, SystemText(errno),
            "check its permissions, and that its disk is there");
}

/// Copies standard input into a file without a name, which goes with the process, and returns its descriptor.
int KeepStandardInput() {
  const int file = MakeUnnamedFile().Release();
  std::vector<char> block(1 << 16);
  for (;;) {
    const ssize_t size = read(STDIN_FILENO, block.data(), block.size());
    if (size == 0) return file;
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) FailToRead("-");
    for (ssize_t at = 0; at < size;) {
      const ssize_t written = write(file, block.data() + at, size_t(size - at));
      if (written < 0 && errno != EINTR) FailToRead("-");
      at += std::max<ssize_t>(written, 0);
    }
  }
}

[[noreturn]] void FailSpecial(const std::string& path) {
  FailInput(Code::kInputSpecial, path, "is not a regular file",
            "copy it to a file first, or name - and let standard input come from it");
}

// Opens a pipe or a device at once, to be refused by what it is: the path may mean another file a moment
// later.
Descriptor Open(const std::string& path, Links links) {
  return Descriptor(open(ReadablePath(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
                                                         (links == Links::kRefuse ? O_NOFOLLOW : 0)));
}

/// Fills `head` from what was opened, or errno says could not be, and returns the file at its start; null for
/// a folder.
File TakeHead(Descriptor opened, const std::string& path, bool folder_allowed, bool links_allowed,
              FileHead& head) {
  File file(nullptr, std::fclose);
  head.path = path;
  if (!opened.open()) {
    if (errno == ELOOP && !links_allowed) {
      FailInput(Code::kInputLink, path, "is a symbolic link, which is not followed");
    }
    if (errno == ENOENT || errno == ENOTDIR) {
      FailInput(Code::kInputMissing, path, "there is no such file",
                "check the spelling; names are looked up from the current folder");
    }
    if (errno == ENXIO) FailSpecial(path);  // a socket
    FailToRead(path);
  }
  struct stat status {};
  if (fstat(opened.number(), &status) != 0) FailToRead(path);
  head.is_folder = S_ISDIR(status.st_mode);
  if (head.is_folder) {
    if (folder_allowed) return file;
    FailInput(Code::kInputFolder, path, "is a folder", "name the files inside it");
  }
  if (!S_ISREG(status.st_mode)) FailSpecial(path);
  head.size = uint64_t(status.st_size);
  file.reset(fdopen(opened.number(), "rb"));
  if (!file) FailToRead(path);
  opened.Release();
  head.head.resize(4096);
  head.head.resize(std::fread(head.head.data(), 1, head.head.size(), file.get()));
  if (std::ferror(file.get())) FailToRead(path);
  std::rewind(file.get());
  return file;
}

}  // namespace

std::string ReadablePath(const std::string& path) {
  if (path != "-") return path;
  static const int kept = KeepStandardInput();
  return fmt::format("/proc/self/fd/{}", kept);
}

FileHead ReadFileHead(const std::string& path, bool folder_allowed) {
  FileHead head;
  TakeHead(Open(path, Links::kFollow), path, folder_allowed, true, head);
  return head;
}

InputFile::InputFile(const std::string& path, Links links)
    : file_(TakeHead(Open(path, links), path, false, links == Links::kFollow, head_)),
      source_(std::make_unique<trq::core::FileSource>(file_.get())) {}

InputFile::InputFile(const std::string& path, trq::Bytes bytes)
    : file_(nullptr, std::fclose), source_(std::make_unique<trq::core::MemorySource>(bytes)) {
  head_.path = path;
  head_.size = bytes.size();
  head_.head.assign(reinterpret_cast<const char*>(bytes.data()), std::min<size_t>(bytes.size(), 4096));
}

InputFile::InputFile(const HeldFolder& folder, const std::string& name)
    : file_(TakeHead(folder.Open(name), folder.PathOf(name), false, false, head_)),
      source_(std::make_unique<trq::core::FileSource>(file_.get())) {}

size_t InputFile::Read(void* to, size_t size) {
  const uint64_t position = hash_ ? Position().value_or(hashed_) : 0;
  const size_t got = source_->Read(to, size);
  if (hash_ && position <= hashed_ && position + got > hashed_) {
    const auto seen = size_t(hashed_ - position);
    hash_->Add({static_cast<const char*>(to) + seen, got - seen});
    hashed_ += got - seen;
  }
  return got;
}

std::string InputFile::ReadRest() {
  std::string bytes(size_t(std::min<uint64_t>(Remaining().value_or(0), 1 << 26)), '\0');
  bytes.resize(Read(bytes.data(), bytes.size()));
  // The file may be larger, or have grown meanwhile.
  std::string block(1 << 16, '\0');
  while (const size_t got = Read(block.data(), block.size())) bytes.append(block, 0, got);
  if (failed()) FailToRead(head_.path);
  return bytes;
}

std::string InputFile::HashOfAll() {
  if (!Seek(hashed_)) FailToRead(head_.path);
  std::string block(1 << 16, '\0');
  while (Read(block.data(), block.size()) > 0) continue;
  if (failed()) FailInput(Code::kInputUnreadable, head_.path, "cannot be read to its end");
  return hash_->Hex();
}

uint32_t LittleWordAt(const std::string& bytes, size_t offset) {
  uint32_t word = 0;
  for (size_t k = 0; k < 4; ++k) word |= uint32_t(static_cast<unsigned char>(bytes[offset + k])) << 8 * k;
  return word;
}

std::string ReadWholeFile(const std::string& path, const char* what) {
  return ReadWholeFile(InputFile(path), what);
}

std::string ReadWholeFile(InputFile&& file, const char* what) {
  // The largest style that the application writes has some tens of kilobytes.
  constexpr uint64_t kLargest = 256u << 20;
  if (file.head().size > kLargest) {
    FailInput(Code::kInputUnknown, file.head().path, std::string("is too large for ") + what,
              "check that it is the file you mean");
  }
  return file.ReadRest();
}

}  // namespace trqprep
