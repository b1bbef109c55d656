/// What prep asks of the operating system about files and folders: one source a system behind this header
/// (system_files_posix.cpp, system_files_windows.cpp).
///
/// Names are UTF-8. Files and folders are numbers of the C runtime. A function that returns int returns 0 or
/// the errno of what failed; one that returns a Descriptor leaves the errno behind when that is not open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

#include "trqprep/held_folder.h"

namespace trqprep::system_files {

enum class Kind : unsigned char { kFile, kFolder, kLink, kOther };

/// What the system knows about a file or folder.
struct Status {
  Kind kind = Kind::kOther;
  std::uint64_t size = 0;
  unsigned mode = 0;                     ///< permissions; 0222 of it is all that a system without modes has
  std::uint64_t device = 0, number = 0;  ///< device 0: the system did not say
  unsigned user = 0, group = 0;

  /// Whether both are of one file.
  bool Means(const Status& other) const {
    return number == other.number && (device == other.device || device == 0 || other.device == 0);
  }
};

int Ask(int file, Status& status);
/// Of what the path leads to, or of a link itself.
int Ask(const std::string& path, Status& status, bool follow_links = true);
/// Of what has that name in a folder, of a link itself.
int AskIn(int folder, const char* name, Status& status);
/// Where a link leads; empty for what is none.
std::string LinkTarget(const std::string& path);

enum class Use {
  kRead,     ///< at once, whatever it is
  kWrite,    ///< a device or pipe that is there
  kNew,      ///< a new file, to be read and written
  kPrivate,  ///< the same for this user alone
  kFolder,   ///< a folder, to be listed
  kReach,    ///< a folder, to reach what stands in it; it need not be readable
};
Descriptor Open(const std::string& path, Use use, bool follow_links = true);
/// What has that name in a folder, itself and not what it links to; "." is the folder.
Descriptor OpenIn(int folder, const char* name, Use use);
Descriptor Duplicate(int file);
/// A stream that owns the file; null with errno.
std::FILE* StreamOf(int file, const char* mode);
/// A path that opens it anew, with or without a name; empty where the system has none.
std::string PathOfOpen(int file);
int Close(int file);

/// Reads at most `size` bytes from a place, or from where the file is; 0 of them at the end.
int ReadAt(int file, std::uint64_t at, char* to, std::size_t size, std::size_t& got);
int ReadNext(int file, char* to, std::size_t size, std::size_t& got);
/// Sees that the content is on the disk. Some file systems cannot do that for folders, which is no failure.
int Flush(int file);
int SetMode(int file, unsigned mode);
/// Gives a file away, when root asks for it.
void SetOwner(int file, unsigned user, unsigned group);

/// Hands over the names that stand in a folder, in no order. Takes no memory.
int ForEachName(int folder, const std::function<void(const char*)>& take);
/// `private_to_user`: nobody else reaches what stands in it.
int MakeFolder(int folder, const char* name, bool private_to_user);
int RemoveFile(int folder, const char* name);
/// An empty folder.
int RemoveFolder(int folder, const char* name);
/// Without `replace` an existing target, even one made a moment ago, is refused with EEXIST.
int Rename(int folder, const char* from, const char* to, bool replace);
/// Exchanges two names in one step. ENOSYS or EINVAL: the system, or this file system, cannot.
int Exchange(int folder, const char* one, const char* other);

/// A lock of the folder, held as long as the descriptor is open: EWOULDBLOCK while somebody else has it,
/// another errno where there are no such locks.
int Lock(const std::string& folder, Descriptor& lock);

/// Where temporary files are made: TMPDIR, or the system's folder for them.
std::string TemporaryFolder();
bool FillRandom(unsigned char* bytes, std::size_t size);
/// The bits that new files and folders do not get. Remembered by RememberMask.
unsigned Mask();
void RememberMask();
/// Why no file can have that name here, and what the system would make of it; null when one can.
const char* NameRefusal(const std::string& name);

}  // namespace trqprep::system_files
