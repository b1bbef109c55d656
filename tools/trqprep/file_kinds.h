/// The kinds of file that `info` knows, told apart by content: each in an info_<kind>.cpp, and a row of
/// file_kinds.cpp.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "trqprep/mesh_input.h"

namespace trqprep {

struct FileKind {
  /// As in "kind" of `info --json`: stl, ctl, slc, build style, recoat style, vents, job, build.
  const char* name;
  /// True when the head, size and name of the file (or folder) say that it is of this kind.
  bool (*matches)(const FileHead& file);
  /// Adds what the file holds to `data` (where "file" and "kind" stand already) and prints it through the
  /// context. Fails with exit 3 when the file turns out to be malformed.
  void (*describe)(Context& context, const FileHead& file, Json& data);
};

/// The kind of a file, or null.
const FileKind* KindOf(const FileHead& file);
/// The names of all kinds, in order.
std::vector<std::string> KindNames();

// What the rows name and info_<kind>.cpp holds.
bool IsBuildFolder(const FileHead& file);
bool IsJobFile(const FileHead& file);
bool IsBuildStyle(const FileHead& file);
bool IsRecoatStyle(const FileHead& file);
void DescribeBuildFolder(Context& context, const FileHead& file, Json& data);
void DescribeJobFile(Context& context, const FileHead& file, Json& data);
void DescribeMeshFile(Context& context, const FileHead& file, Json& data);
void DescribeContourFile(Context& context, const FileHead& head, Json& data);
void DescribeStyleFile(Context& context, const FileHead& head, Json& data);
void DescribeVentsFile(Context& context, const FileHead& head, Json& data);

}  // namespace trqprep
