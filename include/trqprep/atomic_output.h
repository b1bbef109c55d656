/// Outputs that appear whole or not at all.
///
/// A file is written under a name `.trqprep-XXXXXX` of its own in the target folder, flushed to disk and
/// renamed; a folder is built under such a name beside its final one. A symbolic link is followed. What
/// exists and is no regular file is written directly, from a private temporary file. Whatever cannot be
/// written ends the command with exit 4; an output that is not committed leaves nothing behind.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "trq/core/bytes.h"
#include "trqprep/folder_list.h"
#include "trqprep/temporary_path.h"

namespace trqprep {

/// What files and folders have in common.
class Output {
 public:
  /// Where to write: an existing, empty file that may be opened again and truncated, or the folder to fill.
  const std::string& path() const { return temporary_.path(); }
  /// The final name as given.
  const std::string& final_path() const { return given_; }

 protected:
  Output(const std::string& path, bool replace, unsigned mode);
  /// Fails with what went wrong and the system's reason; 0 is no error.
  void Require(int error, const char* failure = "cannot be written") const;
  [[noreturn]] void FailExists() const;
  void MakeTemporary(const std::string& folder, bool (*make)(char* name));
  void FlushPath(const std::string& path) const;
  void SetMode() const;
  void TakeName(bool replace);

  std::string given_;
  std::string target_;  // links followed
  bool replace_;
  unsigned mode_;
  TemporaryPath temporary_;
};

/// An output file. Refuses an existing one unless `replace`.
class OutputFile : public Output {
 public:
  OutputFile(const std::string& path, bool replace);
  /// Writes all the bytes to path().
  void Write(std::string_view bytes);
  /// Says how long the finished file must be; a shorter or longer one was not written completely.
  void Expect(std::uint64_t size) { expected_size_ = static_cast<std::int64_t>(size); }
  /// Gives the file its final name. May be called once, when path() is complete.
  void Commit();

 private:
  void CopyToSpecial();

  bool special_ = false;
  std::int64_t expected_size_ = -1;
};

/// Refuses to change a file in place that nobody may write, unless `force`: exit 4. The permissions count,
/// not what the system lets root do in spite of them.
void RequireEditable(const std::string& path, bool force);

/// Writes a whole file in one step: OutputFile, Write, read back, Commit.
void WriteOutputFile(const std::string& path, std::string_view bytes, bool replace);

/// An output folder. Refuses an existing one unless `replace`, and then too one that holds anything but what
/// it lists as its own. The two are exchanged in one step, and what the old one lists is removed. What
/// appeared in it meanwhile stays, in a folder `NAME.old`, and ends the command with exit 4.
class OutputFolder : public Output {
 public:
  /// Reads the list of a folder of the same kind; nothing when it is none.
  using ListReader = std::function<std::optional<FolderList>(const std::string& folder)>;
  OutputFolder(const std::string& path, bool replace, ListReader list_reader);
  /// `name` is a path below the folder.
  std::string PathOf(const std::string& name) const { return path() + "/" + name; }
  void MakeFolder(const std::string& name);
  /// Size and SHA-256 of a file of the folder, taken from the bytes as they were written.
  struct Written {
    std::uint64_t size = 0;
    std::string sha256;
  };
  /// Writes a file of the folder and reads it back.
  Written WriteFile(const std::string& name, std::string_view bytes);
  /// Writes a file of the folder piece by piece: `write` puts its bytes into a sink. That all of them arrived
  /// is seen from the file's size.
  Written WriteFile(const std::string& name, const std::function<void(trq::core::ByteSink&)>& write);
  /// Flushes everything and gives the folder its final name. May be called once.
  void Commit();

 private:
  [[noreturn]] void FailLeftOver(const std::string& old) const;

  ListReader list_reader_;
};

/// A private folder for fixed-name outputs and comparisons; removed with this object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  const std::string& path() const { return temporary_.path(); }
  std::string PathOf(const std::string& name) const { return path() + "/" + name; }

 private:
  TemporaryPath temporary_;
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
