/// Folders and files that live as long as a test.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test_support {

inline void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A new empty folder, removed with all it holds at the end.
class TempDir {
 public:
  TempDir() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("trq-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  /// The path of a file in the folder, whether it exists or not.
  std::string File(const std::string& name) const { return (path_ / name).string(); }
  /// Makes a file of these bytes and returns its path.
  std::string Write(const std::string& name, std::string_view bytes) const {
    WriteFile(path_ / name, bytes);
    return File(name);
  }
  std::string Read(const std::string& name) const { return ReadFile(path_ / name); }
  bool Has(const std::string& name) const { return std::filesystem::exists(path_ / name); }

 private:
  std::filesystem::path path_;
};

/// The current directory is `path` while this lives, for files with fixed names.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::filesystem::path& path) : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  ~WorkingDirectory() { std::filesystem::current_path(before_); }

 private:
  std::filesystem::path before_;
};

struct CloseTestStream {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using Stream = std::unique_ptr<std::FILE, CloseTestStream>;

/// An empty stream that goes with its file.
inline std::FILE* TemporaryStream() {
#ifdef _WIN32
  // The system's names are few, and programs that run side by side take each other's.
  std::random_device random;
  const auto name = std::filesystem::temp_directory_path() / ("trq-test-" + std::to_string(random()));
  return std::fopen(name.string().c_str(), "w+bTD");
#else
  return std::tmpfile();
#endif
}

/// A seekable stream over these bytes, at its start, open for reading and writing.
inline Stream StreamOf(std::string_view bytes) {
  Stream stream(TemporaryStream());
  if (!stream) throw std::runtime_error("cannot make a temporary file");
  std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

/// All bytes that were written to a seekable stream.
inline std::string BytesOf(std::FILE* stream) {
  std::rewind(stream);
  std::string bytes;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) bytes.append(buffer, n);
  return bytes;
}

}  // namespace test_support
