/// Files by name, the same way on every system.
/// Names are UTF-8 and files are bytes: never translated as text. On Windows both separators count, names may
/// be longer than 260 characters, and a name that is no UTF-8 names no file (EILSEQ). Elsewhere a name is the
/// bytes it is. Failures leave their reason in errno, a value of this system's <cerrno>; ErrorText tells what
/// it means.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "trq/export.h"

namespace trq::core {

struct CloseStream {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
/// A stream that closes itself, whatever way its scope is left.
using FileHandle = std::unique_ptr<std::FILE, CloseStream>;

/// Opens a file as std::fopen does in the binary form of `mode`: 'r', 'w' or 'a' first, then any of '+', 'b'
/// and 'x' (the file must not exist yet). Null with the reason in errno when it cannot be opened; a directory
/// cannot (EISDIR), as on systems that have no streams of them. Throws std::bad_alloc.
TRQ_EXPORT FileHandle OpenFile(const std::string& name, const char* mode);

/// Closes the stream and returns whether everything written to it has reached the system. No null.
TRQ_EXPORT bool CloseChecked(FileHandle file);

/// Byte offset of a stream's position, beyond 2 GB too; -1 with the reason in errno when there is none.
TRQ_EXPORT std::int64_t Position(std::FILE* stream);

/// Moves a stream to an offset from `origin` (SEEK_SET, SEEK_CUR, SEEK_END), beyond 2 GB too. False with the
/// reason in errno when it cannot be done.
TRQ_EXPORT bool Seek(std::FILE* stream, std::int64_t offset, int origin = SEEK_SET);

/// The one-line English text for an errno value, of equal wording on every system; null for a number that
/// means nothing.
TRQ_EXPORT const char* ErrorText(int error);

#ifdef _WIN32
/// The name as the system's own functions take it: UTF-16, and in the \\?\ form where it would be too long
/// without. Empty with EILSEQ in errno for a name that is no UTF-8 or holds a NUL, with ENOENT for the empty
/// name. Throws std::bad_alloc.
TRQ_EXPORT std::wstring WideName(const std::string& name);
/// UTF-8 of a text of the system; what is no UTF-16 becomes U+FFFD. Throws std::bad_alloc.
TRQ_EXPORT std::string Utf8(const std::wstring& text);
/// The errno value for a code of GetLastError; EIO for those that have none.
TRQ_EXPORT int ErrnoOf(unsigned long system_code);
#endif

}  // namespace trq::core
