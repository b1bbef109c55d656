/// What to build: the parts with their copies, the vat, and how to search. `place` and `build` share it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {

/// A style as asked for: `Fine.sty`, which covers everything, or `Fine.sty@0:10mm`, a band of it.
struct StyleRequest {
  std::string path;
  bool banded = false;
  Length from, to;
  /// In build folders: what was wrong with the file's checksum, which the folder's own copy mends.
  std::string damage;
  /// In build folders: the layout of the original where that was an older one, 206 or legacy.
  std::string upgraded;
};

/// Reads a style argument. An argument that names an existing file is that file; otherwise what follows the
/// last '@' is the band. Exit 2 for a band that is none.
StyleRequest ParseStyleRequest(const std::string& text);

/// One part as asked for: `gear.stl` or `gear.stl,copies=6,rotate-z=15,units=in,style=Fine.sty@0:10mm`.
struct PartRequest {
  std::string path;  ///< as given
  std::int64_t copies = 1;
  double rotate_z = 0;               ///< degrees, before the placement turns it
  std::optional<Units> units;        ///< of a file that does not state them; else those of the job
  std::vector<StyleRequest> styles;  ///< in the order given
};

/// Reads a part argument. An argument that names an existing file is that file, commas and all; otherwise the
/// longest beginning that names one is the file. Exit 2 for a key or value that is none.
PartRequest ParsePart(const std::string& text);

/// What becomes of a part whose lowest point is below Z = 0.
enum class Floor { kLift, kKeep };
/// "lift" or "keep".
const char* FloorName(Floor floor);

/// The code that a text names, in any case. Exit 2 when there is none.
Code ParseCode(const std::string& text);

struct Job {
  std::vector<PartRequest> parts;
  Units units = Units::kMillimetre;  ///< of the plate and everything said about it
  bool units_given = false;          ///< on the command line, for the files of the parts too
  std::array<Length, 3> vat{Length{250, Units::kMillimetre}, Length{250, Units::kMillimetre},
                            Length{250, Units::kMillimetre}};
  std::int64_t rotations = 24;
  std::int64_t seed = 1;
  bool drop = false;
  Floor floor = Floor::kLift;
  bool accept_partial = false;  ///< of the parts

  // Of builds only.
  std::vector<StyleRequest> styles;  ///< for all parts, below the parts' own
  std::vector<StyleRequest> recoats;
  std::optional<int> machine;  ///< type number
  std::string style_root;      ///< where styles lie in folders a machine type; may be empty
  std::optional<Length> z_spacing;
  bool force_checks = false;
  bool slice = false;              ///< the folder holds slice contours of every piece
  bool machine_of_styles = false;  ///< without `machine`: the one that all styles agree on
  bool strict = false;             ///< warnings are errors
  std::vector<Code> allow;         ///< but for these

  /// Side files may be links. The line says it, never a job file, which may come from elsewhere.
  bool follow_links = false;

  std::string file;  ///< the job file; empty: of a command line

  std::array<double, 3> VatIn(Units wanted) const;
};

/// Lets a message of a missing file say that the names in a job file are seen from its folder.
void TellFolder(const Job& job, Message& message);

/// A whole number of a job or part, and its bounds.
template <class Owner>
struct WholeMember {
  std::int64_t Owner::*member;
  std::int64_t lowest;
  std::int64_t highest;
};

/// Where a field's value goes; the type says how it is read and written.
template <class Owner>
using FieldMember = std::variant<WholeMember<Owner>, bool Owner::*, double Owner::*, std::string Owner::*,
                                 std::optional<Length> Owner::*, std::array<Length, 3> Owner::*,
                                 Units Owner::*, std::optional<Units> Owner::*, Floor Owner::*,
                                 std::vector<Code> Owner::*, std::optional<int> Owner::*,
                                 std::vector<StyleRequest> Owner::*, std::vector<PartRequest> Owner::*>;

/// One field of a job, or of a part: all that job files, command lines, help and reports know of it.
template <class Owner>
struct JobField {
  const char* key;     ///< in job files
  const char* option;  ///< on the command line, or the key of a part there; null: not by itself
  FieldMember<Owner> member;
  enum Use : unsigned {
    kPlain = 0,
    kOfBuilds = 1,  ///< `place` does not take it
    kWhenSet = 2,   ///< written to a job file only when it differs from nothing and false
    kReported = 4,  ///< stands in the description of a plate
  };
  unsigned use = kPlain;
  const char* type = "";  ///< of the value, in help
  const char* help = "";
};

/// The fields of a job, in the order in which a job file is written.
const std::vector<JobField<Job>>& JobFields();
/// The fields of a part, likewise.
const std::vector<JobField<PartRequest>>& PartFields();

/// The keys of the fields; with `on_line` those that the command line knows.
template <class Owner>
std::vector<std::string> FieldKeys(const std::vector<JobField<Owner>>& fields, bool on_line = false) {
  std::vector<std::string> keys;
  for (const JobField<Owner>& field : fields) {
    if (!on_line) keys.push_back(field.key);
    if (on_line && field.option) keys.push_back(field.option);
  }
  return keys;
}

}  // namespace trqprep
