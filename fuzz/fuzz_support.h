/// What the harnesses share: files in memory, a silent user, and the demand that writing settles.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "trq/geometry.h"

namespace fuzz {

/// Ends the run as a finding.
[[noreturn]] inline void Report(const char* what) {
  std::fprintf(stderr, "FINDING: %s\n", what);
  std::abort();
}

inline void Demand(bool holds, const char* what) {
  if (!holds) Report(what);
}

/// A regular file that lives in memory and is reached by path and by stream.
class MemoryFile {
 public:
  MemoryFile();
  MemoryFile(const void* data, std::size_t size);
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();
  const char* path() const { return path_.c_str(); }
  std::string Bytes() const;

 private:
  int descriptor_;
  std::string path_;
};

/// A folder of its own, for what is written under fixed names; gone with the program. TMPDIR decides where.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

struct CloseFuzzStream {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using Stream = std::unique_ptr<std::FILE, CloseFuzzStream>;

/// A stream over the bytes: a regular file, or one whose length is not known beforehand.
Stream StreamOf(const uint8_t* data, std::size_t size, bool known_length);

/// Answers message boxes without showing them; installed once.
void Silence();

/// Runs everything that loops over a mesh's data.
void UseMesh(CTL& mesh);
/// True when every coordinate is finite and the mesh has at least three vertices.
bool Settles(const CTL& mesh);
/// Writes the mesh, reads that, writes again, and so on: the second and third files must be the same.
void DemandCtlSettles(CTL& mesh);
/// The same through STL files. The first reading may refuse a mesh in which no corners merge.
void DemandStlSettles(CTL& mesh, bool binary);

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
