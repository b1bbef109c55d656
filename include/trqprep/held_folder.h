/// Folders and files that are held open, so that they are what they were whatever becomes of their names.
#pragma once

#include <string>
#include <string_view>

namespace trqprep {

/// An open file or folder of the system, closed with its owner; errno survives that.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { Close(); }
  int number() const { return number_; }
  bool open() const { return number_ >= 0; }
  /// Closes now; 0 or the errno, so that a failure that shows only on closing is not lost.
  int Close();
  int Release();

 private:
  int number_;
};

/// Writes all the bytes; 0 or the errno.
int WriteBytes(int file, std::string_view bytes);

/// Whether a name in a folder, itself and not what it links to, means that open file or folder.
bool NamesFile(int folder, const char* name, int file);

/// For reading, whatever it is; a new file, for reading and writing; a folder.
enum class Opening { kRead, kNew, kFolder };

/// Opens what has a name below a folder, such as "meshes/gear-1.ctl", one that FolderList::Add takes. It
/// leads through no link, and nobody is waited for, such as the other end of a pipe. Not open, with the
/// reason in errno, when that fails.
Descriptor OpenBelow(int folder, const std::string& name, Opening how);

/// A folder.
class HeldFolder {
 public:
  /// Opens the folder that the path leads to, links followed. When that fails, held() is false and errno says
  /// why.
  explicit HeldFolder(std::string path);
  HeldFolder(std::string path, Descriptor folder) : path_(std::move(path)), folder_(std::move(folder)) {}

  bool held() const { return folder_.open(); }
  int descriptor() const { return folder_.number(); }
  /// As given.
  const std::string& path() const { return path_; }
  std::string PathOf(const std::string& name) const;
  /// OpenBelow for reading.
  Descriptor Open(const std::string& name) const;
  bool HasRegularFile(const std::string& name) const;

 private:
  std::string path_;
  Descriptor folder_;
};

}  // namespace trqprep
