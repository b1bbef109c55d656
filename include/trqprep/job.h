/// What to build: the parts with their copies, the vat, and how to search. `place` and `build` share it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "trqprep/machine_process.h"
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

/// How a part may be turned about Z, after its own `rotate-z`.
struct Turns {
  std::int64_t equal = 0;       ///< so many equal turns of a full circle; 0: those listed
  std::vector<double> degrees;  ///< from 0 to below 360, each once; empty and `equal` 0: as the job says
  bool given() const { return equal > 0 || !degrees.empty(); }
  /// All of them in degrees; those of `otherwise` equal turns when nothing is given.
  std::vector<double> All(std::int64_t otherwise) const;
};
constexpr std::int64_t kMostTurns = 24;
/// Reads `8`, `fixed` or `0:90:180`. Throws std::invalid_argument.
Turns ParseTurns(const std::string& text);
/// Throws std::invalid_argument for none or too many.
Turns ListedTurns(const std::vector<double>& degrees);

/// Stands for a number of copies: as many as fit.
constexpr std::int64_t kFill = 0;
constexpr std::int64_t kMostCopies = 1000;
/// Stands for a number of plates: as many as it takes.
constexpr std::int64_t kAnyPlates = 0;

/// One part as asked for: `gear.stl` or `gear.stl,copies=6,rotate-z=15,units=in,style=Fine.sty@0:10mm`.
struct PartRequest {
  std::string path;  ///< as given
  std::int64_t copies = 1;
  double rotate_z = 0;                      ///< degrees, before the placement turns it
  std::optional<Units> units;               ///< of a file that does not state them; else those of the job
  Turns rotations;                          ///< that the placement may choose from
  std::optional<std::array<Length, 2>> at;  ///< where the lower corner of the turned part stands
  std::optional<Length> gap;                ///< to every other piece, at least; else that of the job
  std::int64_t plate = 0;                   ///< number of the plate that it is for; 0: any
  std::vector<StyleRequest> styles;         ///< in the order given
  std::string name;                         ///< of the part, in no job file; empty: the stem of its file
};

/// Reads a part argument. An argument that names an existing file is that file, commas and all; otherwise the
/// longest beginning that names one is the file. Exit 2 for a key or value that is none.
PartRequest ParsePart(const std::string& text);

/// What becomes of a part whose lowest point is below Z = 0.
enum class Floor { kLift, kKeep };
/// What searches places: the raster of 32 x 32 cells, or the outlines (docs/nesting.md).
enum class Engine { kGrid, kNest };
/// Which pieces the nesting engine finds a place for first: the largest, or as the job has them.
enum class Order { kSize, kGiven };

/// The words for the values of a choice, in their order.
template <class Choice>
struct ChoiceWords;
template <>
struct ChoiceWords<Floor> {
  static constexpr std::array<const char*, 2> kAll{"lift", "keep"};
};
template <>
struct ChoiceWords<Engine> {
  static constexpr std::array<const char*, 2> kAll{"grid", "nest"};
};
template <>
struct ChoiceWords<Order> {
  static constexpr std::array<const char*, 2> kAll{"size", "given"};
};
template <class Choice>
const char* WordOf(Choice choice) {
  return ChoiceWords<Choice>::kAll[static_cast<std::size_t>(choice)];
}
/// False when it is not one of them.
template <class Choice>
bool TakeWord(Choice& choice, const std::string& word) {
  const auto& words = ChoiceWords<Choice>::kAll;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (word != words[i]) continue;
    choice = static_cast<Choice>(i);
    return true;
  }
  return false;
}

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

  // How places are searched; what is not said is 0, but for the tolerance and the time.
  Engine engine = Engine::kGrid;
  std::optional<Length> gap;        ///< between pieces, seen from above
  std::optional<Length> margin;     ///< from the pieces to the walls of the vat
  std::optional<Length> tolerance;  ///< by which the outlines of the search may be larger than the parts
  std::optional<double> time;       ///< seconds; kDefaultSeconds when neither these nor steps are said
  std::int64_t steps = -1;          ///< what the search may take in steps of fixed cost; below 0: not said
  Order order = Order::kSize;
  bool no_holes = false;    ///< no piece may lie in a hole of another
  std::int64_t plates = 1;  ///< how many there may be, or kAnyPlates
  // Of a run, and in no job file: they change nothing but the time, or are told by `steps` afterwards.
  std::int64_t threads = 1;          ///< that parts are worked on by, and the search
  std::optional<double> wall_limit;  ///< seconds after which the search ends with what it has

  // Of builds only.
  std::vector<StyleRequest> styles;  ///< for all parts, below the parts' own
  std::vector<StyleRequest> recoats;
  std::optional<int> machine;  ///< type number
  std::string style_root;      ///< where styles lie in folders a machine type; may be empty
  std::optional<Length> z_spacing;
  bool force_checks = false;
  bool slice = false;                   ///< the folder holds slice contours of every piece
  MachineProcess process;               ///< for the estimate of what is sliced
  bool no_report = false;               ///< the folder holds no report.html
  std::int64_t report_facets = 300000;  ///< of its meshes together; 0: all
  bool machine_of_styles = false;       ///< without `machine`: the one that all styles agree on
  bool strict = false;                  ///< warnings are errors
  std::vector<Code> allow;              ///< but for these

  /// Side files may be links. The line says it, never a job file, which may come from elsewhere.
  bool follow_links = false;

  std::string file;  ///< the job file; empty: of a command line

  std::array<double, 3> VatIn(Units wanted) const;
  /// A length that may not be said, in the job's unit.
  double Bare(const std::optional<Length>& length) const { return length ? length->In(units, units) : 0; }
};

constexpr double kDefaultSeconds = 10;
constexpr double kMostSeconds = 1e6;

/// What the settings of a job have against each other or are beyond: exit 2, or 3 for a job file when
/// `malformed`.
struct JobMistake {
  std::string text;
  std::string hint;
  bool malformed = false;
};
std::optional<JobMistake> FindMistake(const Job& job);

/// Lets a message of a missing file say that the names in a job file are seen from its folder.
void TellFolder(const Job& job, Message& message);

/// A whole number of a job or part, and its bounds. One below them is said by the word, or by nothing.
template <class Owner>
struct WholeMember {
  std::int64_t Owner::*member;
  std::int64_t lowest;
  std::int64_t highest;
  const char* word = nullptr;
};

/// Where a field's value goes; the type says how it is read and written.
template <class Owner>
using FieldMember =
    std::variant<WholeMember<Owner>, bool Owner::*, double Owner::*, std::string Owner::*,
                 std::optional<Length> Owner::*, std::array<Length, 3> Owner::*,
                 std::optional<std::array<Length, 2>> Owner::*, std::optional<double> Owner::*,
                 Units Owner::*, std::optional<Units> Owner::*, Floor Owner::*, Engine Owner::*,
                 Order Owner::*, Turns Owner::*, std::vector<Code> Owner::*, std::optional<int> Owner::*,
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

/// Stores what the command line says of a field. Throws std::invalid_argument.
template <class Owner>
void StoreText(Owner& owner, const JobField<Owner>& field, const std::string& text);

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
