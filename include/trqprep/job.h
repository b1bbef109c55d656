/// What to build: the parts with their copies, the vat, and how to search. `place` and `build` share it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/context.h"
#include "trqprep/quantities.h"

namespace trqprep {

/// A style as asked for: `Fine.sty`, which covers everything, or `Fine.sty@0:10mm`, a band of it.
struct StyleRequest {
  std::string path;
  bool banded = false;
  Length from, to;
  /// In build folders: what was wrong with the file's checksum, which the folder's own copy mends.
  std::string damage;
};

/// Reads a style argument. An argument that names an existing file is that file; otherwise what follows the
/// last '@' is the band. Exit 2 for a band that is none.
StyleRequest ParseStyleRequest(const std::string& text);

/// One part as asked for: `gear.stl` or `gear.stl,copies=6,rotate-z=15,style=Fine.sty@0:10mm`.
struct PartRequest {
  std::string path;  ///< as given
  std::int64_t copies = 1;
  double rotate_z = 0;               ///< degrees, before the placement turns it
  std::vector<StyleRequest> styles;  ///< in the order given
};

/// Reads a part argument. An argument that names an existing file is that file, commas and all; otherwise the
/// longest beginning that names one is the file. Exit 2 for a key or value that is none.
PartRequest ParsePart(const std::string& text);

struct Job {
  std::vector<PartRequest> parts;
  Units units = Units::kMillimetre;  ///< of the plate and everything said about it
  std::array<Length, 3> vat{Length{250, Units::kMillimetre}, Length{250, Units::kMillimetre},
                            Length{250, Units::kMillimetre}};
  std::int64_t rotations = 24;
  std::int64_t seed = 1;
  bool drop = false;
  bool accept_partial = false;  ///< of the parts

  // Of builds only.
  std::vector<StyleRequest> styles;  ///< for all parts, below the parts' own
  std::vector<StyleRequest> recoats;
  std::optional<int> machine;  ///< type number
  std::string style_root;      ///< where styles lie in folders a machine type; may be empty
  std::optional<Length> z_spacing;
  bool force_checks = false;

  std::array<double, 3> VatIn(Units wanted) const;
};

/// The options of a job on the command line, and where their values go.
class JobOptions {
 public:
  /// Adds the arguments and options to a command; those of builds too when `whole`, and then the argument may
  /// be a job file.
  JobOptions(Command& command, bool whole);
  /// The job as given; parts and styles in command-line order.
  Job Get(const Context& context) const;

 private:
  CLI::App& app_;
  CLI::Option* arguments_ = nullptr;
  CLI::Option* part_options_ = nullptr;
  std::vector<std::string> argument_values_;
  std::vector<std::string> part_values_;
  bool whole_;
  CLI::Option* vat_option_ = nullptr;
  std::vector<std::string> style_values_;
  std::vector<std::string> recoat_values_;
  std::string machine_;
  std::string machines_file_;
  Job job_;
};

}  // namespace trqprep
