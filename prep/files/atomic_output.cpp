#include "trqprep/atomic_output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "prep/files/system_files.h"
#include "trqprep/message.h"
#include "trqprep/paths.h"
#include "trqprep/sha256.h"

namespace trqprep {
namespace {

using system_files::Kind;
using system_files::Status;
using system_files::Use;

int standard_output = 1;
bool standard_output_reserved = false;
bool standard_output_holds_output = false;

constexpr const char* kDiskFull = "is the disk full, or a size limit in force?";

std::string WithoutLastSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The path that the link, or chain of links, names; it need not exist.
std::string FollowLinks(std::string path, const std::string& given) {
  for (int links = 0; links < 40; ++links) {
    if (NamesStandardOutput(path)) return path;
    const std::string link = system_files::LinkTarget(path);
    if (link.empty()) return path;
    path = IsAbsolute(link) ? link : FolderOf(path) + "/" + link;
  }
  FailOutput(Code::kOutputUnwritable, given, SystemText(ELOOP));
}

// The functions below return 0, or the errno of what failed.

// Hands a file over block by block from its start; an errno that `take` returns ends that.
int ReadBlocks(int descriptor, const std::function<int(std::string_view)>& take) {
  std::vector<char> block(1 << 16);
  for (uint64_t at = 0;;) {
    size_t got = 0;
    int error = system_files::ReadAt(descriptor, at, block.data(), block.size(), got);
    if (error != 0 || got == 0) return error;
    error = take({block.data(), got});
    if (error != 0) return error;
    at += got;
  }
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

int Rename(int folder, const std::string& from, const std::string& to, bool replace) {
  return system_files::Rename(folder, from.c_str(), to.c_str(), replace);
}

int MakeFolders(const std::string& path) {
  if (IsFolder(path)) return 0;
  const std::string parent = WithoutLastSlashes(FolderOf(path)), name = FileNameOf(path);
  if (parent == path || name.empty()) return ENOENT;
  if (const int error = MakeFolders(parent)) return error;
  if (system_files::NameRefusal(name)) return EINVAL;
  const Descriptor folder = system_files::Open(parent, Use::kReach);
  if (!folder.open()) return errno;
  const int error = system_files::MakeFolder(folder.number(), name.c_str(), false);
  // Somebody else may have made it a moment ago.
  return error != EEXIST ? error : IsFolder(path) ? 0 : ENOTDIR;
}

}  // namespace

void MakeOutputFolders(const std::string& path) {
  const int error = MakeFolders(WithoutLastSlashes(path));
  if (error != 0) FailOutput(Code::kOutputUnwritable, path, "cannot be made: " + SystemText(error));
}

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

void RememberUmask() { system_files::RememberMask(); }

// ---------------------------------------------------------------------------------------------------------

Output::Output(const std::string& path, bool replace, unsigned mode)
    : given_(path), replace_(replace), mode_(mode & ~system_files::Mask()) {
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
  folder_ = system_files::Open(folder, Use::kReach);
  if (folder_.open()) temporary_ = TemporaryPath(folder_.number(), kind);
  if (temporary_.descriptor().open()) return;
  const int error = errno;
  FailOutput(Code::kOutputUnwritable, given_,
             fmt::format("cannot be written in {}: {}", folder, SystemText(error)),
             error == ENOENT                     ? fmt::format("make the folder first: mkdir -p '{}'", folder)
             : error == EACCES || error == EROFS ? "choose a folder that may be written"
                                                 : "");
}

void Output::RequireUsableName() const {
  if (const char* refusal = system_files::NameRefusal(name_)) {
    FailOutput(Code::kOutputUnwritable, given_, fmt::format("cannot be written: its name {}", refusal),
               fmt::format("choose another name with -o, such as {}", PortableName(name_, name_.size() + 1)));
  }
}

void Output::SetMode() const { Require(system_files::SetMode(itself(), mode_), "cannot be given its mode"); }

void Output::FlushFolder() const {
  const Descriptor readable = system_files::OpenIn(folder_.number(), ".", Use::kFolder);
  if (readable.open()) system_files::Flush(readable.number());
}

// The name of the temporary path is to be renamed, so it has to mean what was written.
void Output::RequireOwnName() const {
  Status status;
  if (temporary_.Stands()) return;
  Require(system_files::AskIn(folder_.number(), temporary_.name().c_str(), status),
          "cannot be given its name");
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
  target_ = FollowLinks(NamedPath(path), path);
  name_ = FileNameOf(target_);
  const bool to_standard_output = NamesStandardOutput(target_);
  if (!to_standard_output) RequireUsableName();
  Status status;
  const int error = to_standard_output ? 0 : system_files::Ask(target_, status);
  if (to_standard_output) {
    RequireUnreserved(target_);
    special_ = true;
  } else if (error == 0) {
    if (status.kind == Kind::kFolder) {
      FailOutput(Code::kOutputFolder, given_, "is a folder", "name a file inside it");
    }
    special_ = status.kind != Kind::kFile;
    if (!special_) {
      if (!replace_) FailExists();
      mode_ = status.mode;
      owner_.emplace(status.user, status.group);
    }
  } else if (error != ENOENT) {
    Require(error);
  } else if (target_.back() == '/') {
    FailOutput(Code::kOutputFolder, given_, "names a folder", "name a file");
  }
  // A device or pipe is fed from a private file, which is not to stand in a folder such as /dev.
  MakeTemporary(special_ ? system_files::TemporaryFolder() : FolderOf(target_), TemporaryPath::Kind::kFile);
}

void OutputFile::Write(std::string_view bytes) {
  Require(WriteBytes(itself(), bytes));
  Expect(bytes.size());
  RequireBytes(itself(), bytes, given_);
}

std::unique_ptr<std::FILE, int (*)(std::FILE*)> OutputFile::OpenStream() {
  Descriptor copy = system_files::Duplicate(itself());
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
      copy.open() ? system_files::StreamOf(copy.number(), "wb") : nullptr, std::fclose);
  if (!stream) Require(errno);
  copy.Release();
  return stream;
}

void OutputFile::CopyToSpecial() {
  if (NamesStandardOutput(target_)) standard_output_holds_output = true;
  Descriptor to = NamesStandardOutput(target_) ? system_files::Duplicate(standard_output)
                                               : system_files::Open(target_, Use::kWrite);
  if (!to.open()) Require(errno);
  Require(ReadBlocks(itself(), [&](std::string_view block) { return WriteBytes(to.number(), block); }));
  Require(to.Close());
}

void OutputFile::RequireBefore() const {
  if (!before_) return;
  const Descriptor there = system_files::OpenIn(folder_.number(), name_.c_str(), Use::kRead);
  const bool gone = !there.open() && errno == ENOENT;
  if (*before_ ? there.open() && HoldsBytes(there.number(), **before_) : gone) return;
  FailChanged(gone ? "was removed while it was being changed" : "was changed by somebody else meanwhile");
}

void OutputFile::Commit() {
  Status status;
  Require(system_files::Ask(itself(), status));
  if (expected_size_ >= 0 && int64_t(status.size) != expected_size_) {
    FailOutput(Code::kOutputShort, given_,
               fmt::format("could not be written completely ({} of {} bytes)", status.size, expected_size_),
               kDiskFull);
  }
  if (special_) {
    CopyToSpecial();
    return;
  }
  Require(system_files::Flush(itself()), "cannot be flushed to disk");
  // Before the mode: the system takes some of it away from a file that changes its owner.
  if (owner_) system_files::SetOwner(itself(), owner_->first, owner_->second);
  SetMode();
  RequireBefore();
  TakeName(replace_);
}

void RequireEditable(const std::string& path, bool force) {
  Status status;
  if (force || system_files::Ask(path, status) != 0 || status.kind != Kind::kFile ||
      (status.mode & 0222) != 0) {
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

int RemoveFile(const std::string& path) {
  const std::string named = NamedPath(path);
  const Descriptor folder = system_files::Open(FolderOf(named), Use::kReach);
  return folder.open() ? system_files::RemoveFile(folder.number(), FileNameOf(named).c_str()) : errno;
}

EditLock::EditLock(Observer& observer, const std::string& path, std::chrono::milliseconds patience) {
  const std::string folder = FolderOf(NamedPath(RealPath(path)));
  const auto end = std::chrono::steady_clock::now() + patience;
  while (const int failure = system_files::Lock(folder, lock_)) {
    if (failure != EWOULDBLOCK) return;  // some file systems lock no folders
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
bool HoldsCurrentFolder(const Status& folder) {
  Status here, below;
  for (std::string path = "."; system_files::Ask(path, here) == 0; path += "/..") {
    if (here.Means(folder)) return true;
    if (here.Means(below)) return false;  // the root
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
  target_ = WithoutLastSlashes(FollowLinks(WithoutLastSlashes(NamedPath(path)), path));
  name_ = FileNameOf(target_);
  RequireUsableName();
  Status status;
  if (const int error = system_files::Ask(target_, status); error == 0) {
    if (status.kind != Kind::kFolder) {
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
    mode_ = status.mode;
  } else if (error != ENOENT) {
    Require(error);
  }
  MakeTemporary(FolderOf(target_), TemporaryPath::Kind::kFolder);
}

void OutputFolder::MakeFolder(const std::string& name) {
  const std::string above = FolderOf(name);
  const Descriptor parent = OpenBelow(itself(), above, Opening::kFolder);
  Require(parent.open() ? system_files::MakeFolder(parent.number(), FileNameOf(name).c_str(), false) : errno);
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
  Descriptor file = OpenBelow(itself(), name, Opening::kNew);
  if (!file.open()) Require(errno);
  HashingSink sink(file.number());
  write(sink);
  Require(sink.error());
  Status status;
  Require(system_files::Ask(file.number(), status));
  if (status.size != sink.size()) {
    FailOutput(Code::kOutputShort, given_, "could not be written completely", kDiskFull);
  }
  if (bytes) RequireBytes(file.number(), *bytes, given_);
  Require(system_files::Flush(file.number()), "cannot be flushed to disk");
  Require(file.Close());
  return {sink.size(), sink.Sha256()};
}

void OutputFolder::Commit() {
  for (const std::string& name : made_) {
    const Descriptor folder = OpenBelow(itself(), name, Opening::kFolder);
    Require(folder.open() ? system_files::Flush(folder.number()) : errno, "cannot be flushed to disk");
  }
  SetMode();
  Require(system_files::Flush(itself()), "cannot be flushed to disk");
  const auto hold = HoldTemporaryPaths();
  Status status;
  const int parent = folder_.number();
  if (!replace_ || system_files::AskIn(parent, name_.c_str(), status) != 0) {
    TakeName(false);
    return;
  }
  const HeldFolder old(target_, system_files::OpenIn(parent, name_.c_str(), Use::kFolder));
  if (!old.held()) Require(errno, "cannot be exchanged with the finished folder");
  // Read anew: another run may have replaced the folder meanwhile. Whatever else came stays, by name.
  const FolderList list = list_reader_(old).value_or(FolderList());
  Status before;
  Require(system_files::Ask(old.descriptor(), before), "cannot be exchanged with the finished folder");
  RequireOwnName();
  std::string aside = temporary_.name();  // where the old folder stands afterwards
  const char* const failure = "cannot be exchanged with the finished folder";
  int error = system_files::Exchange(parent, aside.c_str(), name_.c_str());
  const bool in_one_step = error != ENOSYS && error != EINVAL;
  if (!in_one_step) {
    Require(MoveAside(name_, aside), failure);
    error = Rename(parent, temporary_.name(), name_, false);
    if (error != 0) Rename(parent, aside, name_, false);
  }
  Require(error, failure);
  if (!NamesFile(parent, name_.c_str(), itself())) {
    if (in_one_step) {
      system_files::Exchange(parent, aside.c_str(), name_.c_str());
    } else if (Rename(parent, name_, temporary_.name(), false) == 0) {
      Rename(parent, aside, name_, false);
    }
    FailChanged("was not replaced: something else was put in the place of what was written");
  }
  temporary_.Release();
  FlushFolder();
  bool is_old = false;
  {
    // Held by the name that it has now: some systems look for what stands in it under the one it had.
    const HeldFolder moved(target_, system_files::OpenIn(parent, aside.c_str(), Use::kFolder));
    is_old = moved.held() && system_files::Ask(moved.descriptor(), status) == 0 && status.Means(before);
    if (is_old) RemoveListed(moved, list);
  }
  if (!is_old || system_files::RemoveFolder(parent, aside.c_str()) != 0) {
    if (in_one_step) {
      std::string kept;
      if (MoveAside(aside, kept) == 0) aside = kept;
    }
    FailLeftOver(aside);
  }
}

int OutputFolder::MoveAside(const std::string& from, std::string& to) const {
  constexpr size_t kLongestName = 255;
  int error = EEXIST;
  for (int number = 1; error == EEXIST; ++number) {
    const std::string ending = number == 1 ? ".old" : fmt::format(".old-{}", number);
    to = name_.substr(0, kLongestName - ending.size()) + ending;
    error = Rename(folder_.number(), from, to, false);
  }
  return error;
}

void OutputFolder::FailLeftOver(const std::string& kept) const {
  const std::string path = target_.substr(0, target_.size() - name_.size()) + kept;
  const HeldFolder left(path, system_files::OpenIn(folder_.number(), kept.c_str(), Use::kFolder));
  FailOutput(
      Code::kOutputLeft, given_,
      fmt::format("is complete, but the folder that it replaced could not be removed whole: {} holds {}",
                  path, FirstOf(ForeignNames(left, FolderList()))),
      "look what is to be kept, and remove that folder");
}

}  // namespace trqprep
