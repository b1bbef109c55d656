/// The kinds of file that `info` knows, told apart by content. A kind lives with the code that understands
/// it:
///
///   const FileKindRegistration kKind(30, {"style", MatchesStyle, DescribeStyle});
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "trqprep/mesh_input.h"

namespace trqprep {

struct FileKind {
  /// As in "type" of `info --json`: stl, ctl, slc, style, recoat, vents, job, build.
  const char* name;
  /// True when the head, size and name of the file (or folder) say that it is of this kind.
  bool (*matches)(const FileHead& file);
  /// Adds what the file holds to `data` (where "file" and "type" stand already) and prints it through the
  /// context. Fails with exit 3 when the file turns out to be malformed.
  void (*describe)(Context& context, const FileHead& file, Json& data);
};

class FileKindRegistration {
 public:
  /// Kinds are asked in the order of their numbers: the surest signs first. STL is last (1000).
  FileKindRegistration(int order, FileKind kind);
};

/// The kind of a file, or null.
const FileKind* KindOf(const FileHead& file);
/// The names of all kinds, in order.
std::vector<std::string> KindNames();

}  // namespace trqprep
