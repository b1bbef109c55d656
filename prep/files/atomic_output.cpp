#include "trqprep/atomic_output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/sha256.h"

namespace trqprep {
namespace {

mode_t process_umask = 022;
int standard_output = STDOUT_FILENO;

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int number() const { return number_; }
  /// Closes now; 0 or the errno, so that a failure that shows only on closing is not lost.
  int Close() {
    const int result = close(number_);
    number_ = -1;
    return result == 0 ? 0 : errno;
  }

 private:
  int number_;
};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The path that the link, or chain of links, names; it need not exist.
std::string FollowLinks(std::string path, const std::string& given) {
  for (int links = 0; links < 40; ++links) {
    if (NamesStandardOutput(path)) return path;
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return path;
    char text[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), text, sizeof text);
    if (length <= 0) return path;
    const std::string link(text, static_cast<std::size_t>(length));
    path = link[0] == '/' ? link : FolderOf(path) + "/" + link;
  }
  Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, given, SystemText(ELOOP)));
}

// Makes `.trqprep-XXXXXX` in the folder.
TemporaryPath MakeTemporary(const std::string& folder, bool (*make)(char* name), int* error) {
  TemporaryPath made(folder + "/.trqprep-XXXXXX", make);
  *error = made.path().empty() ? errno : 0;
  return made;
}

bool MakeFile(char* name) {
  const int descriptor = mkstemp(name);
  if (descriptor < 0) return false;
  close(descriptor);
  return true;
}

bool MakeFolderOf(char* name) { return mkdtemp(name) != nullptr; }

int Flush(const std::string& path) {
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (descriptor.number() < 0) return errno;
  // Some file systems cannot flush a folder; that is no failure of the file.
  if (fsync(descriptor.number()) != 0 && errno != EINVAL && errno != EROFS) return errno;
  return 0;
}

int WriteBytes(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(descriptor, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return 0;
}

// Writes to a descriptor, counting and hashing what passes.
class HashingSink : public trq::core::ByteSink {
 public:
  explicit HashingSink(int descriptor) : descriptor_(descriptor) {}
  bool Write(const void* bytes, std::size_t size) override {
    const std::string_view piece(static_cast<const char*>(bytes), size);
    if (error_ == 0) error_ = WriteBytes(descriptor_, piece);
    digest_.Add(piece);
    size_ += size;
    return error_ == 0;
  }
  bool failed() const override { return error_ != 0; }
  int error() const { return error_; }
  std::uint64_t size() const { return size_; }
  std::string Sha256() { return digest_.Hex(); }

 private:
  int descriptor_;
  int error_ = 0;
  std::uint64_t size_ = 0;
  Sha256Digest digest_;
};

int WriteWholeFile(const std::string& path, std::string_view bytes) {
  Descriptor descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (descriptor.number() < 0) return errno;
  if (const int error = WriteBytes(descriptor.number(), bytes)) return error;
  return descriptor.Close();
}

bool HoldsBytes(const std::string& path, std::string_view bytes) {
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (descriptor.number() < 0) return false;
  std::vector<char> block(1 << 16);
  while (true) {
    const ssize_t n = read(descriptor.number(), block.data(), block.size());
    if (n < 0) return false;
    if (n == 0) return bytes.empty();
    const std::string_view piece(block.data(), static_cast<std::size_t>(n));
    if (bytes.substr(0, piece.size()) != piece) return false;
    bytes.remove_prefix(piece.size());
  }
}

// Renames; without `replace` an existing target, even one made a moment ago, is refused with EEXIST.
int Rename(const std::string& from, const std::string& to, bool replace) {
  if (replace) return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // This file system has no such rename.
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) return EEXIST;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

std::string PrivateParent() {
  const char* chosen = std::getenv("TMPDIR");
  const std::string parent = chosen && *chosen ? chosen : P_tmpdir;
  // Whole, because the library writes some files into the current folder, which is changed for it.
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(parent, error);
  return error ? parent : whole.string();
}

[[noreturn]] void FailExists(const std::string& given) {
  Fail(ExitCode::kOutput, Message(Code::kOutputExists, given, "exists already")
                              .Hint("--force replaces it, or choose another name with -o"));
}

[[noreturn]] void FailCreate(const std::string& given, const std::string& folder, int error) {
  Message message(Code::kOutputUnwritable, given,
                  fmt::format("cannot be written in {}: {}", folder, SystemText(error)));
  if (error == ENOENT) message.Hint(fmt::format("make the folder first: mkdir -p '{}'", folder));
  if (error == EACCES || error == EROFS) message.Hint("choose a folder that may be written");
  Fail(ExitCode::kOutput, message);
}

}  // namespace

