/// Files that a mesh writes. Most of its writers have no code for a failed write, so what fails goes on
/// record in the mesh's error object.
#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "host/file_services.h"
#include "trq/core/bytes.h"
#include "trq/core/result.h"
#include "trq/geometry.h"

namespace trq::detail {

/// Tells at the end of writing whether the sink has failed.
inline core::Result<void> Written(const core::ByteSink& sink) {
  if (!sink.failed()) return {};
  return core::Error{core::ErrorCode::kWriteFailed, {}, "could not be written completely", errno};
}

/// Creates a file and fills it by `write(sink)`. Nothing when it cannot be created; false when not everything
/// written has reached the system. Both go on record in `mesh`.
template <class Write>
std::optional<bool> WriteOnRecord(CTL& mesh, const host::SystemPath& path, const char* what,
                                  const Write& write) {
  FileHandle file = OpenFile(path, "wb");
  std::optional<bool> done;
  if (file) {
    core::FileSink sink(file.get());
    write(sink);
    done = CloseChecked(std::move(file));
  }
  if (!done.value_or(false)) mesh.UpdateErrorCode(what);
  return done;
}

/// Hands a text that has become long to the sink.
inline void Drain(std::string& text, core::ByteSink& sink, size_t longest = 65536) {
  if (text.size() <= longest) return;
  sink.Write(text.data(), text.size());
  text.clear();
}

}  // namespace trq::detail
