/// Folders of a kind whose list is a file "list", a name a line, for tests of outputs.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>

#include "tests/support/temp_dir.h"
#include "trqprep/atomic_output.h"
#include "trqprep/input_file.h"
#include "trqprep/message.h"

namespace trqprep {

// The list of such a folder is what its file "list" says, a name a line.
inline std::optional<FolderList> ListOf(const HeldFolder& folder) {
  if (!folder.HasRegularFile("list")) return std::nullopt;
  std::istringstream stream(InputFile(folder, "list").ReadRest());
  FolderList list;
  for (std::string name; std::getline(stream, name);) EXPECT_TRUE(list.Add(name));
  return list;
}

inline void Fill(OutputFolder& folder) {
  folder.MakeFolder("sub");
  folder.WriteFile("sub/new", "new");
  folder.WriteFile("list", "list\nsub/new\n");
}

inline void MakeOld(const std::string& folder) {
  std::filesystem::create_directories(folder + "/sub");
  test_support::WriteFile(folder + "/sub/old", "old");
  test_support::WriteFile(folder + "/list", "list\nsub/old\n");
}

// The code that the step ends with; kInternal when it succeeds.
template <class Step>
Code FailureOf(Step step, std::string* text = nullptr) {
  try {
    step();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exit, ExitCode::kOutput);
    if (text) *text = failure.message.text;
    return failure.message.code;
  }
  return Code::kInternal;
}

inline std::string TextOf(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The folder under way in `dir`.
inline std::string UnderWay(const test_support::TempDir& dir) {
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().filename().string().rfind(".trqprep-", 0) == 0) return entry.path().string();
  }
  return "";
}

// Symbolic links, and folders that are renamed while they are held, are things of POSIX: what tries them
// stands between #ifndef _WIN32 and #endif. tests/cross/windows_files.py tries what Windows has instead.

}  // namespace trqprep