void SetStandardOutput(int descriptor) { standard_output = descriptor; }

bool NamesStandardOutput(const std::string& path) {
  return path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

void RememberUmask() {
  process_umask = umask(0);
  umask(process_umask);
}

// ---------------------------------------------------------------------------------------------------------

OutputFile::OutputFile(const std::string& path, bool replace) : given_(path), replace_(replace) {
  if (path.empty()) Fail(ExitCode::kUsage, Message(Code::kUsage, "", "the name of an output is empty"));
  target_ = FollowLinks(path, path);
  struct stat status {};
  mode_ = 0666 & ~process_umask;
  if (NamesStandardOutput(target_)) {
    special_ = true;
  } else if (stat(target_.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) {
      Fail(ExitCode::kOutput,
           Message(Code::kOutputFolder, given_, "is a folder").Hint("name a file inside it"));
    }
    if (S_ISREG(status.st_mode)) {
      if (!replace_) FailExists(given_);
      mode_ = status.st_mode & 07777;
    } else {
      special_ = true;
    }
  } else if (errno != ENOENT) {
    FailTo("cannot be written", errno);
  } else if (target_.back() == '/') {
    Fail(ExitCode::kOutput, Message(Code::kOutputFolder, given_, "names a folder").Hint("name a file"));
  }
  int error = 0;
  // A device or pipe is fed from a private file, which is not to stand in a folder such as /dev.
  const std::string folder = special_ ? PrivateParent() : FolderOf(target_);
  temporary_ = MakeTemporary(folder, MakeFile, &error);
  if (error != 0) FailCreate(given_, folder, error);
}

void OutputFile::FailTo(const char* what, int error) const {
  Fail(ExitCode::kOutput,
       Message(Code::kOutputUnwritable, given_, fmt::format("{}: {}", what, SystemText(error))));
}

void OutputFile::Write(std::string_view bytes) {
  if (const int error = WriteWholeFile(path(), bytes)) FailTo("cannot be written", error);
  Expect(bytes.size());
}

void OutputFile::CopyToSpecial() {
  const Descriptor from(open(path().c_str(), O_RDONLY | O_CLOEXEC));
  if (from.number() < 0) FailTo("cannot be written", errno);
  const bool is_stdout = NamesStandardOutput(target_);
  Descriptor to(is_stdout ? dup(standard_output) : open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (to.number() < 0) FailTo("cannot be written", errno);
  std::vector<char> block(1 << 16);
  while (true) {
    const ssize_t n = read(from.number(), block.data(), block.size());
    if (n < 0) FailTo("cannot be written", errno);
    if (n == 0) break;
    const int error = WriteBytes(to.number(), std::string_view(block.data(), static_cast<std::size_t>(n)));
    if (error != 0) FailTo("cannot be written", error);
  }
  if (const int error = to.Close()) FailTo("cannot be written", error);
}

void OutputFile::Commit() {
  struct stat status {};
  if (stat(path().c_str(), &status) != 0) FailTo("cannot be written", errno);
  if (expected_size_ >= 0 && status.st_size != expected_size_) {
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, given_,
                                    fmt::format("could not be written completely ({} of {} bytes)",
                                                status.st_size, expected_size_))
                                .Hint("is the disk full, or a size limit in force?"));
  }
  if (special_) {
    CopyToSpecial();
    return;
  }
  // Flushed before it gets its mode, which may forbid reading.
  if (const int error = Flush(path())) FailTo("cannot be flushed to disk", error);
  if (chmod(path().c_str(), mode_) != 0) FailTo("cannot be given its mode", errno);
  const auto hold = HoldTemporaryPaths();
  const int error = Rename(path(), target_, replace_);
  if (error == EEXIST) FailExists(given_);
  if (error != 0) FailTo("cannot be given its name", error);
  temporary_.Release();
  Flush(FolderOf(target_));
}

void WriteOutputFile(const std::string& path, std::string_view bytes, bool replace) {
  OutputFile output(path, replace);
  output.Write(bytes);
  if (!HoldsBytes(output.path(), bytes)) {
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, path, "does not read back as it was written"));
  }
  output.Commit();
}

