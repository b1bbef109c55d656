/// Names of files.
#pragma once

#include <cstddef>
#include <string>

namespace trqprep {

/// True when something of that name can be reached; a link counts as what it names.
bool Exists(const std::string& path);
/// True when it can be reached and is a folder.
bool IsFolder(const std::string& path);

/// A path as people write it, as it is used from there on: '/' alone separates, also where '\' does.
std::string NamedPath(std::string path);

/// The path that leads to the same without links, "." and ".."; the path itself where nothing can be reached.
/// Throws std::bad_alloc.
std::string RealPath(const std::string& path);

/// True for a path that is not seen from the current folder.
bool IsAbsolute(const std::string& path);

/// The folder that holds what a path names, and its name there; "." when the path names none.
std::string FolderOf(const std::string& path);
std::string FileNameOf(const std::string& path);

/// A name like `name` that every file system takes: '_' for control characters and those that some system
/// gives a meaning of its own, at the end for periods and blanks, and behind the names of devices; cut to
/// `longest` bytes between characters of UTF-8. Such a name stays as it is.
std::string PortableName(std::string name, std::size_t longest);

/// The text with its ASCII letters in lower case.
std::string Lower(std::string text);
/// What follows the last period of the path's last name, in lower case; empty without one.
std::string LowerExtension(const std::string& path);

}  // namespace trqprep
