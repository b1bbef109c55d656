/// Files as the host system sees them: names, attributes, free space, drive kinds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace trq::host {

/// The name under which the system is asked for `path`: as it is when it holds no backslash or exists as it
/// is; otherwise with slashes when that exists or its parent does; otherwise as it is.
std::string SystemPath(const std::string& path);

/// fopen on SystemPath(path); a directory does not open, as on systems that cannot open one.
std::FILE* OpenFile(const std::string& path, const char* mode);

bool FileExists(const std::string& path);
/// True for an existing file without any write bit.
bool IsReadOnly(const std::string& path);
/// Gives the owner the write bit; false when that fails.
bool MakeWritable(const std::string& path);
/// Size in bytes; -1 when the file does not exist.
int64_t FileSize(const std::string& path);
/// Bytes available to the caller where the directory lies; -1 when they cannot be read.
int64_t FreeBytes(const std::string& directory);
/// drive::Kind of the file system that holds the path or its nearest existing parent.
int DriveKind(const std::string& path);
bool DeleteFileNamed(const std::string& path);
bool RenameFile(const std::string& from, const std::string& to);

}  // namespace trq::host
