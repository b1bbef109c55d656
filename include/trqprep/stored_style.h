/// Stored styles: which kind and layout a file has, reading, writing, and what of a file reading and writing
/// would change.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/input_file.h"
#include "trqprep/observer.h"
#include "trqprep/style_document.h"

namespace trqprep {

/// A style file and what is in it.
struct StyleFile {
  std::string path;
  std::string bytes;
  StyleKind kind = StyleKind::kBuild;
  StyleLayout layout = StyleLayout::k301;
  /// Content alone did not tell the kind; the ending of the name (or the command) did.
  bool kind_from_name = false;
  /// All of the layout was there.
  bool complete = false;
  /// The layout ends where the checksum begins (that of a legacy file: at the end).
  bool ends_right = false;
  std::size_t end = 0;  ///< bytes that the layout takes
  bool has_crc = false;
  std::uint32_t stored_crc = 0;
  std::uint32_t computed_crc = 0;
  bool crc_valid() const { return !has_crc || stored_crc == computed_crc; }
  /// What the file holds in its own layout.
  StyleDocument style;
};

/// True when a file of any style begins with these bytes.
bool ExamineStyleHead(const std::string& head);

/// Looks at the bytes of a file; nothing when no style file begins like this. `preferred` decides where
/// neither content nor the ending of the name does; without it such a file is none.
std::optional<StyleFile> ExamineStyle(const std::string& path, std::string bytes,
                                      std::optional<StyleKind> preferred);

/// What is said of a file that ends inside its layout, and of one whose checksum is not that of its content;
/// without hints.
Message StyleIsShort(const StyleFile& file);
Message StyleIsDamaged(const StyleFile& file);

/// Reads a style file that is to be of that kind: complete, and with the right checksum. Exit 3 otherwise.
/// Says so where the name decided which kind of style a file is taken for.
void NoteNameDecides(Observer& observer, const StyleFile& file);
StyleFile LoadStyle(Observer& observer, const std::string& path, StyleKind kind);
/// As LoadStyle, for commands that write the style again: legacy files are refused, and what would be lost is
/// warned of.
StyleFile LoadStyleToEdit(Observer& observer, const std::string& path, StyleKind kind);

/// The style as the application reads it: a 206 file with the values that its conversion gives, a legacy file
/// as a new style with its numbers.
StyleDocument AsRead(const StyleFile& file);

/// A new style.
StyleDocument NewStyle(StyleKind kind);
/// The style's file in its layout, with checksum.
std::string StyleBytes(const StyleDocument& document);
/// The style as its file, once written, is read.
StyleDocument AsWritten(const StyleDocument& style);
/// What would differ if the style were written and read again.
std::vector<StyleDifference> LostInFile(const StyleDocument& document);
/// Writes the style's file.
void WriteStyle(const StyleDocument& style, const std::string& path, bool replace);

/// True when files of the style's layout hold a value of the parameter's own.
bool IsStored(const StyleDocument& style, std::size_t parameter);

/// True when files of that kind and layout say what machine they are for, and the user level.
bool StatesMachine(const StyleFile& file);

/// What `show`, `info` and `verify` say about a file in general: its kind, layout, name, machine.
void DescribeStyle(const StyleFile& file, Json& data);

/// The library's text export.
std::string TextExport(const StyleDocument& document, bool comma_separated);
/// Converts lengths between inches and millimetres as the library does, but keeps records without range so.
void ConvertStyleUnits(StyleDocument& document, Units to);

/// What reading and writing a file in its own layout changes.
struct RewriteChanges {
  struct Entry {
    std::string name;    ///< parameter, word or text
    std::size_t offset;  ///< where in the file
    std::string text;    ///< what happens to it
  };
  std::vector<Entry> lost;   ///< stored values that come out different
  std::vector<Entry> notes;  ///< bytes without a meaning that come out different
};
/// The message about an entry; without hint.
Message ChangeMessage(Code code, const std::string& path, const RewriteChanges::Entry& entry);
RewriteChanges ChangesByRewriting(const StyleFile& file);

/// What is wrong with a file, as errors: STYLE-SHORT, STYLE-LENGTH, STYLE-CRC, and STYLE-LOST of each of the
/// changes; a note STYLE-SLACK of each other one.
std::vector<Message> VerifyStyle(const StyleFile& file, const RewriteChanges& changes);

/// All differences between two files of one kind. Where their layouts differ, which is noted (STYLE-LAYOUTS),
/// they are compared as the application reads them, without the "Version" that follows the layout.
std::vector<StyleDifference> CompareFiles(Observer& observer, const StyleFile& a, const StyleFile& b);

}  // namespace trqprep
