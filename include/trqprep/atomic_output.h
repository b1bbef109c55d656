/// Outputs that appear whole or not at all.
///
/// A file is written under a name `.trqprep-XXXXXX` of its own in the target folder, flushed to disk and
/// renamed; a folder is built under such a name beside its final one. Both are held open and written through
/// that: whoever puts something else in the place of their names, or of the target folder's, changes nothing
/// but that the output gets no name. A symbolic link is followed. What exists and is no regular file is
/// written directly, from a private temporary file. Whatever cannot be written ends the command with exit 4;
/// an output that is not committed leaves nothing behind.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "trq/core/bytes.h"
#include "trqprep/folder_list.h"
#include "trqprep/observer.h"
#include "trqprep/temporary_path.h"

namespace trqprep {

/// Makes a folder that outputs go into, and those on the way to it, where they are missing. Fails with
/// exit 4.
void MakeOutputFolders(const std::string& path);

/// What files and folders have in common.
class Output {
 public:
  /// The final name as given.
  const std::string& final_path() const { return given_; }

 protected:
  Output(const std::string& path, bool replace, unsigned mode);
  /// Fails with what went wrong and the system's reason; 0 is no error.
  void Require(int error, const char* failure = "cannot be written") const;
  [[noreturn]] void FailExists() const;
  [[noreturn]] void FailChanged(const std::string& what) const;
  void MakeTemporary(const std::string& folder, TemporaryPath::Kind kind);
  int itself() const { return temporary_.descriptor().number(); }
  void RequireUsableName() const;
  void SetMode() const;
  void FlushFolder() const;
  void RequireOwnName() const;
  void TakeName(bool replace);

  std::string given_;
  std::string target_;  // links followed
  std::string name_;    // of the target in its folder
  bool replace_;
  unsigned mode_;
  Descriptor folder_;  // of the temporary path
  TemporaryPath temporary_;
};

/// An output file. Refuses an existing one unless `replace`.
class OutputFile : public Output {
 public:
  OutputFile(const std::string& path, bool replace);
  /// Writes all the bytes, and reads them back.
  void Write(std::string_view bytes);
  /// The stream to write by, at the start of the empty file.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> OpenStream();
  /// Replaces the target only while it holds these bytes, or while there is none: exit 4, OUTPUT-CHANGED.
  void Succeed(const std::optional<std::string>& before) { before_ = &before; }
  /// Says how long the finished file must be; a shorter or longer one was not written completely.
  void Expect(std::uint64_t size) { expected_size_ = static_cast<std::int64_t>(size); }
  /// Gives the file its final name, and, for root, the owner of the one that it replaces. May be called once,
  /// when it is complete.
  void Commit();

 private:
  void CopyToSpecial();
  void RequireBefore() const;

  bool special_ = false;
  std::optional<std::pair<unsigned, unsigned>> owner_;  // user and group
  const std::optional<std::string>* before_ = nullptr;
  std::int64_t expected_size_ = -1;
};

/// Refuses to change a file in place that nobody may write, unless `force`: exit 4. The permissions count,
/// not what the system lets root do in spite of them.
void RequireEditable(const std::string& path, bool force);

/// Writes a whole file in one step: OutputFile, Write, Commit.
void WriteOutputFile(const std::string& path, std::string_view bytes, bool replace);
/// Replaces a file that was read, or makes one that was not there, while it is as it was:
/// OutputFile::Succeed.
void ReplaceFile(const std::string& path, const std::optional<std::string>& before, std::string_view bytes);

/// Deletes a file; 0 or the errno.
int RemoveFile(const std::string& path);

/// Held from before a file is read until it was replaced, so that those who change files of that folder so
/// come one after the other. It is a lock on the folder, which is there before the file is and stays when the
/// file is replaced, and which leaves nothing behind. Where a system has no lock on folders, a file that is
/// created exclusively beside the file does the same.
class EditLock {
 public:
  /// Waits for the others, or until the observer cancels. A folder that cannot be locked is not waited for:
  /// OutputFile::Succeed alone keeps the changes apart then. Exit 4, OUTPUT-BUSY, when `patience` ends.
  EditLock(Observer& observer, const std::string& path,
           std::chrono::milliseconds patience = std::chrono::seconds(30));

 private:
  Descriptor lock_;
};

/// Whether both paths lead to one file that is there.
bool IsSameFile(const std::string& path, const std::string& other);

/// An output folder. Refuses an existing one unless `replace`, and then too one that holds anything but what
/// it lists as its own. The two are exchanged in one step, or, where the system has no such step, in two
/// renames, between which the old one stands as `NAME.old`; then what the old one lists is removed. What
/// appeared in it meanwhile stays, in a folder `NAME.old`, and ends the command with exit 4.
class OutputFolder : public Output {
 public:
  /// Reads the list of a folder of the same kind; nothing when it is none.
  using ListReader = std::function<std::optional<FolderList>(const HeldFolder& folder)>;
  OutputFolder(const std::string& path, bool replace, ListReader list_reader);
  /// `name` is a path below the folder.
  void MakeFolder(const std::string& name);
  /// Size and SHA-256 of a file of the folder, taken from the bytes as they were written.
  struct Written {
    std::uint64_t size = 0;
    std::string sha256;
  };
  /// Writes a new file of the folder and reads it back.
  Written WriteFile(const std::string& name, std::string_view bytes);
  /// Writes a new file of the folder piece by piece: `write` puts its bytes into a sink. That all of them
  /// arrived is seen from the file's size.
  Written WriteFile(const std::string& name, const std::function<void(trq::core::ByteSink&)>& write);
  /// Flushes everything and gives the folder its final name. May be called once.
  void Commit();

 private:
  Written Fill(const std::string& name, const std::function<void(trq::core::ByteSink&)>& write,
               const std::string_view* bytes);
  /// Renames a folder beside the output to NAME.old, or NAME.old-2 and so on; 0 or the errno.
  int MoveAside(const std::string& from, std::string& to) const;
  [[noreturn]] void FailLeftOver(const std::string& kept) const;

  ListReader list_reader_;
  std::vector<std::string> made_;  // folders, in this order
};

/// Names the descriptor that outputs called /dev/stdout are written to, when it is not 1; -1: there is none.
void SetStandardOutput(int descriptor);
/// True when the path names standard output (-, /dev/stdout, /dev/fd/1, /proc/self/fd/1).
bool NamesStandardOutput(const std::string& path);
/// From now on an output that names standard output is refused with exit 2: a document goes there.
void ReserveStandardOutput();
/// Refuses such an output before there is anything to write.
void RequireUnreserved(const std::string& path);
/// True once an output was written there, which is to hold nothing else.
bool StandardOutputHoldsOutput();

/// Remembers the process's umask; called once before threads start.
void RememberUmask();

}  // namespace trqprep
