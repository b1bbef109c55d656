/// Files that are read: looked at, read and hashed in one go.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "trq/core/bytes.h"
#include "trqprep/held_folder.h"
#include "trqprep/sha256.h"

namespace trqprep {

/// What is known about a file before it is read: its first bytes and its size.
struct FileHead {
  std::string path;
  std::string head;  ///< up to 4096 bytes
  std::uint64_t size = 0;
  bool is_folder = false;
};

/// Where the file that people name so can be opened, as often as wanted: `path` itself, but for - what
/// standard input holds, which is read to its end the first time. Exit 3 when it cannot be.
std::string ReadablePath(const std::string& path);

/// Whether a path may be that of a symbolic link.
enum class Links { kFollow, kRefuse };

/// Opens, checks that it is a regular file (or a folder, when allowed) and reads the head. Exit 3 otherwise.
FileHead ReadFileHead(const std::string& path, bool folder_allowed = false);

/// A regular file, opened once and without waiting for anybody; what was opened is what is read, whatever
/// becomes of its name.
class InputFile : public trq::core::ByteSource {
 public:
  /// Opens it, checks that it is a regular file and reads its head. Exit 3 otherwise, INPUT-LINK for a link
  /// that is refused.
  explicit InputFile(const std::string& path, Links links = Links::kFollow);
  /// Bytes that are a file's, which stay the caller's and in place; `path` stands in messages.
  InputFile(const std::string& path, trq::Bytes bytes);
  /// A file of a folder, which holds it itself and not through links.
  InputFile(const HeldFolder& folder, const std::string& name);

  const FileHead& head() const { return head_; }
  std::size_t Read(void* to, std::size_t size) override;
  std::optional<std::uint64_t> Remaining() override { return source_->Remaining(); }
  std::optional<std::uint64_t> Position() override { return source_->Position(); }
  bool Seek(std::uint64_t position) override { return source_->Seek(position); }
  bool failed() const override { return source_->failed(); }
  /// The bytes from the position to the end. Exit 3 when they cannot be read.
  std::string ReadRest();
  /// From now on bytes are hashed as they are read, each once. To be called at the start of the file.
  void StartHash() { hash_.emplace(); }
  /// The hash of the whole file; what was not read so far is read now. Exit 3 when it cannot be.
  std::string HashOfAll();

 private:
  FileHead head_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  std::unique_ptr<trq::core::ByteSource> source_;
  std::optional<Sha256Digest> hash_;
  std::uint64_t hashed_ = 0;  // bytes from the start
};

/// The number of four bytes at a place of a file's bytes, lowest first.
uint32_t LittleWordAt(const std::string& bytes, std::size_t offset);

/// All bytes of a file of up to 256 MiB, which is to be `what`. Exit 3 when it cannot be read or is larger.
std::string ReadWholeFile(const std::string& path, const char* what = "a style file");
std::string ReadWholeFile(InputFile&& file, const char* what);

}  // namespace trqprep
