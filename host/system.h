/// What the library needs of the operating system; files apart, the one place where it is called.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace trq::host {

/// The calling thread's last system error code; 0 when there is none. Any other call may change it: read it
/// at once.
int LastError();

/// Full path of the running executable; empty when the system does not say.
std::string ExecutablePath();

/// Bytes of a path that belong to its directory, the last separator of this system included; 0 without one.
size_t DirectoryLength(const std::string& path);

/// Name of this computer; empty when the query fails.
std::string HostName();

#ifndef _WIN32
/// Name of a user by number; empty when there is none. Throws std::bad_alloc.
std::string NameOfUser(unsigned user);
#endif

/// Name of the user who runs the process; empty when the query fails. Throws std::bad_alloc.
std::string LoginName();

/// The next number of the calling thread's random source (SetRandomSource).
int DrawRandom();

/// Text of any length as vsnprintf makes it; empty when it cannot. `arguments` are used up.
std::string Formatted(const char* format, va_list arguments);

/// Bytes from the stream's position to its end for a regular file of known size; nothing for pipes, devices
/// and streams in memory. The stream's position is not changed.
std::optional<uint64_t> RemainingBytes(std::FILE* f);

/// A hint: the array is about to be filled from its beginning, so memory may come in large pages. Where the
/// system has no such thing, and for arrays below a few megabytes, nothing happens.
void ExpectFilling(void* array, size_t bytes);

}  // namespace trq::host
