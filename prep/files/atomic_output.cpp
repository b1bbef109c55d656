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
#include <utility>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/sha256.h"

namespace trqprep {
namespace {

mode_t process_umask = 022;
int standard_output = STDOUT_FILENO;
bool standard_output_reserved = false;
bool standard_output_holds_output = false;

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const std::string& path, int how) : Descriptor(open(path.c_str(), how | O_CLOEXEC, 0666)) {}
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

constexpr const char* kTemporaryName = "/.trqprep-XXXXXX";
constexpr const char* kDiskFull = "is the disk full, or a size limit in force?";
constexpr int kNewContent = O_WRONLY | O_CREAT | O_TRUNC;

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string WithoutLastSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The path that the link, or chain of links, names; it need not exist.
std::string FollowLinks(std::string path, const std::string& given) {
  for (int links = 0; links < 40; ++links) {
    if (NamesStandardOutput(path)) return path;
    std::error_code error;
    const std::string link = std::filesystem::read_symlink(path, error).string();
    if (link.empty()) return path;
    path = link[0] == '/' ? link : FolderOf(path) + "/" + link;
  }
  FailOutput(Code::kOutputUnwritable, given, SystemText(ELOOP));
}

bool MakeFile(char* name) {
  const int descriptor = mkstemp(name);
  if (descriptor < 0) return false;
  close(descriptor);
  return true;
}

bool MakeFolderOf(char* name) { return mkdtemp(name) != nullptr; }

// The functions below return 0, or the errno of what failed.

int Flush(const std::string& path) {
  const Descriptor descriptor(path, O_RDONLY);
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
    bytes.remove_prefix(size_t(n));
  }
  return 0;
}

// Hands the file over block by block; an errno that `take` returns ends that.
int ReadBlocks(const std::string& path, const std::function<int(std::string_view)>& take) {
  const Descriptor descriptor(path, O_RDONLY);
  std::vector<char> block(1 << 16);
  int error = 0;
  while (error == 0) {
    const ssize_t n = read(descriptor.number(), block.data(), block.size());
    if (n < 0) return errno;
    if (n == 0) break;
    error = take({block.data(), size_t(n)});
  }
  return error;
}

// Writes to a descriptor, counting and hashing what passes.
class HashingSink : public trq::core::ByteSink {
 public:
  explicit HashingSink(int descriptor) : descriptor_(descriptor) {}
  bool Write(const void* bytes, size_t size) override {
    const std::string_view piece(static_cast<const char*>(bytes), size);
    if (error_ == 0) error_ = WriteBytes(descriptor_, piece);
    digest_.Add(piece);
    size_ += size;
    return error_ == 0;
  }
  bool failed() const override { return error_ != 0; }
  int error() const { return error_; }
  uint64_t size() const { return size_; }
  std::string Sha256() { return digest_.Hex(); }

 private:
  int descriptor_;
  int error_ = 0;
  uint64_t size_ = 0;
  Sha256Digest digest_;
};

void RequireBytes(const std::string& path, std::string_view bytes, const std::string& given) {
  const int error = ReadBlocks(path, [&](std::string_view piece) {
    if (bytes.substr(0, piece.size()) != piece) return EIO;
    bytes.remove_prefix(piece.size());
    return 0;
  });
  if (error != 0 || !bytes.empty()) {
    FailOutput(Code::kOutputShort, given, "does not read back as it was written");
  }
}

// Renames; without `replace` an existing target, even one made a moment ago, is refused with EEXIST.
int Rename(const std::string& from, const std::string& to, bool replace) {
  if (!replace) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // This file system has no such rename.
    struct stat status {};
    if (lstat(to.c_str(), &status) == 0) return EEXIST;
  }
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

}  // namespace

void SetStandardOutput(int descriptor) { standard_output = descriptor; }