// ---------------------------------------------------------------------------------------------------------

OutputFolder::OutputFolder(const std::string& path, bool replace) : given_(path), replace_(replace) {
  if (path.empty()) Fail(ExitCode::kUsage, Message(Code::kUsage, "", "the name of an output is empty"));
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  target_ = FollowLinks(trimmed, path);
  while (target_.size() > 1 && target_.back() == '/') target_.pop_back();
  mode_ = 0777 & ~process_umask;
  struct stat status {};
  if (stat(target_.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) {
      Fail(ExitCode::kOutput, Message(Code::kOutputExists, given_, "exists and is no folder")
                                  .Hint("choose another name with -o"));
    }
    if (!replace_) FailExists(given_);
    struct stat here {};
    if (stat(".", &here) == 0 && here.st_dev == status.st_dev && here.st_ino == status.st_ino) {
      Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, given_, "is the current folder")
                                  .Hint("run from outside it, or choose another name with -o"));
    }
    mode_ = status.st_mode & 07777;
  } else if (errno != ENOENT) {
    FailTo("cannot be written", errno);
  }
  int error = 0;
  temporary_ = MakeTemporary(FolderOf(target_), MakeFolderOf, &error);
  if (error != 0) FailCreate(given_, FolderOf(target_), error);
}

void OutputFolder::FailTo(const char* what, int error) const {
  Fail(ExitCode::kOutput,
       Message(Code::kOutputUnwritable, given_, fmt::format("{}: {}", what, SystemText(error))));
}

void OutputFolder::MakeFolder(const std::string& name) {
  if (mkdir(PathOf(name).c_str(), 0777) != 0) FailTo("cannot be written", errno);
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name, std::string_view bytes) {
  if (const int error = WriteWholeFile(PathOf(name), bytes)) FailTo("cannot be written", error);
  if (!HoldsBytes(PathOf(name), bytes)) {
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, given_, "does not read back as it was written"));
  }
  return {bytes.size(), Sha256(bytes)};
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name,
                                              const std::function<void(trq::core::ByteSink&)>& write) {
  Descriptor descriptor(open(PathOf(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (descriptor.number() < 0) FailTo("cannot be written", errno);
  HashingSink sink(descriptor.number());
  write(sink);
  int error = sink.error();
  struct stat status {};
  if (error == 0 && fstat(descriptor.number(), &status) != 0) error = errno;
  if (error == 0) error = descriptor.Close();
  if (error != 0) FailTo("cannot be written", error);
  if (static_cast<std::uint64_t>(status.st_size) != sink.size()) {
    Fail(ExitCode::kOutput, Message(Code::kOutputShort, given_, "could not be written completely")
                                .Hint("is the disk full, or a size limit in force?"));
  }
  return {sink.size(), sink.Sha256()};
}

void OutputFolder::Commit() {
  std::error_code walk_error;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path(), walk_error)) {
    if (const int error = Flush(entry.path().string())) FailTo("cannot be flushed to disk", error);
  }
  if (walk_error) FailTo("cannot be flushed to disk", walk_error.value());
  if (chmod(path().c_str(), mode_) != 0) FailTo("cannot be given its mode", errno);
  if (const int error = Flush(path())) FailTo("cannot be flushed to disk", error);
  const auto hold = HoldTemporaryPaths();
  struct stat status {};
  if (replace_ && lstat(target_.c_str(), &status) == 0) {
    if (renameat2(AT_FDCWD, path().c_str(), AT_FDCWD, target_.c_str(), RENAME_EXCHANGE) != 0) {
      FailTo("cannot be exchanged with the finished folder", errno);
    }
    Flush(FolderOf(target_));
    temporary_.Remove();  // the old folder stands under the temporary name now
    return;
  }
  const int error = Rename(path(), target_, false);
  if (error == EEXIST) FailExists(given_);
  if (error != 0) FailTo("cannot be given its name", error);
  temporary_.Release();
  Flush(FolderOf(target_));
}

// ---------------------------------------------------------------------------------------------------------

TemporaryFolder::TemporaryFolder() {
  const std::string parent = PrivateParent();
  int error = 0;
  temporary_ = MakeTemporary(parent, MakeFolderOf, &error);
  if (error != 0) {
    Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, parent,
                                    fmt::format("no temporary folder can be made: {}", SystemText(error)))
                                .Hint("set TMPDIR to a folder that may be written"));
  }
}

}  // namespace trqprep
