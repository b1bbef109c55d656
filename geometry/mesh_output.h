/// Files that a mesh writes. Most of its writers have no code for a failed write, so what fails goes on
/// record in the mesh's error object.
#pragma once

#include <utility>

#include "host/file_services.h"
#include "trq/geometry.h"

namespace trq::detail {

/// Creates the file; null, and on record in `mesh`, when that fails.
inline FileHandle CreateOnRecord(CTL& mesh, const host::SystemPath& path, const char* mode,
                                 const char* what) {
  FileHandle file = OpenFile(path, mode);
  if (!file) mesh.UpdateErrorCode(what);
  return file;
}

/// Closes the file. False, and on record in `mesh`, when not everything written has reached the system.
inline bool CloseOnRecord(CTL& mesh, FileHandle file, const char* what) {
  const bool closed = CloseChecked(std::move(file));
  if (!closed) mesh.UpdateErrorCode(what);
  return closed;
}

}  // namespace trq::detail
