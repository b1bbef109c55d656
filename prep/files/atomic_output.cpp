#include "trqprep/atomic_output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
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

constexpr const char* kDiskFull = "is the disk full, or a size limit in force?";

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// To reach what stands in it; it need not be readable.
Descriptor OpenFolder(const std::string& folder) {
  return Descriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

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

// The functions below return 0, or the errno of what failed.

int Flush(int descriptor) {
  // Some file systems cannot flush a folder; that is no failure of the file.
  return fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS ? errno : 0;
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

// Hands a file over block by block from its start; an errno that `take` returns ends that.
int ReadBlocks(int descriptor, const std::function<int(std::string_view)>& take) {
  std::vector<char> block(1 << 16);
  int error = 0;
  for (off_t at = 0; error == 0;) {
    const ssize_t n = pread(descriptor, block.data(), block.size(), at);
    if (n < 0) return errno;
    if (n == 0) break;
    error = take({block.data(), size_t(n)});
    at += n;
  }
  return error;
}

bool HoldsBytes(int descriptor, std::string_view bytes) {
  const int error = ReadBlocks(descriptor, [&](std::string_view piece) {
    if (bytes.substr(0, piece.size()) != piece) return EIO;
    bytes.remove_prefix(piece.size());
    return 0;
  });
  return error == 0 && bytes.empty();
}

void RequireBytes(int descriptor, std::string_view bytes, const std::string& given) {
  if (!HoldsBytes(descriptor, bytes)) {
    FailOutput(Code::kOutputShort, given, "does not read back as it was written");
  }
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

// Renames in a folder; without `replace` an existing target, even one made a moment ago, is refused with
// EEXIST.
int Rename(int folder, const std::string& from, const std::string& to, bool replace) {
  if (!replace) {
    if (renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // This file system has no such rename.
    struct stat status {};
    if (fstatat(folder, to.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  }
  return renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? 0 : errno;
}

std::string PrivateParent() {
  const char* chosen = std::getenv("TMPDIR");
  return chosen && *chosen ? chosen : P_tmpdir;
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

void Output::FailChanged(const std::string& what) const {
  FailOutput(Code::kOutputChanged, given_, what, "run the command again");
}

void Output::MakeTemporary(const std::string& folder, TemporaryPath::Kind kind) {
  folder_ = OpenFolder(folder);
  if (folder_.open()) temporary_ = TemporaryPath(folder_.number(), kind);
  if (temporary_.descriptor().open()) return;
  const int error = errno;
  FailOutput(Code::kOutputUnwritable, given_,
             fmt::format("cannot be written in {}: {}", folder, SystemText(error)),
             error == ENOENT                     ? fmt::format("make the folder first: mkdir -p '{}'", folder)
             : error == EACCES || error == EROFS ? "choose a folder that may be written"
                                                 : "");
}

void Output::SetMode() const {
  Require(fchmod(itself(), mode_) == 0 ? 0 : errno, "cannot be given its mode");
}

void Output::FlushFolder() const {
  const Descriptor readable(openat(folder_.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (readable.open()) Flush(readable.number());
}

// The name of the temporary path is to be renamed, so it has to mean what was written.
void Output::RequireOwnName() const {
  struct stat status {};
  if (temporary_.Stands()) return;
  if (fstatat(folder_.number(), temporary_.name().c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    Require(errno, "cannot be given its name");
  }
  FailChanged("cannot be given its name: something else was put in the place of what was written");
}

void Output::TakeName(bool replace) {
  const auto hold = HoldTemporaryPaths();
  RequireOwnName();
  const int error = Rename(folder_.number(), temporary_.name(), name_, replace);
  if (error == EEXIST) FailExists();
  Require(error, "cannot be given its name");
  if (!NamesFile(folder_.number(), name_.c_str(), itself())) {
    Rename(folder_.number(), name_, temporary_.name(), false);
    FailChanged("did not get its name: something else was put in its place");
  }
  temporary_.Release();
  FlushFolder();
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
      if (geteuid() == 0) owner_.emplace(status.st_uid, status.st_gid);
    }
  } else if (errno != ENOENT) {
    Require(errno);
  } else if (target_.back() == '/') {
    FailOutput(Code::kOutputFolder, given_, "names a folder", "name a file");
  }
  name_ = NameOf(target_);
  // A device or pipe is fed from a private file, which is not to stand in a folder such as /dev.
  MakeTemporary(special_ ? PrivateParent() : FolderOf(target_), TemporaryPath::Kind::kFile);
}

void OutputFile::Write(std::string_view bytes) {
  Require(WriteBytes(itself(), bytes));
  Expect(bytes.size());
  RequireBytes(itself(), bytes, given_);
}

std::unique_ptr<std::FILE, int (*)(std::FILE*)> OutputFile::OpenStream() {
  const int copy = fcntl(itself(), F_DUPFD_CLOEXEC, 0);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(copy < 0 ? nullptr : fdopen(copy, "wb"),
                                                         std::fclose);
  if (!stream) Require(errno);
  return stream;
}

void OutputFile::CopyToSpecial() {
  if (NamesStandardOutput(target_)) standard_output_holds_output = true;
  Descriptor to(NamesStandardOutput(target_) ? dup(standard_output)
                                             : open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (!to.open()) Require(errno);
  Require(ReadBlocks(itself(), [&](std::string_view block) { return WriteBytes(to.number(), block); }));
  Require(to.Close());
}

void OutputFile::RequireBefore() const {
  if (!before_) return;
  const Descriptor there(
      openat(folder_.number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  const bool gone = !there.open() && errno == ENOENT;
  if (*before_ ? there.open() && HoldsBytes(there.number(), **before_) : gone) return;
  FailChanged(gone ? "was removed while it was being changed" : "was changed by somebody else meanwhile");
}

void OutputFile::Commit() {
  struct stat status {};
  if (fstat(itself(), &status) != 0) Require(errno);
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
  Require(Flush(itself()), "cannot be flushed to disk");
  // Before the mode: the system takes some of it away from a file that changes its owner.
  if (owner_) static_cast<void>(fchown(itself(), owner_->first, owner_->second) == 0);
  SetMode();
  RequireBefore();
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
  output.Commit();
}

void ReplaceFile(const std::string& path, const std::optional<std::string>& before, std::string_view bytes) {
  OutputFile output(path, true);
  output.Write(bytes);
  output.Succeed(before);
  output.Commit();
}

EditLock::EditLock(Observer& observer, const std::string& path, std::chrono::milliseconds patience) {
  std::error_code error;
  const std::string target = std::filesystem::canonical(path, error).string();
  const std::string folder = FolderOf(error ? path : target);
  folder_ = Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder_.open()) return;
  const auto end = std::chrono::steady_clock::now() + patience;
  while (flock(folder_.number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return;  // some file systems lock no folders
    observer.StopIfCancelled();
    if (std::chrono::steady_clock::now() >= end) {
      FailOutput(Code::kOutputBusy, path,
                 fmt::format("is not changed: another program holds the lock of its folder, {}", folder));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

bool IsSameFile(const std::string& path, const std::string& other) {
  std::error_code error;
  return std::filesystem::equivalent(path, other, error);
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
    const HeldFolder old(target_);
    const std::optional<FolderList> list = list_reader_(old);
    const std::vector<std::string> foreign = ForeignNames(old, list.value_or(FolderList()));
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
  name_ = NameOf(target_);
  MakeTemporary(FolderOf(target_), TemporaryPath::Kind::kFolder);
}

void OutputFolder::MakeFolder(const std::string& name) {
  if (mkdirat(itself(), name.c_str(), 0777) != 0) Require(errno);
  made_.push_back(name);
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name, std::string_view bytes) {
  return Fill(
      name, [&](trq::core::ByteSink& sink) { sink.Write(bytes.data(), bytes.size()); }, &bytes);
}

OutputFolder::Written OutputFolder::WriteFile(const std::string& name,
                                              const std::function<void(trq::core::ByteSink&)>& write) {
  return Fill(name, write, nullptr);
}

OutputFolder::Written OutputFolder::Fill(const std::string& name,
                                         const std::function<void(trq::core::ByteSink&)>& write,
                                         const std::string_view* bytes) {
  Descriptor file = OpenBelow(itself(), name, O_RDWR | O_CREAT | O_EXCL);
  if (!file.open()) Require(errno);
  HashingSink sink(file.number());
  write(sink);
  Require(sink.error());
  struct stat status {};
  if (fstat(file.number(), &status) != 0) Require(errno);
  if (uint64_t(status.st_size) != sink.size()) {
    FailOutput(Code::kOutputShort, given_, "could not be written completely", kDiskFull);
  }
  if (bytes) RequireBytes(file.number(), *bytes, given_);
  Require(Flush(file.number()), "cannot be flushed to disk");
  Require(file.Close());
  return {sink.size(), sink.Sha256()};
}

void OutputFolder::Commit() {
  for (const std::string& name : made_) {
    const Descriptor folder = OpenBelow(itself(), name, O_RDONLY | O_DIRECTORY);
    Require(folder.open() ? Flush(folder.number()) : errno, "cannot be flushed to disk");
  }
  SetMode();
  Require(Flush(itself()), "cannot be flushed to disk");
  const auto hold = HoldTemporaryPaths();
  struct stat status {};
  const int parent = folder_.number();
  const char* temporary = temporary_.name().c_str();
  if (!replace_ || fstatat(parent, name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    TakeName(false);
    return;
  }
  const HeldFolder old(
      target_, Descriptor(openat(parent, name_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
  if (!old.held()) Require(errno, "cannot be exchanged with the finished folder");
  // Read anew: another run may have replaced the folder meanwhile. Whatever else came stays, by name.
  const FolderList list = list_reader_(old).value_or(FolderList());
  RequireOwnName();
  const auto exchange = [&] {
    return renameat2(parent, temporary, parent, name_.c_str(), RENAME_EXCHANGE) == 0 ? 0 : errno;
  };
  Require(exchange(), "cannot be exchanged with the finished folder");
  if (!NamesFile(parent, name_.c_str(), itself())) {
    exchange();
    FailChanged("was not replaced: something else was put in the place of what was written");
  }
  temporary_.Release();  // the old folder stands under the temporary name now
  FlushFolder();
  const bool is_old = NamesFile(parent, temporary, old.descriptor());
  if (is_old) RemoveListed(old, list);
  if (!is_old || unlinkat(parent, temporary, AT_REMOVEDIR) != 0) FailLeftOver();
}

void OutputFolder::FailLeftOver() const {
  std::string kept;
  int error = EEXIST;
  for (int number = 1; error == EEXIST; ++number) {
    const std::string ending = number == 1 ? ".old" : fmt::format(".old-{}", number);
    // The longest name that file systems take.
    kept = name_.substr(0, NAME_MAX - ending.size()) + ending;
    error = Rename(folder_.number(), temporary_.name(), kept, false);
  }
  if (error != 0) kept = temporary_.name();
  const std::string path = target_.substr(0, target_.size() - name_.size()) + kept;
  const HeldFolder left(path, Descriptor(openat(folder_.number(), kept.c_str(),
                                                O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
  FailOutput(
      Code::kOutputLeft, given_,
      fmt::format("is complete, but the folder that it replaced could not be removed whole: {} holds {}",
                  path, FirstOf(ForeignNames(left, FolderList()))),
      "look what is to be kept, and remove that folder");
}

// ---------------------------------------------------------------------------------------------------------

Descriptor MakeUnnamedFile() {
  const std::string parent = PrivateParent();
  const Descriptor folder = OpenFolder(parent);
  if (folder.open()) {
    const TemporaryPath file(folder.number(), TemporaryPath::Kind::kFile);
    Descriptor copy(fcntl(file.descriptor().number(), F_DUPFD_CLOEXEC, 0));
    if (copy.open()) return copy;
  }
  FailOutput(Code::kOutputUnwritable, parent,
             fmt::format("no temporary file can be made: {}", SystemText(errno)),
             "set TMPDIR to a folder that may be written");
}

}  // namespace trqprep