bool NamesStandardOutput(const std::string& path) {
  return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

void ReserveStandardOutput() { standard_output_reserved = true; }

void RequireUnreserved(const std::string& path) {
  if (!standard_output_reserved || !NamesStandardOutput(path)) return;
  FailUsage(path, "names standard output, which the document of --json takes",
            "name a file, or leave --json away");
}

bool StandardOutputHoldsOutput() { return standard_output_holds_output; }

void RememberUmask() {
  process_umask = umask(0);
  umask(process_umask);
}

// ---------------------------------------------------------------------------------------------------------

Output::Output(const std::string& path, bool replace, unsigned mode)
    : given_(path), replace_(replace), mode_(mode & ~process_umask) {
  if (path.empty()) FailUsage("", "the name of an output is empty", "name a file or folder behind -o");
}

void Output::Require(int error, const char* failure) const {
  if (error != 0)
    FailOutput(Code::kOutputUnwritable, given_, fmt::format("{}: {}", failure, SystemText(error)));
}

void Output::FailExists() const {
  FailOutput(Code::kOutputExists, given_, "exists already",
             "--force replaces it, or choose another name with -o");
}

void Output::MakeTemporary(const std::string& folder, bool (*make)(char* name)) {
  temporary_ = TemporaryPath(folder + kTemporaryName, make);
  if (!path().empty()) return;
  const int error = errno;
  FailOutput(Code::kOutputUnwritable, given_,
             fmt::format("cannot be written in {}: {}", folder, SystemText(error)),
             error == ENOENT                     ? fmt::format("make the folder first: mkdir -p '{}'", folder)
             : error == EACCES || error == EROFS ? "choose a folder that may be written"
                                                 : "");
}

void Output::FlushPath(const std::string& path) const { Require(Flush(path), "cannot be flushed to disk"); }

void Output::SetMode() const {
  Require(chmod(path().c_str(), mode_) == 0 ? 0 : errno, "cannot be given its mode");
}

void Output::TakeName(bool replace) {
  const auto hold = HoldTemporaryPaths();
  const int error = Rename(path(), target_, replace);
  if (error == EEXIST) FailExists();
  Require(error, "cannot be given its name");
  temporary_.Release();
  Flush(FolderOf(target_));
}

// ---------------------------------------------------------------------------------------------------------

OutputFile::OutputFile(const std::string& path, bool replace) : Output(path, replace, 0666) {
  target_ = FollowLinks(path, path);
  struct stat status {};
  if (NamesStandardOutput(target_)) {
    RequireUnreserved(target_);
    special_ = true;
  } else if (stat(target_.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) {
      FailOutput(Code::kOutputFolder, given_, "is a folder", "name a file inside it");
    }
    special_ = !S_ISREG(status.st_mode);
    if (!special_) {
      if (!replace_) FailExists();
      mode_ = status.st_mode & 07777;
    }
  } else if (errno != ENOENT) {
    Require(errno);
  } else if (target_.back() == '/') {
    FailOutput(Code::kOutputFolder, given_, "names a folder", "name a file");
  }
  // A device or pipe is fed from a private file, which is not to stand in a folder such as /dev.
  MakeTemporary(special_ ? PrivateParent() : FolderOf(target_), MakeFile);
}

void OutputFile::Write(std::string_view bytes) {
  Descriptor descriptor(path(), kNewContent);
  if (descriptor.number() < 0) Require(errno);
  Require(WriteBytes(descriptor.number(), bytes));
  Require(descriptor.Close());
  Expect(bytes.size());
}

void OutputFile::CopyToSpecial() {
  if (NamesStandardOutput(target_)) standard_output_holds_output = true;
  Descriptor to(NamesStandardOutput(target_) ? dup(standard_output)
                                             : open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (to.number() < 0) Require(errno);
  Require(ReadBlocks(path(), [&](std::string_view block) { return WriteBytes(to.number(), block); }));
  Require(to.Close());
}

void OutputFile::Commit() {
  struct stat status {};
  if (stat(path().c_str(), &status) != 0) Require(errno);
  if (expected_size_ >= 0 && status.st_size != expected_size_) {
    FailOutput(
        Code::kOutputShort, given_,
        fmt::format("could not be written completely ({} of {} bytes)", status.st_size, expected_size_),
        kDiskFull);
  }
  if (special_) {
    CopyToSpecial();
    return;
  }
  // Flushed before it gets its mode, which may forbid reading.
  FlushPath(path());
  SetMode();
  TakeName(replace_);
}

void RequireEditable(const std::string& path, bool force) {
  struct stat status {};
  if (force || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || (status.st_mode & 0222) != 0) {
    return;
  }
  FailOutput(Code::kOutputReadOnly, path, "is read-only", "--force replaces it, or write a new file with -o");
}

void WriteOutputFile(const std::string& path, std::string_view bytes, bool replace) {
  OutputFile output(path, replace);
  output.Write(bytes);
  RequireBytes(output.path(), bytes, path);
  output.Commit();
}

// ---------------------------------------------------------------------------------------------------------

namespace {

// Whether the current folder is that one or lies below it.
bool HoldsCurrentFolder(const struct stat& folder) {
  struct stat here {
  }, below{};
  for (std::string path = "."; stat(path.c_str(), &here) == 0; path += "/..") {
    if (here.st_dev == folder.st_dev && here.st_ino == folder.st_ino) return true;
    if (here.st_dev == below.st_dev && here.st_ino == below.st_ino) return false;  // the root
    below = here;
  }
  return false;
}

// "a, b, c and 2 more"
constexpr size_t kMostNames = 100;  // as data

std::string FirstOf(const std::vector<std::string>& names) {
  constexpr size_t kShown = 3;
  std::string text;
  for (size_t i = 0; i < names.size() && i < kShown; ++i) text += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > kShown) text += fmt::format(" and {} more", names.size() - kShown);
  return text;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path, bool replace, ListReader list_reader)
    : Output(path, replace, 0777), list_reader_(std::move(list_reader)) {
  if (path == "-") FailUsage(path, "a folder cannot be written to standard output", "name a folder");
  target_ = WithoutLastSlashes(FollowLinks(WithoutLastSlashes(path), path));
  struct stat status {};
  if (stat(target_.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) {
      FailOutput(Code::kOutputExists, given_, "exists and is not a folder", "choose another name with -o");
    }
    if (!replace_) FailExists();
    if (HoldsCurrentFolder(status)) {
      FailOutput(Code::kOutputUnwritable, given_, "is the current folder, or holds it",
                 "run from outside it, or choose another name with -o");
    }
    const std::optional<FolderList> list = list_reader_(target_);
    const std::vector<std::string> foreign = ForeignNames(target_, list.value_or(FolderList()));
    if (!foreign.empty()) {
      Json names = Json::array();
      for (size_t i = 0; i < foreign.size() && i < kMostNames; ++i) names.push_back(TextToJson(foreign[i]));
      Fail(ExitCode::kOutput, Message(Code::kOutputForeign, given_,
                                      (list ? "is not replaced: besides its own files it holds "
                                            : "is not replaced: it was not made by trqprep, and holds ") +
                                          FirstOf(foreign))
                                  .Hint("move away what is to be kept, or choose another name with -o")
                                  .At({{"name_count", foreign.size()}, {"names", names}}));
    }
    mode_ = status.st_mode & 07777;
  } else if (errno != ENOENT) {
    Require(errno);
  }
  MakeTemporary(FolderOf(target_), MakeFolderOf);
}

void OutputFolder::MakeFolder(const std::string& name) {
  if (mkdir(PathOf(name).c_str(), 0777) != 0) Require(errno);
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name, std::string_view bytes) {
  Written written =
      WriteFile(name, [&](trq::core::ByteSink& sink) { sink.Write(bytes.data(), bytes.size()); });
  RequireBytes(PathOf(name), bytes, given_);
  return written;
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name,
                                              const std::function<void(trq::core::ByteSink&)>& write) {
  Descriptor descriptor(PathOf(name), kNewContent);
  if (descriptor.number() < 0) Require(errno);
  HashingSink sink(descriptor.number());
  write(sink);
  Require(sink.error());
  struct stat status {};
  if (fstat(descriptor.number(), &status) != 0) Require(errno);
  Require(descriptor.Close());
  if (uint64_t(status.st_size) != sink.size()) {
    FailOutput(Code::kOutputShort, given_, "could not be written completely", kDiskFull);
  }
  return {sink.size(), sink.Sha256()};
}

void OutputFolder::Commit() {
  std::error_code walk_error;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path(), walk_error)) {
    FlushPath(entry.path().string());
  }
  Require(walk_error.value(), "cannot be flushed to disk");
  SetMode();
  FlushPath(path());
  const auto hold = HoldTemporaryPaths();
  struct stat status {};
  if (!replace_ || lstat(target_.c_str(), &status) != 0) {
    TakeName(false);
    return;
  }
  // Read anew: another run may have replaced the folder meanwhile. Whatever else came stays, by name.
  const FolderList list = list_reader_(target_).value_or(FolderList());
  const std::string old = path();
  if (renameat2(AT_FDCWD, path().c_str(), AT_FDCWD, target_.c_str(), RENAME_EXCHANGE) != 0) {
    Require(errno, "cannot be exchanged with the finished folder");
  }
  temporary_.Release();  // the old folder stands under the temporary name now
  Flush(FolderOf(target_));
  if (!RemoveListed(old, list)) FailLeftOver(old);
}

void OutputFolder::FailLeftOver(const std::string& old) const {
  std::string kept = target_ + ".old";
  int error = Rename(old, kept, false);
  for (int number = 2; error == EEXIST; ++number) {
    kept = fmt::format("{}.old-{}", target_, number);
    error = Rename(old, kept, false);
  }
  if (error != 0) kept = old;
  FailOutput(
      Code::kOutputLeft, given_,
      fmt::format("is complete, but the folder that it replaced could not be removed whole: {} holds {}",
                  kept, FirstOf(ForeignNames(kept, FolderList()))),
      "look what is to be kept, and remove that folder");
}

// ---------------------------------------------------------------------------------------------------------

TemporaryFolder::TemporaryFolder() {
  const std::string parent = PrivateParent();
  temporary_ = TemporaryPath(parent + kTemporaryName, MakeFolderOf);
  if (path().empty()) {
    FailOutput(Code::kOutputUnwritable, parent,
               fmt::format("no temporary folder can be made: {}", SystemText(errno)),
               "set TMPDIR to a folder that may be written");
  }
}

}  // namespace trqprep
